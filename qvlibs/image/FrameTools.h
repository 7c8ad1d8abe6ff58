// Pictures of the television system in force: PAL, 720x576, or NTSC, 720x480 (QVIsPal).
#pragma once

#include "qvlibs/image/QVDib.h"

// The size of a DV frame: 0 NTSC, above PAL, below 0 the system in force.
QVLIBS_API CSize QVTLGetJustXYSize(int system);

// A 24-bit frame in one colour, 0x00BBGGRR; the caller's, to delete. Null when there is no memory.
QVLIBS_API CQVDIB* QVTLCreateColorBitmap(ULONG colour);

// Takes the comb of two fields out of a picture, in place. The low four bits of `mode`: 0 leaves it; 1 keeps
// the odd stored lines and 2 the even ones, each standing in for its neighbour, and 24-bit pictures then get
// the mean of the lines around it in every other line; 4 blends both fields of a 24-bit frame of the system
// in force (a quarter, a half, a quarter of three lines) and leaves other pictures as they are. 0 done, 1 for
// no picture and for other modes.
QVLIBS_API ULONG QVTLInterToNoninter(CQVDIB* image, WORD mode);
