// What a DV frame says about itself: tape timecode, recording date and time, a few bytes of its auxiliary
// data. A frame here is a run of DIF sequences of 12000 bytes: 10 in NTSC, 12 in PAL.
#pragma once

#include "qvlibs/timecode/QVTimecode.h"

// 1 when the system of the settings is PAL ("SystemInfo" of "Common", bit 0). Read once: the first call
// freezes the answer for the life of the process, and loading the library may be what makes that call.
QVLIBS_API int QVIsPal();

// 1 when tc is a label that drop-frame counting leaves out: second 0, frame 0 or 1, a minute that is no
// multiple of ten. The system of the settings decides, not the value's mode: always 0 in PAL.
QVLIBS_API int QVTLIsDropFrame(CQVTimecode& tc);
// Moves tc off such a label: direction 1 to the next one that exists, any other to the last one before.
// 1 when it moved.
QVLIBS_API int QVTLMoveDropFrame(CQVTimecode& tc, int direction);

// Decodes one frame. `frame` has 144000 bytes in PAL and 120000 in NTSC, by the system of the settings
// (QVIsPal), whatever the stream says. Every pointer but the frame may be null and is then left out.
//   timecode   the tape's; its date is kept
//   recorded   when the picture was taken; 1971-01-01 00:00:00:00 when neither date nor time was found, else
//              a missing half is kept
//   the rest   24-bit track number; first byte of the VAUX and AAUX source and source control packs, 0 where
//              the pack does not stand in its place
// 0 when timecode, date and time were all found; 1 for a null frame; else 0x800 with bit 0x1 for a missing
// timecode and 0x2 for a missing date or time. 00:00:00:00 counts as missing where date or time are. A null
// pointer for a value counts as that value missing.
QVLIBS_API ULONG QVTLDIF2Timecode(unsigned char* frame, CQVTimecode* timecode, CQVTimecode* recorded,
                                  ULONG* trackNumber, ULONG* vauxSource, ULONG* vauxSourceControl,
                                  ULONG* aauxSource, ULONG* aauxSourceControl);
