// What a file is known by: its full path, dates, size and attributes.
#pragma once

#include "qvlibs/framework/Strings.h"

// Attribute bits that QVTLGetStatus gives.
constexpr BYTE QV_FILE_READONLY = 0x01; // nobody may write it
constexpr BYTE QV_FILE_HIDDEN = 0x02;   // its name starts with a dot
constexpr BYTE QV_FILE_DIRECTORY = 0x10;

// Dates are seconds since 1970-01-01 00:00 UTC, their low 32 bits.
struct QVFILESTATUS {
    LONG creationTime = 0; // the last-write time where the file system keeps none
    LONG lastWriteTime = 0;
    LONG lastAccessTime = 0;
    ULONG sizeLow = 0;
    BYTE attributes = 0;
    CString fullPath; // absolute; links are not resolved, "." and doubled separators are left out
    ULONG sizeHigh = 0;
};

// Fills the record for a file or folder that exists. 1 done; 0 when there is none, `status` is then
// untouched. May be called from any thread.
QVLIBS_API int QVTLGetStatus(const char* path, QVFILESTATUS& status);
