#include "qvlibs/timecode/DeckState.h"

#include "qvlibs/framework/Trace.h"

namespace {

constexpr BYTE kRecord = 0xC2, kPlay = 0xC3, kWind = 0xC4;

constexpr struct {
    BYTE opcode, first, last;
    DEFUCOMMANDS state;
} kTransport[] = {
    {kRecord, 0x75, 0x75, DEFU_RECORD},       {kRecord, 0x7D, 0x7D, DEFU_RECORD_PAUSE},
    {kPlay, 0x30, 0x30, DEFU_NEXT_FRAME},     {kPlay, 0x31, 0x37, DEFU_SLOW_FORWARD},
    {kPlay, 0x38, 0x38, DEFU_PLAY},           {kPlay, 0x39, 0x3F, DEFU_CUE},
    {kPlay, 0x40, 0x40, DEFU_PREVIOUS_FRAME}, {kPlay, 0x41, 0x47, DEFU_SLOW_REVERSE},
    {kPlay, 0x48, 0x48, DEFU_PLAY_REVERSE},   {kPlay, 0x49, 0x4F, DEFU_REVIEW},
    {kPlay, 0x65, 0x65, DEFU_PLAY_REVERSE},   {kPlay, 0x6D, 0x6D, DEFU_PAUSE},
    {kPlay, 0x75, 0x75, DEFU_PLAY},           {kPlay, 0x7D, 0x7D, DEFU_PAUSE},
    {kWind, 0x60, 0x60, DEFU_STOP},           {kWind, 0x65, 0x65, DEFU_REWIND},
    {kWind, 0x75, 0x75, DEFU_FAST_FORWARD},
};

} // namespace

DEFUCOMMANDS QVTLTranslateRawDataToTransportStatus(unsigned char* data) {
    QVTL_TRACE();
    if (!data) return DEFU_NONE;
    for (const auto& row : kTransport) {
        if (data[0] == row.opcode && data[1] >= row.first && data[1] <= row.last) return row.state;
    }
    return DEFU_NONE;
}

ULONG QVTLTranslateRawDataToMediaInfo(unsigned char* data) {
    QVTL_TRACE();
    if (!data) return 1;
    ULONG info = data[0] == 0x60 ? 5 : data[0] == 0x31 ? 9 : 1;
    if (data[1] == 0x31) info |= 0x2;
    if (data[0] == 0x7E) info |= 0x400;
    return info;
}
