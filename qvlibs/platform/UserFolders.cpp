#include "qvlibs/platform/UserFolders.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

namespace qv {

namespace {

std::string withoutTrailingSlash(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

std::string absolute(const std::string& path) {
    std::error_code error;
    const auto whole = std::filesystem::absolute(path, error);
    return error ? std::string() : withoutTrailingSlash(whole.string());
}

std::string ownHome() {
    if (const char* home = std::getenv("QVLIBS_HOME"); home && *home) return absolute(home);
    return {};
}

std::string homeFolder() {
    if (const char* home = std::getenv("HOME"); home && *home == '/') return withoutTrailingSlash(home);
    passwd entry;
    passwd* found = nullptr;
    std::vector<char> texts(16384);
    if (getpwuid_r(getuid(), &entry, texts.data(), texts.size(), &found) != 0 || !found) return {};
    return found->pw_dir && *found->pw_dir == '/' ? withoutTrailingSlash(found->pw_dir) : std::string();
}

} // namespace

std::string userDataFolder() {
    if (auto own = ownHome(); !own.empty()) return own;
    // A relative path there counts as unset: it would mean another folder in each process.
    if (const char* data = std::getenv("XDG_DATA_HOME"); data && *data == '/')
        return withoutTrailingSlash(data);
    const std::string home = homeFolder();
    return home.empty() ? home : home + "/.local/share";
}

std::string storeFolder() {
    if (auto own = ownHome(); !own.empty()) return own;
    const std::string data = userDataFolder();
    return data.empty() ? data : data + "/qvlibs";
}

bool makeFolders(const std::string& path, bool isPrivate) {
    const mode_t mode = isPrivate ? 0700 : 0777;
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash).c_str(), mode); // a level that cannot be made fails the last one
    mkdir(path.c_str(), mode);
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string imageTempFolder() {
    const std::string folder = userDataFolder();
    return folder.empty() ? folder : folder + "/Tarvelion/TempData";
}

} // namespace qv
