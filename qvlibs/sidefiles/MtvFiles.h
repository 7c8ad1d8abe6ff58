// MTV side files beside MPEG-2 recordings: finding, reading, making and relinking them, and the other companions of a
// recording by their names.
//
// Link names are compared without ASCII case. Threads: one at a time.
#pragma once

#include "qvlibs/framework/Strings.h"
#include "qvlibs/framework/Time.h"
#include "qvlibs/sidefiles/MtvRecord.h"

// Companions by name; "" when `mustExist` is set and the file is not there.
QVLIBS_API CString QVTLGetAedPath(const char* path, int mustExist); // path + ".aed"
// x.mpg gives x.moi, X.MPG gives X.Moi; "" for other names.
QVLIBS_API CString QVTLGetMoiPath(const char* path, int mustExist);
// The path with its extension replaced by `ext` (without dot), or with one added.
QVLIBS_API CString QVTLGetFileFromFile(const char* path, const char* ext, int mustExist);

// The side file of a recording, or "": the file of the recording's name with "mtv", then any "*.mtv" of its folder in
// the order of names; then the same with "gwm". It must link to the recording's name. The outputs (each may be null)
// receive the vendor text and, only when the side file has the recording's own name, the recording time.
QVLIBS_API CString QVTLGetMtvFileFromMpeg2(const char* mpegPath, CString* vendor, SYSTEMTIME* time);
QVLIBS_API int QVTLExistMtvFile(const char* mpegPath); // 1 or 0
// 0 found, outputs filled; 0x80004005 not found.
QVLIBS_API ULONG QVTLGetMtv(const char* mpegPath, CString* vendor, SYSTEMTIME* time);
// 1 when the side file was read into `record`, else 0 and nothing changed.
QVLIBS_API int QVTLGetMtvAtr(const char* mtvPath, MtvAtrTag* record);
// The recording that a side file links to, "" when it cannot be read.
QVLIBS_API CString QVTLGetMtvLinkMPGFilename(const char* mtvPath);

// Makes the side file of a recording from what the movie reader says of it. `ext` is without dot; `time` may be null
// (not known); `attributes`: bits 0x300000. 0 done; 1 when the movie cannot be opened, `ext` is its own extension, or the
// file cannot be written.
QVLIBS_API ULONG QVTLMakeMtvEx(const char* mpegPath, const char* vendor, const char* ext, ULONG attributes,
                               SYSTEMTIME* time);
// Links a side file to another recording and moves it beside it under its name. Where a file has that name already the
// side file stays where it is, relinked, and the result is 0 all the same. 1 when it cannot be changed, or there is
// no file name in `newMpegPath`; its old link is whole then.
QVLIBS_API ULONG QVTLRenameMtv(const char* mtvPath, const char* newMpegPath);
