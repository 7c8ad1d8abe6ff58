// Lets processes that change the files of a folder wait for each other.
#pragma once

#include <cerrno>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace qv {

// Held from construction to destruction. Where the folder cannot be opened, or its file system has no such
// lock, it holds nothing: what is done under it must end with a rename, which decides then.
class FolderLock {
public:
    explicit FolderLock(const std::string& folder)
        : descriptor_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        while (descriptor_ >= 0 && flock(descriptor_, LOCK_EX) != 0 && errno == EINTR) {
        }
    }
    ~FolderLock() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

private:
    int descriptor_;
};

} // namespace qv
