// Whether an MPEG-2 recording can go onto a disc with others.
#pragma once

#include "qvlibs/framework/Types.h"

// 0 when it fits; else 1 cannot be investigated, 2 not MPEG-2, 3 no side file, 6 cannot be opened, and where a pointer
// that is not null holds a value other than 0 and the file's: 7 bit rate (kbit/s), 8 width, 9 height, the last of these
// that differs. Every pointer receives the file's value, so a caller passes zeroes for the first recording of a disc and
// what came back for the next ones.
QVLIBS_API ULONG QVTLCheckMpeg2toKeepsakeDisc(const char* mpegPath, LONG* bitrate, int* width, int* height);
