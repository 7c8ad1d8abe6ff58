// Opening a file that may turn out to be a pipe or a device, without waiting for anybody.
#pragma once

#include <cerrno>

#include <fcntl.h>

namespace qv {

// A descriptor, or -1 with errno. `access` is O_RDONLY, O_WRONLY or O_RDWR, with O_CREAT where a missing file is made.
inline int openWithoutWaiting(const char* path, int access) {
    const int file = ::open(path, access | O_CLOEXEC | O_NONBLOCK, 0666);
    // Somebody holds a lease on it, as isFileInUse() does for a moment: only a regular file can have one, and waiting
    // for its end is short.
    return file < 0 && errno == EWOULDBLOCK ? ::open(path, access | O_CLOEXEC, 0666) : file;
}

} // namespace qv
