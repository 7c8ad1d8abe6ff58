// qv stg: pictures in compound files, and what else such files hold.
#include "tools/qv/Picture.h"

#include "qvlibs/platform/StatusText.h"
#include "qvlibs/platform/Storage.h"
#include "qvlibs/platform/StorageCheck.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace qv::cli {

namespace {

struct Options {
    std::string file, name, picture, media;
    bool all = false;
    bool keep = false;
};

struct Release {
    template <class Object>
    void operator()(Object* object) const {
        object->Release();
    }
};
using StoragePtr = std::unique_ptr<IStorage, Release>;
using EnumPtr = std::unique_ptr<IEnumSTATSTG, Release>;

constexpr DWORD kRead = STGM_READ | STGM_SHARE_DENY_WRITE;
constexpr DWORD kReadElement = STGM_READ | STGM_SHARE_EXCLUSIVE;
constexpr DWORD kWrite = STGM_READWRITE | STGM_SHARE_EXCLUSIVE;

int failure(HRESULT status, const std::string& what) {
    const Exit code = status == STG_E_FILENOTFOUND || status == STG_E_PATHNOTFOUND ? NotFound
                      : status == STG_E_INVALIDHEADER || status == STG_E_OLDFORMAT ? NotSupported
                      : status == STG_E_DOCFILECORRUPT                             ? Damaged
                      : status == STG_E_INVALIDNAME                                ? Usage
                                                                                   : Failed;
    return error(code, what + ": " + statusText(status).str());
}

// Done, or says in one line why not.
int open(const Options& options, DWORD mode, StoragePtr& root) {
    IStorage* opened = nullptr;
    const HRESULT status = StgOpenStorage(options.file.c_str(), nullptr, mode, nullptr, 0, &opened);
    root.reset(opened);
    return status < 0 ? failure(status, options.file) : Done;
}

std::vector<STATSTG> elementsOf(IStorage* storage) {
    std::vector<STATSTG> found;
    IEnumSTATSTG* opened = nullptr;
    if (storage->EnumElements(0, nullptr, 0, &opened) < 0) return found;
    const EnumPtr elements(opened);
    for (STATSTG element; elements->Next(1, &element, nullptr) == S_OK;) found.push_back(element);
    return found;
}

// A storage below; null, with the status of opening it, when it is none.
StoragePtr openElement(IStorage* storage, const char* name, HRESULT* status = nullptr) {
    IStorage* opened = nullptr;
    const HRESULT result = storage->OpenStorage(name, nullptr, kReadElement, nullptr, 0, &opened);
    if (status) *status = result;
    return StoragePtr(opened);
}

// Null for none, and for what is beyond four digits of years.
nlohmann::ordered_json timeText(std::int64_t seconds) {
    const std::string text = localTime(seconds);
    if (seconds == 0 || text.size() != 19) return nullptr;
    return text;
}

nlohmann::ordered_json timeText(const FILETIME& time) {
    constexpr std::int64_t kUnixEpoch = 11644473600;
    const auto steps = static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
    if (steps == 0) return nullptr;
    return timeText(static_cast<std::int64_t>(steps / 10000000) - kUnixEpoch);
}

// What the list shows of an element. A picture is a storage with a stream "data".
nlohmann::ordered_json describe(IStorage* root, const std::string& path, const STATSTG& element) {
    const char* const name = element.pwcsName;
    const bool isStream = element.type == STGTY_STREAM;
    std::uint64_t size = element.cbSize;
    bool isPicture = false;
    if (!isStream) {
        const StoragePtr storage = openElement(root, name);
        for (const STATSTG& below : storage ? elementsOf(storage.get()) : std::vector<STATSTG>()) {
            size += below.cbSize;
            isPicture = isPicture || (below.type == STGTY_STREAM && below.pwcsName == "data");
        }
    }
    nlohmann::ordered_json row{{"name", path + name},
                               {"kind", isPicture  ? "picture"
                                        : isStream ? "stream"
                                                   : "storage"},
                               {"size", size},
                               {"modified", timeText(element.mtime)}};
    if (!isPicture) return row;
    LONG time = 0, low = 0, high = 0;
    if (CQVDIB::ReadFileTimeFromStg(root, name, &time) == 0) row["mediaTime"] = timeText(time);
    if (CQVDIB::ReadFileSizeFromStg(root, name, low, high) == 0)
        row["mediaSize"] =
            static_cast<std::uint64_t>(static_cast<ULONG>(high)) << 32 | static_cast<ULONG>(low);
    return row;
}

void collect(IStorage* storage, const std::string& path, bool all, nlohmann::ordered_json& rows) {
    for (const STATSTG& element : elementsOf(storage)) {
        rows.push_back(describe(storage, path, element));
        // A file may nest storages as deep as it has room for; nobody means to see that.
        if (!all || element.type != STGTY_STORAGE || path.size() > 4096) continue;
        const StoragePtr below = openElement(storage, element.pwcsName);
        if (below) collect(below.get(), path + element.pwcsName.str() + "/", all, rows);
    }
}

int list(const Options& options, const Common& common) {
    StoragePtr root;
    if (const int code = open(options, kRead, root); code != Done) return code;
    auto rows = nlohmann::ordered_json::array();
    collect(root.get(), "", options.all, rows);
    if (common.json) {
        printJson(rows);
        return Done;
    }
    for (const auto& row : rows) {
        std::printf("%-31s  %-7s  %10llu", printable(row["name"]).c_str(),
                    row["kind"].get<std::string>().c_str(), row["size"].get<unsigned long long>());
        if (row["modified"].is_string()) std::printf("  %-19s", row["modified"].get<std::string>().c_str());
        if (row.contains("mediaSize")) {
            const bool timed = row.contains("mediaTime") && row["mediaTime"].is_string();
            std::printf("  of %s, %llu bytes",
                        timed ? row["mediaTime"].get<std::string>().c_str() : "no time",
                        row["mediaSize"].get<unsigned long long>());
        }
        std::printf("\n");
    }
    return Done;
}

// Transacted: a picture that cannot be stored whole leaves the file as it was.
HRESULT openOrMake(const std::string& path, StoragePtr& root, bool& made) {
    IStorage* opened = nullptr;
    HRESULT status = StgCreateDocfile(path.c_str(), kWrite | STGM_TRANSACTED, 0, &opened);
    made = status >= 0;
    if (status == STG_E_FILEALREADYEXISTS)
        status = StgOpenStorage(path.c_str(), nullptr, kWrite | STGM_TRANSACTED, nullptr, 0, &opened);
    root.reset(opened);
    return status;
}

// The time and size of the file that a picture stands for.
struct MediaFile {
    LONG time = 0;
    std::uint64_t size = 0;
};

int store(IStorage* root, const Options& options, CQVDIB& picture, const MediaFile& media) {
    HRESULT found = S_OK;
    openElement(root, options.name.c_str(), &found);
    if (found == STG_E_INVALIDNAME)
        return error(Usage, "\"" + options.name + "\": names have 1 to 31 letters, none of / \\ : !");
    if (options.keep && found != STG_E_FILENOTFOUND)
        return error(Failed, "\"" + options.name + "\" is there already");
    if (picture.WriteToStg(root, options.name.c_str(), media.time, static_cast<LONG>(media.size),
                           static_cast<LONG>(media.size >> 32), 0, options.keep ? 0 : 1) != 0)
        return error(Failed, "\"" + options.name + "\" cannot be written to " + options.file +
                                 ": the disk is full or the file is damaged (see qv stg check)");
    const HRESULT status = root->Commit(STGC_DEFAULT);
    return status < 0 ? failure(status, options.file) : Done;
}

int put(const Options& options, const Common& common) {
    CQVDIB picture;
    if (const int code = loadPicture(options.picture, picture); code != Done) return code;
    const std::string& path = options.media.empty() ? options.picture : options.media;
    struct stat file {};
    if (::stat(path.c_str(), &file) != 0) return fileError(path, errno);
    const MediaFile media{static_cast<LONG>(file.st_mtime), static_cast<std::uint64_t>(file.st_size)};
    StoragePtr root;
    bool made = false;
    const HRESULT status = openOrMake(options.file, root, made);
    if (status < 0) return failure(status, options.file);
    if (const int code = store(root.get(), options, picture, media); code != Done) {
        if (made) ::unlink(options.file.c_str());
        return code;
    }
    message(common, options.name + ": " + std::to_string(picture.GetWidth()) + "x" +
                        std::to_string(picture.GetHeight()));
    return Done;
}

int get(const Options& options, const Common& common) {
    if (!canSavePicture(options.picture)) return NotSupported;
    StoragePtr root;
    if (const int code = open(options, kRead, root); code != Done) return code;
    HRESULT found = S_OK;
    openElement(root.get(), options.name.c_str(), &found);
    if (found < 0) return failure(found, "\"" + options.name + "\"");
    CQVDIB picture;
    if (picture.ReadFromStg(root.get(), options.name.c_str()) != 0 || picture.IsEmpty())
        return error(Damaged, "\"" + options.name + "\" holds no picture that can be read");
    if (picture.GetBitCount() != 24 && picture.RecolorFilter(24, nullptr) != 0)
        return error(NotSupported, "\"" + options.name + "\" has a depth that cannot be converted");
    if (const int code = savePicture(picture, options.picture); code != Done) return code;
    message(common, options.picture + ": " + std::to_string(picture.GetWidth()) + "x" +
                        std::to_string(picture.GetHeight()));
    return Done;
}

int removeElement(const Options& options, const Common&) {
    StoragePtr root;
    if (const int code = open(options, kWrite, root); code != Done) return code;
    HRESULT status = root->DestroyElement(options.name.c_str());
    if (status < 0) return failure(status, "\"" + options.name + "\"");
    status = root->Commit(STGC_DEFAULT);
    return status < 0 ? failure(status, options.file) : Done;
}

nlohmann::ordered_json textsOf(const CStringList& list) {
    auto texts = nlohmann::ordered_json::array();
    for (auto at = list.GetHeadPosition(); at;) texts.push_back(list.GetNext(at).str());
    return texts;
}

int check(const Options& options, const Common& common) {
    StorageReport report;
    if (const HRESULT status = checkStorageFile(options.file.c_str(), report); status < 0)
        return failure(status, options.file);
    auto problems = textsOf(report.problems);
    StoragePtr root;
    if (const int code = open(options, kRead, root); code != Done) return code;
    for (const STATSTG& element : elementsOf(root.get())) {
        const auto row = describe(root.get(), "", element);
        CQVDIB picture;
        if (row["kind"] == "picture" && picture.ReadFromStg(root.get(), element.pwcsName) != 0)
            problems.push_back("picture \"" + element.pwcsName.str() + "\": it cannot be read");
    }
    const auto remarks = textsOf(report.remarks);
    if (common.json) {
        printJson({{"elements", report.elements},
                   {"problems", problems},
                   {"remarks", remarks},
                   {"lostBytes", report.lostBytes}});
    } else {
        for (const auto& text : problems) std::printf("%s\n", printable(text).c_str());
        for (const auto& text : remarks) std::printf("remark: %s\n", printable(text).c_str());
        if (report.lostBytes)
            std::printf("remark: %llu bytes are neither free nor used\n",
                        static_cast<unsigned long long>(report.lostBytes));
        if (problems.empty()) message(common, std::to_string(report.elements) + " elements, nothing wrong");
    }
    return problems.empty() ? Done : Damaged;
}

struct Action {
    const char* name;
    const char* summary;
    int (*run)(const Options&, const Common&);
    bool named, picture;
};
constexpr Action kActions[] = {
    {"list", "The elements with sizes and times", list, false, false},
    {"put", "Stores a picture; the file is made when it is not there", put, true, true},
    {"get", "Takes a picture out; the extension picks the format", get, true, true},
    {"remove", "Removes an element", removeElement, true, false},
    {"check", "Looks through the whole file and says what is wrong", check, false, false},
};

} // namespace

std::function<int()> setupStg(CLI::App& app, const Common& common) {
    auto options = std::make_shared<Options>();
    auto chosen = std::make_shared<const Action*>(nullptr);
    app.require_subcommand(1);
    for (const Action& action : kActions) {
        CLI::App* sub = app.add_subcommand(action.name, action.summary);
        sub->fallthrough();
        sub->add_option("FILE", options->file, "The compound file")->required();
        if (action.named)
            sub->add_option("NAME", options->name, "The element's name, 31 letters at most")->required();
        if (action.run == put) {
            sub->add_option("PICTURE", options->picture, "The picture to store")->required();
            sub->add_option(
                "--media", options->media,
                "The file that the picture stands for: its time and size are stored (default: PICTURE)");
            sub->add_flag("--keep", options->keep, "Do not replace an element of that name");
        } else if (action.picture) {
            sub->add_option("OUT", options->picture, "The picture file to write")->required();
        }
        if (action.run == list) sub->add_flag("--all", options->all, "Everything beneath the elements too");
        sub->callback([chosen, &action] { *chosen = &action; });
    }
    return [options, chosen, &common] { return (*chosen)->run(*options, common); };
}

} // namespace qv::cli
