#include "qvlibs/sidefiles/DiskType.h"

#include "qvlibs/framework/Strings.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/platform/Drives.h"

DISK_TYPE QVTLGetDiskFormatType(const char* path) {
    QVTL_TRACE();
    CString name = qv::fileSystemName(path ? path : "");
    name.MakeUpper();
    if (name.Find("NTFS") >= 0) return DISK_TYPE_NTFS;
    return name.Find("FAT") >= 0 ? DISK_TYPE_FAT : DISK_TYPE_OTHER;
}
