#include "qvlibs/platform/CompoundShare.h"

#include "qvlibs/platform/CompoundFormat.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>

namespace qv::compound {
namespace {

// Bytes of the range that the format leaves to locks. Everybody holds read locks only, which never stand
// against each other, and asks whether somebody holds the byte that it must not meet.
enum LockByte : int { kReaders, kWriters, kDenyRead, kDenyWrite, kCommit };

struct flock byteLock(int byte, short type) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = static_cast<off_t>(kLockRange) + byte;
    lock.l_len = 1;
    return lock;
}

void hold(int descriptor, int byte) {
    struct flock lock = byteLock(byte, F_RDLCK);
    ::fcntl(descriptor, F_OFD_SETLK, &lock);
}

bool isHeldByOthers(int descriptor, int byte) {
    struct flock lock = byteLock(byte, F_WRLCK);
    return ::fcntl(descriptor, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

} // namespace

HRESULT lockShare(int descriptor, DWORD mode) {
    const DWORD access = mode & 3, share = mode & 0x70;
    const bool reads = access != STGM_WRITE, writes = access != STGM_READ;
    const bool exclusive = share == STGM_SHARE_EXCLUSIVE;
    const bool deniesRead = exclusive || share == STGM_SHARE_DENY_READ;
    const bool deniesWrite = exclusive || share == STGM_SHARE_DENY_WRITE;
    // The lock that plain files take for their share modes too. Where there are no locks, nothing is kept.
    if (::flock(descriptor, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        return STG_E_SHAREVIOLATION;
    const struct {
        bool wanted;
        int held, denied;
    } rows[] = {{reads, kReaders, kDenyRead},
                {writes, kWriters, kDenyWrite},
                {deniesRead, kDenyRead, kReaders},
                {deniesWrite, kDenyWrite, kWriters}};
    for (const auto& row : rows) {
        if (row.wanted) hold(descriptor, row.held);
    }
    for (const auto& row : rows) {
        if (row.wanted && isHeldByOthers(descriptor, row.denied)) return STG_E_SHAREVIOLATION;
    }
    return S_OK;
}

bool othersPresent(int descriptor) {
    return isHeldByOthers(descriptor, kReaders) || isHeldByOthers(descriptor, kWriters);
}

CommitLock::CommitLock(int descriptor, Kind kind) : descriptor_(descriptor) {
    if (descriptor_ < 0) return;
    struct flock lock = byteLock(kCommit, kind == Read ? F_RDLCK : F_WRLCK);
    while (::fcntl(descriptor_, F_OFD_SETLKW, &lock) != 0 && errno == EINTR) {
    }
}

CommitLock::~CommitLock() {
    if (descriptor_ < 0) return;
    struct flock lock = byteLock(kCommit, F_UNLCK);
    ::fcntl(descriptor_, F_OFD_SETLK, &lock);
}

} // namespace qv::compound
