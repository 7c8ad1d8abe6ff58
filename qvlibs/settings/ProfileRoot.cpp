#include "qvlibs/settings/ProfileRoot.h"

#include "qvlibs/framework/Strings.h"
#include "qvlibs/platform/IniFile.h"
#include "qvlibs/platform/Modules.h"
#include "qvlibs/platform/PathSearch.h"

#include <algorithm>

namespace qv {

namespace {

constexpr size_t kMostInRoot = 259;
constexpr const char* kIniFile = "/qvenv.ini";

std::string folderOfLibraryIn(const std::string& folder) {
    const std::string found = searchPath(folder.empty() ? nullptr : folder.c_str(), "qvlibs.dll", nullptr);
    return found.substr(0, found.rfind('/') + 1);
}

// The folder in which the library is found by a search; for a program without it, the places where the
// suite's own installation would have it.
std::string installationFolder() {
    if (auto found = folderOfLibraryIn(""); !found.empty()) return found;
    const std::string program = programFolder() + "/";
    const auto tail = program.size() >= 5 ? program.substr(program.size() - 5) : std::string();
    return folderOfLibraryIn(program + (equalNoCase(tail, "/Bin/") ? "../../Ferrowin STUDIO/Bin/" : "../"));
}

std::string setting(const std::string& folder, const char* key, const char* def) {
    return readIni(folder + kIniFile, "RegistryKey", key).value_or(def);
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

} // namespace

// On purpose from two folders: the root's where the search finds the library, the names' where it lies.
const std::string& profileRoot() {
    static const std::string* const root = new std::string(
        setting(installationFolder(), "Position", "Software\\Tarvelion\\Lumenhall").substr(0, kMostInRoot));
    return *root;
}

const std::string& systemInfoName() {
    static const std::string* const name = new std::string(setting(libraryFolder(), "Data", "SystemInfo"));
    return *name;
}

const std::string& applicationName() {
    static const std::string* const name =
        new std::string(setting(libraryFolder(), "Application", "Ferrosal STUDIO"));
    return *name;
}

std::string sectionPath(std::string_view root, std::string_view section) {
    std::string path(root);
    const size_t prefix = section.size() < 5 ? section.size() : section.size() - 4;
    const auto number = section.substr(prefix);
    path += '\\';
    path += section.substr(0, prefix);
    if (!number.empty()) {
        if (std::all_of(number.begin(), number.end(), isDigit)) path += '\\';
        path += number;
    }
    return path;
}

} // namespace qv
