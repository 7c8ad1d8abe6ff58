// The first bytes of a file, by which a module tells whether the file is its own: every module is asked about every
// path, so no codec library may be mapped to answer no.
#pragma once

#include "qvlibs/framework/OpenWithoutWaiting.h"

#include <algorithm>
#include <span>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

namespace qv::codec {

// Reads the first `size` bytes of a regular file: how many there are, or -1 with errno. Nothing is taken out of a pipe
// or a device.
inline ssize_t readHead(const char* path, void* head, size_t size) {
    const int file = openWithoutWaiting(path, O_RDONLY);
    if (file < 0) return -1;
    struct stat status {};
    const bool isRegular = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    const ssize_t got = isRegular ? ::read(file, head, size) : -1;
    const int reason = isRegular ? errno : ESPIPE;
    ::close(file);
    errno = reason;
    return got;
}

// Bytes at a place that mark a kind of file.
struct FileMark {
    size_t at;
    std::string_view bytes;
};

inline bool hasMark(std::string_view head, std::span<const FileMark> marks) {
    return std::any_of(marks.begin(), marks.end(), [&](const FileMark& mark) {
        return head.size() >= mark.at && head.substr(mark.at).starts_with(mark.bytes);
    });
}

} // namespace qv::codec
