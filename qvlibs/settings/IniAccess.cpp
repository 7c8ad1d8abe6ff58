// The settings files of ProfileCtrl.h.
#include "qvlibs/framework/Trace.h"
#include "qvlibs/platform/IniFile.h"
#include "qvlibs/settings/ProfileCtrl.h"

#include <cstring>

namespace {

constexpr size_t kMostInText = 127;

std::string& systemDirectory() {
    static std::string* const directory = new std::string;
    return *directory;
}

std::string fileOf(const char* file) {
    if (!file) return {};
    if (std::strchr(file, '/') || systemDirectory().empty()) return file;
    return systemDirectory() + "/" + file;
}

std::string firstOf(const std::vector<std::string>& names) { return names.empty() ? "" : names.front(); }

} // namespace

CString QVGetSystemDirectory() { return systemDirectory(); }

CString QVSetSystemDirectory(const char* dir) {
    systemDirectory() = dir ? dir : "";
    return systemDirectory();
}

CString QVGetProfileName() { return systemDirectory() + "/gwenv.ini"; }

CString QVGetOriginalProfileName() { return systemDirectory() + "/gwenvorg.ini"; }

unsigned int QVGetPrivateProfileInt(const char* section, const char* key, int def, const char* file) {
    QVTL_TRACE();
    const auto text = section && key ? qv::readIni(fileOf(file), section, key) : std::optional<std::string>();
    return static_cast<unsigned>(text && !text->empty() ? qv::leadingNumber(*text) : def);
}

CString QVGetPrivateProfileString(const char* section, const char* key, const char* def, const char* file) {
    QVTL_TRACE();
    const std::string path = fileOf(file);
    std::string text;
    if (!section)
        text = firstOf(qv::iniSections(path));
    else if (!key)
        text = firstOf(qv::iniKeys(path, section));
    else
        text = qv::readIni(path, section, key).value_or(def ? def : "");
    return text.substr(0, kMostInText);
}

int QVWritePrivateProfileInt(const char* section, const char* key, int value, const char* file) {
    return QVWritePrivateProfileString(section, key, std::to_string(value).c_str(), file);
}

int QVWritePrivateProfileString(const char* section, const char* key, const char* value, const char* file) {
    QVTL_TRACE();
    if (!section || !file) return 0;
    const auto optional = [](const char* text) {
        return text ? std::optional<std::string_view>(text) : std::nullopt;
    };
    return qv::writeIni(fileOf(file), section, optional(key), optional(value)) ? 1 : 0;
}
