#include "qvlibs/util/Qvfiletools.h"

#include "qvlibs/util/PathSearch.h"

#include <climits>
#include <string_view>

namespace {

struct Split {
    std::string_view directory, name, extension;
};

// Scanning bytes is safe in UTF-8: no character of several bytes contains "/" or ".".
Split split(const char* path) {
    std::string_view rest = path ? path : "";
    Split parts;
    if (const auto slash = rest.rfind('/'); slash != std::string_view::npos) {
        parts.directory = rest.substr(0, slash + 1);
        rest.remove_prefix(slash + 1);
    }
    const auto dot = rest.rfind('.');
    parts.name = rest.substr(0, dot);
    if (dot != std::string_view::npos) parts.extension = rest.substr(dot);
    return parts;
}

} // namespace

CString QVTLFullPath(const char* dir, const char* name, const char* ext) {
    std::string path = dir ? dir : "";
    if (!path.ends_with('/')) path += '/';
    return path.append(name ? name : "").append(".").append(ext ? ext : "");
}

// On purpose the separator stays: only paths that start with a drive letter would lose it, and here "C:" is
// an ordinary name (Qvfiletools.DirectoriesKeepTheirSeparator).
CString QVTLGetDirectory(const char* path) { return split(path).directory; }

CString QVTLGetFileName(const char* path) {
    const Split parts = split(path);
    return std::string(parts.name).append(parts.extension);
}

CString QVTLGetFileNameEx(const char* path) { return split(path).name; }

CString QVTLGetFileTitle(const char* path) { return split(path).name; }

CString QVTLGetExtention(const char* path) {
    const auto extension = split(path).extension;
    return extension.empty() ? extension : extension.substr(1);
}

CString QVTLGetExeDir() {
    char buffer[PATH_MAX];
    if (!SearchPathLocal(__FILE__, __LINE__, nullptr, "QVLIBS.dll", nullptr, sizeof buffer, buffer, nullptr))
        return {};
    std::string_view directory = split(buffer).directory;
    if (directory.ends_with('/')) directory.remove_suffix(1);
    return directory;
}

CString QVTLGetImageDir() { return QVTLGetExeDir() + "/image"; }
