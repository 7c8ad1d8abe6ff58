// What the bytes of a tape deck's answers say: its transport and the medium in it.
#pragma once

#include "qvlibs/framework/Types.h"

// Transport states. Callers use further values of the same enumeration for commands of their own.
enum DEFUCOMMANDS : int {
    DEFU_NONE = 0, // unknown
    DEFU_PLAY = 1,
    DEFU_PLAY_REVERSE = 2,
    DEFU_PAUSE = 3,
    DEFU_STOP = 4,
    DEFU_FAST_FORWARD = 6,
    DEFU_REWIND = 7,
    DEFU_CUE = 8,    // fast play forward
    DEFU_REVIEW = 9, // fast play backward
    DEFU_SLOW_FORWARD = 10,
    DEFU_SLOW_REVERSE = 11,
    DEFU_NEXT_FRAME = 12,
    DEFU_PREVIOUS_FRAME = 13,
    DEFU_RECORD = 14,
    DEFU_RECORD_PAUSE = 23,
};

// data: two bytes, opcode and first operand of a transport-state response. DEFU_NONE for any others, and for
// null.
QVLIBS_API DEFUCOMMANDS QVTLTranslateRawDataToTransportStatus(unsigned char* data);

// data: the first two operands of a medium-information response. Bits: 0x1 always, 0x4 or 0x8 by the kind of
// medium, 0x2 and 0x400 as the caller reads them. Null counts as unknown bytes.
QVLIBS_API ULONG QVTLTranslateRawDataToMediaInfo(unsigned char* data);
