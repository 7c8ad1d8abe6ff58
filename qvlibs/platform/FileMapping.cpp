#include "qvlibs/platform/FileMapping.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qv {

std::unique_ptr<FileMapping> FileMapping::map(int descriptor, size_t size, int visibility) {
    const int own = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0); // a lock on the file lives as long as either
    if (own < 0) return nullptr;
    void* address = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, visibility, own, 0);
    if (address == MAP_FAILED) {
        ::close(own);
        return nullptr;
    }
    return std::unique_ptr<FileMapping>(new FileMapping(own, {static_cast<BYTE*>(address), size}));
}

std::unique_ptr<FileMapping> FileMapping::openPrivate(const char* path, unsigned share) {
    CFile file;
    if (!file.Open(path, CFile::modeRead | share)) return nullptr;
    struct stat status {};
    if (::fstat(file.Descriptor(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size <= 0)
        return nullptr;
    return map(file.Descriptor(), static_cast<size_t>(status.st_size), MAP_PRIVATE);
}

std::unique_ptr<FileMapping> FileMapping::makeShared(int descriptor, size_t size) {
    const off_t length = static_cast<off_t>(size);
    // Space that is not taken now would be missed in the middle of a write to memory, which no result can
    // tell.
    if (size == 0 || ::ftruncate(descriptor, length) != 0 || ::posix_fallocate(descriptor, 0, length) != 0) {
        return nullptr;
    }
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) return nullptr;
    return map(descriptor, size, MAP_SHARED);
}

FileMapping::~FileMapping() {
    ::munmap(bytes_.data(), bytes_.size());
    ::close(descriptor_);
}

bool FileMapping::isFile(const char* path) const {
    struct stat mine {
    }, other{};
    return ::fstat(descriptor_, &mine) == 0 && ::stat(path, &other) == 0 && mine.st_dev == other.st_dev &&
           mine.st_ino == other.st_ino;
}

} // namespace qv
