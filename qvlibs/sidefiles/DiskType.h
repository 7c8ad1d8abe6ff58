// How large a file the drive of a path can hold, by the family of its file system.
#pragma once

#include "qvlibs/framework/Types.h"

enum DISK_TYPE : int {
    DISK_TYPE_FAT = 0,   // files end at 4 GiB
    DISK_TYPE_NTFS = 1,  // no limit that matters
    DISK_TYPE_OTHER = 2, // every other kind, and drives that cannot be asked
};

// The path need not exist. May be called from any thread.
QVLIBS_API DISK_TYPE QVTLGetDiskFormatType(const char* path);
