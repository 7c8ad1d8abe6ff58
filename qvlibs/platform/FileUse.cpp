#include "qvlibs/platform/FileUse.h"

#include "qvlibs/framework/OpenWithoutWaiting.h"

#include <cerrno>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

namespace qv {

bool isFileInUse(const char* path) {
    const int file = openWithoutWaiting(path, O_RDONLY);
    if (file < 0) return true;
    // A write lease is granted only while there is no other opener. Should one come between asking and giving it back,
    // the holder is sent a signal: SIGIO would end the process, SIGURG is ignored by default.
    ::fcntl(file, F_SETSIG, SIGURG);
    bool used = false;
    if (::fcntl(file, F_SETLEASE, F_WRLCK) == 0) {
        ::fcntl(file, F_SETLEASE, F_UNLCK);
    } else if (errno == EAGAIN) {
        used = true;
    } else {
        used = ::flock(file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    }
    ::close(file);
    return used;
}

} // namespace qv
