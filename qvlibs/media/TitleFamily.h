// Reading titles (captions) through the title plug-ins ("*.tcp"). A handle lives from open to close and
// serves one thread at a time.
#pragma once

#include "qvlibs/framework/Types.h"

// The first title plug-in that supports the file opens it. Null when there is none, or it fails.
QVLIBS_API void* QVTLTitleFileOpen(const char* path);
// Frees the handle; the plug-in's result, 1 for a null handle.
QVLIBS_API ULONG QVTLTitleFileClose(void* handle);
// Renders the picture of a frame, at the size set, into `buffer`: rows bottom first, padded to 4 bytes. 0
// whatever the plug-in says; 1 for a null handle.
QVLIBS_API ULONG QVTLTitleGetDib(void* handle, LONG frame, unsigned char* buffer);
// The size of the pictures to render; without it they have the title's own. The shipped plug-in takes a
// negative height as the wish for 32-bit rows with alpha. 0 whatever the plug-in says; 1 for a null handle.
QVLIBS_API ULONG QVTLTitleSetDibSize(void* handle, int width, int height);
