#include "qvlibs/platform/FileTimes.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace qv {

FileTimes timesOf(const struct statx& status) {
    const std::int64_t write = status.stx_mtime.tv_sec;
    return {status.stx_mask & STATX_BTIME ? static_cast<std::int64_t>(status.stx_btime.tv_sec) : write, write,
            status.stx_mask & STATX_ATIME ? static_cast<std::int64_t>(status.stx_atime.tv_sec) : write};
}

std::optional<FileTimes> fileTimes(const std::string& path) {
    struct statx status;
    if (statx(AT_FDCWD, path.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) return std::nullopt;
    return timesOf(status);
}

} // namespace qv
