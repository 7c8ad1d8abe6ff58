// Writing movies through the video plug-ins.
//
// QVTLAVIInitCreateAVI gives a handle; every other function asks the plug-in behind it and passes its result
// on: 0 done, 9 the plug-in lacks the function, 14 there is no module or the handle is null, anything else is
// the plug-in's own. One thread at a time per handle.
#pragma once

#include "qvlibs/framework/Status.h"
#include "qvlibs/image/DibTypes.h"

// The first video plug-in that supports the path opens a writer. mode: 1 PAL, 0 NTSC; -1: no writer yet,
// QVTLAVIOpenW opens it. Null when there is no such plug-in or it cannot write there. The caller closes the
// handle.
QVLIBS_API void* QVTLAVIInitCreateAVI(const char* path, LONG mode);
// 0 done; 15 when a writer is open already; 1 when it cannot be opened.
QVLIBS_API ULONG QVTLAVIOpenW(void* handle, const char* path, LONG mode);
// Finishes the movie. The handle must not be null and is gone afterwards, whatever the result.
QVLIBS_API ULONG QVTLAVICloseCreateAVI(void* handle);
// What the three values mean is the plug-in's own (the shipped DV module: rate, channels and bits of the sound
// that comes with the frames).
QVLIBS_API ULONG QVTLAVISetParameters(void* handle, LONG a, LONG b, LONG c);
QVLIBS_API ULONG QVTLAVIResetCodec(void* handle);

// A picture: its header of 40 bytes and its rows. With a type, a plug-in that takes none is given the picture
// without.
QVLIBS_API ULONG QVTLAVIWrite(void* handle, unsigned char* header, unsigned char* bits, LONG frame);
QVLIBS_API ULONG QVTLAVIWrite2(void* handle, unsigned char* header, DIB_TYPE type, unsigned char* bits,
                               LONG frame);
// DV data with its sound as PCM, which may be null. With a type as above.
QVLIBS_API ULONG QVTLAVIWriteDIF(void* handle, unsigned char* dif, unsigned char* audio, LONG frame);
QVLIBS_API ULONG QVTLAVIWriteDIF2(void* handle, unsigned char* dif, DIB_TYPE type, unsigned char* audio,
                                  LONG frame);
