// Opening a file that may turn out to be a pipe or a device, without waiting for anybody.
#pragma once

#include <cerrno>

#include <fcntl.h>

namespace qv::codec {

// A descriptor for reading, or -1 with errno.
inline int openToRead(const char* path) {
    const int file = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    // Somebody holds a lease on it, as isFileInUse() does for a moment: only a regular file can have one, and waiting
    // for its end is short.
    return file < 0 && errno == EWOULDBLOCK ? ::open(path, O_RDONLY | O_CLOEXEC) : file;
}

} // namespace qv::codec
