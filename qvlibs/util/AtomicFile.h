// A file that appears under its name whole or not at all.
//
// The bytes go into a nameless file in the target's folder (or one with a temporary name where the file
// system has no nameless ones); commit() puts it in place of whatever had the name. Without commit() nothing
// is left behind, not even when the process is killed (but for that temporary name). A target that is a
// symbolic link is followed; an existing file passes its permissions on. Folders, devices and pipes are refused.
#pragma once

#include <cstddef>
#include <string>

namespace qv {

// The folder in which the last element of a path lies: "." for a bare name.
[[nodiscard]] std::string folderOf(const std::string& path);

class AtomicFile {
public:
    // Check isOpen(), or error() for the errno.
    explicit AtomicFile(const std::string& path);
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }
    // The errno of the first failure, 0 while there was none.
    int error() const { return error_; }
    // For seeking and writing by other means; stays this object's.
    int descriptor() const { return descriptor_; }
    // A path by which a codec library can open the file being made.
    std::string pathForLibraries() const;

    // After a failed write, commit() refuses.
    bool write(const void* bytes, size_t count);
    // True when the file has its name. An existing file keeps its old content otherwise, and is replaced only after
    // the new bytes are on disk: even a power failure leaves one of the two. New files are not waited for.
    [[nodiscard]] bool commit();
    // The same for a name that nobody has: EEXIST where somebody has it.
    [[nodiscard]] bool commitNew();

private:
    bool fail(int error);

    std::string target_;
    std::string temporary_; // empty while the file has no name
    int descriptor_ = -1;
    int error_ = 0;
    bool replaces_ = false;
};

// Gives a file a name that nobody has, on the same file system. False, with errno (EEXIST where somebody has it).
// The old name may be there still: most file systems have a link that refuses to replace, some only such a move.
[[nodiscard]] bool placeNew(const char* from, const char* to);

} // namespace qv
