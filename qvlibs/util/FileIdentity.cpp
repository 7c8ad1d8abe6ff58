#include "qvlibs/util/FileIdentity.h"

#include "qvlibs/platform/FileTimes.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>

namespace {

// ".." stays: taking it out by name alone would name another file where the element before it is a link.
CString fullPath(const char* path) {
    std::error_code error;
    const auto absolute = std::filesystem::absolute(path, error);
    if (error) return path;
    std::filesystem::path clean;
    for (const auto& element : absolute) {
        if (element != ".") clean /= element;
    }
    return clean.string();
}

BYTE attributesOf(const struct statx& status, const CString& full) {
    const size_t name = full.str().rfind('/') + 1;
    BYTE attributes = S_ISDIR(status.stx_mode) ? QV_FILE_DIRECTORY : BYTE{0};
    if (!(status.stx_mode & (S_IWUSR | S_IWGRP | S_IWOTH))) attributes |= QV_FILE_READONLY;
    if (full.str()[name] == '.') attributes |= QV_FILE_HIDDEN;
    return attributes;
}

} // namespace

int QVTLGetStatus(const char* path, QVFILESTATUS& status) {
    struct statx found;
    if (!path || statx(AT_FDCWD, path, 0, STATX_BASIC_STATS | STATX_BTIME, &found) != 0) return 0;
    const qv::FileTimes times = qv::timesOf(found);
    status.creationTime = static_cast<LONG>(times.creation);
    status.lastWriteTime = static_cast<LONG>(times.lastWrite);
    status.lastAccessTime = static_cast<LONG>(times.lastAccess);
    status.sizeLow = static_cast<ULONG>(found.stx_size);
    status.sizeHigh = static_cast<ULONG>(found.stx_size >> 32);
    status.fullPath = fullPath(path);
    status.attributes = attributesOf(found, status.fullPath);
    return 1;
}
