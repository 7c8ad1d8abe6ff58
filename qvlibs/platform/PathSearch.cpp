#include "qvlibs/platform/PathSearch.h"

#include "qvlibs/framework/Strings.h"
#include "qvlibs/platform/Modules.h"

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

namespace qv {

namespace {

constexpr const char* kOwnFile = "libqvlibs.so.5";

bool isFile(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::string wantedName(std::string_view name, const char* extension) {
    if (equalNoCase(name, "qvlibs.dll")) return kOwnFile;
    const auto slash = name.rfind('/');
    const auto element = slash == std::string_view::npos ? name : name.substr(slash + 1);
    std::string wanted(name);
    if (extension && element.find('.') == std::string_view::npos) wanted += extension;
    return wanted;
}

void appendFolders(std::vector<std::string>& all, std::string_view list) {
    while (!list.empty()) {
        const auto end = list.find(':');
        if (const auto folder = list.substr(0, end); !folder.empty()) all.emplace_back(folder);
        list = end == std::string_view::npos ? std::string_view() : list.substr(end + 1);
    }
}

std::vector<std::string> searched(const char* folders) {
    std::vector<std::string> all;
    if (folders) {
        appendFolders(all, folders);
        return all;
    }
    all = {libraryFolder(), programFolder(), "."};
    if (const char* path = std::getenv("PATH")) appendFolders(all, path);
    return all;
}

std::string absolute(const std::string& path) {
    std::error_code error;
    const auto whole = std::filesystem::absolute(path, error);
    return error ? std::string() : whole.string();
}

} // namespace

std::string searchPath(const char* folders, const char* name, const char* extension) {
    if (!name || !*name) return {};
    const std::string wanted = wantedName(name, extension);
    if (wanted.front() == '/') return isFile(wanted) ? wanted : std::string();
    for (const auto& folder : searched(folders)) {
        if (folder.empty()) continue;
        const std::string path = folder == "." ? wanted : (std::filesystem::path(folder) / wanted).string();
        if (isFile(path)) return absolute(path);
    }
    return {};
}

} // namespace qv
