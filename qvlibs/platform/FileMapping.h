// A file's bytes in memory. A file that somebody cuts while it is mapped ends the process at the next touch:
// the mapping therefore holds the file open with a share mode, which users of this library respect.
#pragma once

#include "qvlibs/framework/File.h"

#include <memory>
#include <span>

namespace qv {

class FileMapping {
public:
    // The whole of an existing file; what is written to the bytes stays in memory. `share` are CFile's share
    // flags. Null when it cannot be opened or is empty.
    static std::unique_ptr<FileMapping> openPrivate(const char* path, unsigned share);
    // Makes the open file `size` bytes long, takes the space on the disk, and maps it: writing reaches the
    // file. The descriptor stays the caller's. Null, with the file's length changed at most, when there is no
    // space.
    static std::unique_ptr<FileMapping> makeShared(int descriptor, size_t size);
    ~FileMapping();
    FileMapping(const FileMapping&) = delete;
    FileMapping& operator=(const FileMapping&) = delete;

    std::span<BYTE> bytes() const { return bytes_; }
    // Whether this name leads to the mapped file.
    bool isFile(const char* path) const;

private:
    FileMapping(int descriptor, std::span<BYTE> bytes) : descriptor_(descriptor), bytes_(bytes) {}
    static std::unique_ptr<FileMapping> map(int descriptor, size_t size, int visibility);

    int descriptor_; // keeps the share mode alive
    std::span<BYTE> bytes_;
};

} // namespace qv
