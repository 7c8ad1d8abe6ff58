// The checked search for a file on the search path.
#pragma once

#include "qvlibs/framework/Types.h"

// Looks for `fileName` (with `extension` added when it has none) in the folders of `path` (separated by ":"),
// or, when that is null, in the library's folder, the program's folder, the current directory and the folders
// of PATH.
//
// Result: the length of the absolute path written to `buffer`, without its zero; when `bufferLength` is too
// small, the size needed with the zero; 0 when nothing was found. Without a result `buffer` holds "".
// filePart: when not null, receives the place of the file's name inside `buffer`, or null when nothing was
// written. It should be initialised: where the search fails, a non-null pointer in it is reported to the
// trace with `callerFile` and `callerLine`.
// May be called from any thread.
QVLIBS_API ULONG SearchPathLocal(const char* callerFile, int callerLine, const char* path,
                                 const char* fileName, const char* extension, ULONG bufferLength,
                                 char* buffer, char** filePart);
