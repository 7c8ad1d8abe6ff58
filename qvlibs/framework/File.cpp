#include "qvlibs/framework/File.h"

#include "qvlibs/framework/Messages.h"
#include "qvlibs/framework/OpenWithoutWaiting.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

CFileException::CFileException(int error, CString name) : osError(error), fileName(std::move(name)) {
    text_ = (fileName.IsEmpty() ? CString("file") : fileName) + ": " +
            (osError ? std::strerror(osError) : "cannot be used");
}

void CFileException::ReportError() const { qv::showMessage(text_, "", qv::MessageKind::Error); }

namespace {

int accessMode(unsigned flags) {
    if (flags & CFile::modeReadWrite) return O_RDWR;
    return flags & CFile::modeWrite ? O_WRONLY : O_RDONLY;
}

// The share mode as a lock on the file: exclusive openers exclude everybody, readers that deny writing share
// among themselves. Without a share mode there is none.
int lockMode(unsigned flags) {
    if (flags & CFile::shareExclusive) return LOCK_EX | LOCK_NB;
    if (flags & CFile::shareDenyWrite)
        return accessMode(flags) == O_RDONLY ? LOCK_SH | LOCK_NB : LOCK_EX | LOCK_NB;
    return 0;
}

} // namespace

CFile::~CFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

int CFile::Open(const char* path, unsigned flags, CFileException* error) {
    const auto refuse = [&](int osError, int descriptor) {
        if (descriptor >= 0) ::close(descriptor);
        if (error) *error = CFileException(osError, path);
        return 0;
    };
    if (descriptor_ >= 0) Close();
    if (!path) return refuse(EINVAL, -1);
    const int create = flags & modeCreate ? O_CREAT : 0;
    const int descriptor = qv::openWithoutWaiting(path, accessMode(flags) | create);
    if (descriptor < 0) return refuse(errno, -1);
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) return refuse(errno, descriptor);
    if (S_ISDIR(status.st_mode)) return refuse(EISDIR, descriptor);
    if (!S_ISREG(status.st_mode)) ::fcntl(descriptor, F_SETFL, 0); // reading and writing wait as usual
    const int lock = lockMode(flags);
    if (lock && ::flock(descriptor, lock) != 0 && errno == EWOULDBLOCK) return refuse(ETXTBSY, descriptor);
    // Cutting comes after the lock: a file in use by somebody keeps its bytes.
    if (create && S_ISREG(status.st_mode) && ::ftruncate(descriptor, 0) != 0)
        return refuse(errno, descriptor);
    descriptor_ = descriptor;
    path_ = path;
    return 1;
}

unsigned CFile::Read(void* buffer, unsigned count) {
    unsigned done = 0;
    while (done < count) {
        const ssize_t got = ::read(descriptor_, static_cast<char*>(buffer) + done, count - done);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw CFileException(errno, path_);
        if (got == 0) break;
        done += static_cast<unsigned>(got);
    }
    return done;
}

void CFile::Write(const void* buffer, unsigned count) {
    unsigned done = 0;
    while (done < count) {
        const ssize_t put = ::write(descriptor_, static_cast<const char*>(buffer) + done, count - done);
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) throw CFileException(errno, path_);
        done += static_cast<unsigned>(put);
    }
}

__int64 CFile::Seek(__int64 offset, SeekPosition from) {
    const int whence = from == begin ? SEEK_SET : from == current ? SEEK_CUR : SEEK_END;
    const off_t at = ::lseek(descriptor_, offset, whence);
    if (at < 0) throw CFileException(errno, path_);
    return at;
}

__int64 CFile::GetPosition() const {
    const off_t at = ::lseek(descriptor_, 0, SEEK_CUR);
    if (at < 0) throw CFileException(errno, path_);
    return at;
}

__int64 CFile::GetLength() const {
    struct stat status {};
    if (::fstat(descriptor_, &status) != 0) throw CFileException(errno, path_);
    return status.st_size;
}

void CFile::SetLength(__int64 length) {
    if (::ftruncate(descriptor_, length) != 0) throw CFileException(errno, path_);
}

void CFile::Flush() {} // nothing is buffered here

void CFile::Close() {
    if (descriptor_ < 0) return;
    const int descriptor = descriptor_;
    descriptor_ = -1;
    if (::close(descriptor) != 0 && errno != EINTR) throw CFileException(errno, path_);
}

CMemFile::CMemFile(const void* bytes, size_t size)
    : bytes_(static_cast<const BYTE*>(bytes), static_cast<const BYTE*>(bytes) + size) {}

int CMemFile::Open(const char* path, unsigned, CFileException* error) {
    if (error) *error = CFileException(ENOTSUP, path);
    return 0;
}

unsigned CMemFile::Read(void* buffer, unsigned count) {
    const __int64 left = std::max<__int64>(0, GetLength() - position_);
    const unsigned size = static_cast<unsigned>(std::min<__int64>(left, count));
    if (size) std::memcpy(buffer, bytes_.data() + position_, size);
    position_ += size;
    return size;
}

void CMemFile::Write(const void* buffer, unsigned count) {
    if (!count) return;
    const size_t needed = static_cast<size_t>(position_) + count;
    if (needed > bytes_.size()) bytes_.resize(needed);
    std::memcpy(bytes_.data() + position_, buffer, count);
    position_ += count;
}

__int64 CMemFile::Seek(__int64 offset, SeekPosition from) {
    const __int64 base = from == begin ? 0 : from == current ? position_ : GetLength();
    __int64 at = 0;
    if (__builtin_add_overflow(base, offset, &at) || at < 0) throw CFileException(EINVAL);
    return position_ = at;
}

void CMemFile::SetLength(__int64 length) {
    if (length < 0) throw CFileException(EINVAL);
    bytes_.resize(static_cast<size_t>(length));
}
