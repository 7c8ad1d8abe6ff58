// The dates of a file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

struct statx;

namespace qv {

// Whole seconds since 1970-01-01 00:00 UTC, 64 bits, so that dates outside the 32-bit range stay what they
// are.
struct FileTimes {
    std::int64_t creation; // the last-write time where the file system keeps no creation time
    std::int64_t lastWrite;
    std::int64_t lastAccess; // the last-write time where it is missing
};

// Nothing when there is no such file. Links are followed.
[[nodiscard]] std::optional<FileTimes> fileTimes(const std::string& path);
// The rules for missing dates alone.
[[nodiscard]] FileTimes timesOf(const struct statx& status);

} // namespace qv
