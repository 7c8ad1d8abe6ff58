// qv settings doctor: the state of the store, and what can be done about it.
#include "qvlibs/platform/RegistryCheck.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "tools/qv/Settings.h"

#include <nlohmann/json.hpp>

namespace qv::cli {

namespace {

using registry::StoreCheck;
using registry::StoreState;

constexpr struct {
    StoreState state;
    const char* name;
    const char* meaning;
    Exit code;
} kStates[] = {
    {StoreState::Missing, "missing", "nothing was stored yet: every setting has its default", Done},
    {StoreState::Sound, "sound", "sound", Done},
    {StoreState::Damaged, "damaged", "damaged; --repair sets it aside and takes over what can be read",
     Damaged},
    {StoreState::Unreadable, "unreadable", "it cannot be opened", Failed},
    {StoreState::Newer, "newer", "written by a newer version; it is left alone", NotSupported},
};

// A picture counts as one only when its extension is built in and listed by these keys.
constexpr const char* kPictures[] = {"bmp", "jpg", "jpeg", "png", "tif", "tiff", "gif"};
constexpr const char* kPictureSection = "Sequence";

CString pictureKey(int number) {
    CString key;
    key.Format("ImageExtention%04d", number);
    return key;
}

bool listsPictures() { return !QVGetProfileString(kPictureSection, pictureKey(1), "").IsEmpty(); }

bool seedPictures() {
    registry::Transaction whole(registry::Transaction::Writing);
    int number = 1;
    for (const char* extension : kPictures)
        QVWriteProfileString(kPictureSection, pictureKey(number++), extension, 0);
    return whole.commit();
}

void printCheck(const StoreCheck& check, const char* meaning, bool pictures, const Common& common) {
    if (common.json) {
        nlohmann::ordered_json result{
            {"store", registry::storePath()}, {"state", kStates[static_cast<int>(check.state)].name},
            {"writable", check.writable},     {"keys", check.keys},
            {"values", check.values},         {"problems", check.problems},
            {"setAside", check.setAside},     {"pictureExtensions", pictures}};
        printJson(result);
        return;
    }
    std::printf("%s: %s\n", registry::storePath().c_str(), meaning);
    if (check.state == StoreState::Sound || check.state == StoreState::Damaged)
        std::printf("%d keys, %d values, %s\n", check.keys, check.values,
                    check.logged ? "changes go to a log first" : "with a rollback journal");
    if (!check.writable) std::printf("it cannot be written here\n");
    for (const auto& problem : check.problems) std::printf("- %s\n", problem.c_str());
    for (const auto& file : check.setAside) std::printf("a damaged store was set aside: %s\n", file.c_str());
    if (!pictures)
        std::printf(
            "no picture extensions are listed: no file counts as a picture; --repair lists the usual ones\n");
}

int repair(const StoreCheck& check, const Common& common) {
    auto damaged = check.setAside;
    if (check.state == StoreState::Damaged) {
        const std::string aside = registry::setStoreAside();
        if (aside.empty()) return error(Failed, registry::storePath() + " is damaged and cannot be renamed");
        message(common, "the damaged store is now " + aside);
        damaged.push_back(aside);
    }
    // The newest first: an older value never wins.
    for (auto file = damaged.rbegin(); file != damaged.rend(); ++file) {
        const auto count = registry::salvageStore(*file);
        message(common, count ? std::to_string(*count) + " values taken over from " + *file
                              : "nothing can be read from " + *file);
    }
    if (!listsPictures()) {
        if (!seedPictures()) return error(Failed, "the settings cannot be written");
        message(common, "the usual picture extensions are listed now");
    }
    return Done;
}

} // namespace

int doctorSettings(const SettingsOptions& options, const Common& common) {
    const StoreCheck check = registry::checkStore();
    const auto& state = kStates[static_cast<int>(check.state)];
    const bool usable = check.state == StoreState::Missing || check.state == StoreState::Sound;
    const bool pictures = usable && listsPictures();
    if (options.repair && (usable || check.state == StoreState::Damaged)) return repair(check, common);
    printCheck(check, state.meaning, pictures || !usable, common);
    return state.code;
}

} // namespace qv::cli
