#include "qvlibs/platform/Drives.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include <sys/statvfs.h>

namespace fs = std::filesystem;

namespace qv {
namespace {

fs::path nearestExisting(const std::string& path) {
    std::error_code ignored;
    fs::path place = fs::absolute(path.empty() ? "." : path, ignored);
    while (!fs::exists(place, ignored) && place.has_relative_path()) place = place.parent_path();
    return place;
}

// The types that the kernel and the user-space drivers give to the two families.
std::string familyOf(const std::string& type) {
    for (const char* name : {"vfat", "msdos", "exfat", "fuse.exfat"}) {
        if (type == name) return "FAT";
    }
    for (const char* name : {"ntfs", "ntfs3", "fuse.ntfs", "fuse.ntfs-3g"}) {
        if (type == name) return "NTFS";
    }
    return type;
}

// Blanks and the like stand as a backslash and three octal digits.
std::string unescaped(const std::string& text) {
    std::string plain;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size()) {
            plain += static_cast<char>(std::stoi(text.substr(i + 1, 3), nullptr, 8));
            i += 3;
        } else {
            plain += text[i];
        }
    }
    return plain;
}

bool liesIn(const std::string& path, const std::string& folder) {
    return folder == "/" || path == folder || path.starts_with(folder + "/");
}

} // namespace

// /proc/self/mountinfo knows the type by its name, where statfs has one number for several. A line reads
// "id parent major:minor root mount-point options [fields...] - type source options"; the mount point that is the
// longest start of the path holds it, and of several mounts on one point the last.
std::string fileSystemName(const std::string& path) {
    std::error_code failed;
    const fs::path place = fs::canonical(nearestExisting(path), failed);
    if (failed) return {};
    std::ifstream mounts("/proc/self/mountinfo");
    std::string found;
    size_t longest = 0;
    for (std::string line; std::getline(mounts, line);) {
        std::istringstream words(line);
        std::string id, parent, number, root, point, type;
        words >> id >> parent >> number >> root >> point;
        const size_t dash = line.find(" - ");
        if (dash == std::string::npos) continue;
        std::istringstream(line.substr(dash + 3)) >> type;
        point = unescaped(point);
        if (point.size() < longest || !liesIn(place.string(), point)) continue;
        longest = point.size();
        found = familyOf(type);
    }
    return found;
}

std::optional<std::uint64_t> freeKilobytes(const std::string& path) {
    struct statvfs volume {};
    if (::statvfs(nearestExisting(path).c_str(), &volume) != 0) return std::nullopt;
    return static_cast<std::uint64_t>(volume.f_bavail) * volume.f_frsize / 1024;
}

} // namespace qv
