// Taking paths apart and putting them together. Pure functions on text: nothing is trimmed, folded or
// resolved, and no file has to exist. The separator is "/". A path splits into a directory (up to and with
// the last "/"), a name, and an extension (from the last dot of the last element, with that dot). Null counts
// as "". Components may be of any length. All functions may be called from any thread.
#pragma once

#include "qvlibs/framework/Strings.h"

// dir, "/" unless dir ends in it, name, ".", ext: an empty dir gives a leading "/", an empty ext keeps the
// dot.
QVLIBS_API CString QVTLFullPath(const char* dir, const char* name, const char* ext);
// The directory with its trailing "/" ("/x/f.avi" gives "/x/"); "" for a bare name.
QVLIBS_API CString QVTLGetDirectory(const char* path);
// The last element: name and extension.
QVLIBS_API CString QVTLGetFileName(const char* path);
// The last element without its extension.
QVLIBS_API CString QVTLGetFileNameEx(const char* path);
// The same as QVTLGetFileNameEx.
QVLIBS_API CString QVTLGetFileTitle(const char* path);
// The extension without its dot; "" when there is none.
QVLIBS_API CString QVTLGetExtention(const char* path);
// The installation directory: where the library's own file lies (not the program's, in spite of the name),
// without a trailing "/". "" when it is not found.
QVLIBS_API CString QVTLGetExeDir();
// QVTLGetExeDir() and "/image".
QVLIBS_API CString QVTLGetImageDir();
