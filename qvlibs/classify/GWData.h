// Description records: what kind of file it is, and its picture or sound format (FileRecord.h).
//
// Each filler answers 1 when it recognised the file and filled the record, else 0. Only the block of the kind is
// written; the rest stays what the caller passed in. Movie fillers write the kind as soon as the file is recognised, so
// that a movie which then cannot be opened leaves it behind with the result 0, on purpose. One thread at a time.
#pragma once

#include "qvlibs/classify/FileRecord.h"

// Cached by file; not 0 when the file is supported. A file with an insane date or an unsupported vendor gives 0 and is
// asked again the next time. From the cache the whole record comes back as it was first stored.
QVLIBS_API int QVTLGetGWData(const char* path, GWFILEDATA* data);
// The same without the cache: the fillers in the order below, the first that succeeds.
QVLIBS_API int _QVTLGetGWData(const char* path, GWFILEDATA* data);

QVLIBS_API int QVTLGetGWDataAVI(const char* path, GWFILEDATA* data);     // kind 1, picture
QVLIBS_API int QVTLGetGWDataMpeg1(const char* path, GWFILEDATA* data);   // 2, picture
QVLIBS_API int QVTLGetGWDataMpeg2(const char* path, GWFILEDATA* data);   // 4, picture
QVLIBS_API int QVTLGetGWDataAsf(const char* path, GWFILEDATA* data);     // 16, picture
QVLIBS_API int QVTLGetGWDataPicture(const char* path, GWFILEDATA* data); // 0xF80, picture
QVLIBS_API int QVTLGetGWDataSound(const char* path, GWFILEDATA* data);   // 0x1E000, sound
QVLIBS_API int QVTLGetGWDataSEQ(const char* path, GWFILEDATA* data);     // 0x100000
QVLIBS_API int QVTLGetGWDataTAP(const char* path, GWFILEDATA* data);     // 0x200000
QVLIBS_API int QVTLGetGWDataTitle(const char* path, GWFILEDATA* data);   // 0x400000
