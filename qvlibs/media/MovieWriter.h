// Writing movies through the video plug-ins.
//
// QVTLAVIInitCreateAVI gives a handle; every other function asks the plug-in behind it and passes its result
// on: 0 done, 9 the plug-in lacks the function, 14 there is no module or the handle is null, anything else is
// the plug-in's own. One thread at a time per handle.
#pragma once

#include "qvlibs/framework/Lists.h"
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
// What the three values mean is the plug-in's own. The shipped DV module: rate, channels (1 or 2) and bits (16) of
// the sound that comes with the frames, 48000, 2 and 16 unless set before the first one; a rate of 0: it is not
// looked at.
QVLIBS_API ULONG QVTLAVISetParameters(void* handle, LONG a, LONG b, LONG c);
QVLIBS_API ULONG QVTLAVIResetCodec(void* handle);

// A picture: its header of 40 bytes and its rows. With a type, a plug-in that takes none is given the picture
// without. The shipped DV module takes whole frames of 24 bits (720 x 576 or 480), appends them in the order of the
// calls and writes types 1, 2 and 3 into them as their shape.
QVLIBS_API ULONG QVTLAVIWrite(void* handle, unsigned char* header, unsigned char* bits, LONG frame);
QVLIBS_API ULONG QVTLAVIWrite2(void* handle, unsigned char* header, DIB_TYPE type, unsigned char* bits,
                               LONG frame);
// DV data with its sound as PCM, which may be null: the shipped DV module then takes the sound inside the frames.
// A frame brings the samples from floor(n * rate / fps) to floor((n + 1) * rate / fps), n counting from 0. With a
// type as above.
QVLIBS_API ULONG QVTLAVIWriteDIF(void* handle, unsigned char* dif, unsigned char* audio, LONG frame);
QVLIBS_API ULONG QVTLAVIWriteDIF2(void* handle, unsigned char* dif, DIB_TYPE type, unsigned char* audio,
                                  LONG frame);

// Pictures become a DV movie of the television system in force, one frame each, silent.
//   output         the movie; while it turns out empty (0 bytes) all is done again, without limit. Nothing happens
//                  when no plug-in can write there.
//   progress       is never called
//   frameWords     may be null: a word for each frame. One that has a bit of 0x80004800 is stored behind the shape
//                  pack of every DIF sequence, that is, as shape and recording mode of the frame.
//   resizeOptions  may be null: the resize option of each picture (QVDib.h, ResizeFilter); 1 where there is none
//   dibType        0: pictures are resized to a frame. Else the shape written into the frames, and pictures must
//                  have the size of a frame.
// Pictures that cannot be read or have the wrong size become blue frames. The lists may be shorter than `files`.
QVLIBS_API void QVTLCreateAVIFromBitmaps(CStringList* files, CString& output,
                                         ULONG (*progress)(ULONG, void*, void*),
                                         CList<ULONG, ULONG>* frameWords, CList<ULONG, ULONG>* resizeOptions,
                                         DIB_TYPE dibType);
