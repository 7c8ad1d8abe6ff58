#include "qvlibs/util/AtomicFile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qv {
namespace {

constexpr int kAttempts = 1000;

std::string followLink(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr), &std::free);
    return real ? real.get() : path;
}

std::string temporaryName(const std::string& folder, int attempt) {
    return folder + "/.qv-" + std::to_string(::getpid()) + "-" + std::to_string(attempt);
}

} // namespace

std::string folderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

AtomicFile::AtomicFile(const std::string& path) : target_(followLink(path)) {
    struct stat old {};
    replaces_ = ::stat(target_.c_str(), &old) == 0;
    // Refused here rather than after the work was done.
    if (replaces_ && !S_ISREG(old.st_mode)) error_ = S_ISDIR(old.st_mode) ? EISDIR : EINVAL;
    if (replaces_ && !error_ && ::access(target_.c_str(), W_OK) != 0) error_ = errno;
    if (error_) return;
    const std::string folder = folderOf(target_);
    descriptor_ = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0666);
    for (int attempt = 0; descriptor_ < 0 && attempt < kAttempts; ++attempt) {
        temporary_ = temporaryName(folder, attempt);
        descriptor_ = ::open(temporary_.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0666);
        if (descriptor_ < 0 && errno != EEXIST) break;
    }
    if (descriptor_ < 0) {
        error_ = errno;
        temporary_.clear();
    } else if (replaces_) {
        ::fchmod(descriptor_, old.st_mode & 07777);
    }
}

AtomicFile::~AtomicFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

std::string AtomicFile::pathForLibraries() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

bool AtomicFile::fail(int error) {
    if (!error_) error_ = error;
    return false;
}

bool AtomicFile::write(const void* bytes, size_t count) {
    const char* at = static_cast<const char*>(bytes);
    while (count > 0 && !error_) {
        const ssize_t put = ::write(descriptor_, at, count);
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) return fail(errno);
        at += put;
        count -= static_cast<size_t>(put);
    }
    return error_ == 0;
}

bool AtomicFile::commit() {
    if (descriptor_ < 0 || error_) return false;
    if (replaces_ && ::fsync(descriptor_) != 0 && errno != EINVAL && errno != EROFS) return fail(errno);
    for (int attempt = 0; temporary_.empty(); ++attempt) {
        const std::string name = temporaryName(folderOf(target_), attempt);
        if (::linkat(AT_FDCWD, pathForLibraries().c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
            temporary_ = name;
        } else if (errno != EEXIST || attempt == kAttempts) {
            return fail(errno);
        }
    }
    if (::rename(temporary_.c_str(), target_.c_str()) != 0) return fail(errno);
    temporary_.clear();
    return true;
}

bool AtomicFile::commitNew() {
    if (descriptor_ < 0 || error_) return false;
    const std::string own = temporary_.empty() ? pathForLibraries() : temporary_;
    return placeNew(own.c_str(), target_.c_str()) || fail(errno);
}

bool placeNew(const char* from, const char* to) {
    if (::linkat(AT_FDCWD, from, AT_FDCWD, to, AT_SYMLINK_FOLLOW) == 0) return true;
    const bool hasNoLinks = errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS;
    return hasNoLinks && ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0;
}

} // namespace qv
