// The volume that a path lies on. The path need not exist: the nearest folder above it that does is asked.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace qv {

// What kind of file system the volume has: "FAT" and "NTFS" for those families, whichever driver serves them, else the
// system's own name ("ext4", "xfs", ...). "" when it cannot be told.
std::string fileSystemName(const std::string& path);

// What an ordinary user may still write there, in kilobytes, rounded down.
std::optional<std::uint64_t> freeKilobytes(const std::string& path);

} // namespace qv
