#include "qvlibs/media/DvAspect.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/util/Bytes.h"

namespace {

constexpr size_t kSequence = 12000;
constexpr unsigned char kSourceControlPack = 0x61;
constexpr size_t kPackOfFifthSequence = 4 * kSequence + 453;

size_t packPosition(int sequence) {
    return static_cast<size_t>(sequence) * kSequence + (sequence % 2 ? 248 : 453);
}

// Of a pack's four data bytes, the first one lowest.
constexpr int kModeShift = 8;
constexpr DWORD kModeBits = 7;
constexpr int kSystemShift = 16;
constexpr DWORD kSystemBits = 3;

constexpr struct {
    DWORD system, mode;
    DIB_TYPE type;
} kShapes[] = {
    {0, 0, DIB_TYPE_4_3},       {0, 1, DIB_TYPE_LETTERBOX}, {0, 2, DIB_TYPE_16_9}, {1, 0, DIB_TYPE_4_3},
    {1, 3, DIB_TYPE_LETTERBOX}, {1, 5, DIB_TYPE_LETTERBOX}, {1, 7, DIB_TYPE_16_9},
};

DWORD wordAt(const unsigned char* data) { return qv::ByteReader(data, 4).u32(); }

} // namespace

DIB_TYPE qv::dvShapeOf(const unsigned char* data) {
    const DWORD word = wordAt(data);
    for (const auto& shape : kShapes) {
        if (shape.system == (word >> kSystemShift & kSystemBits) &&
            shape.mode == (word >> kModeShift & kModeBits))
            return shape.type;
    }
    return DIB_TYPE_AUTO;
}

DIB_TYPE DEDVGetAspect(unsigned char* dif) {
    QVTL_TRACE();
    if (!dif || dif[kPackOfFifthSequence] != kSourceControlPack) return DIB_TYPE_AUTO;
    return qv::dvShapeOf(dif + kPackOfFifthSequence + 1);
}

ULONG DEDVSetAspect(unsigned char* dif, DIB_TYPE type, int pal) {
    QVTL_TRACE();
    if (!dif) return QV_FAILED;
    DWORD mode;
    switch (type) {
    case DIB_TYPE_4_3: mode = 0; break;
    case DIB_TYPE_LETTERBOX: mode = pal ? 3 : 1; break;
    case DIB_TYPE_16_9: mode = pal ? 7 : 2; break;
    default: return QV_FAILED;
    }
    // Bit 16 stays set in an NTSC frame on purpose, as it always was (DvAspect.NtscKeepsTheSystemBit), and one
    // word goes into all packs, whether or not the fifth sequence, where it comes from, has one.
    const DWORD word =
        (wordAt(dif + kPackOfFifthSequence + 1) & ~DWORD{0x27F00}) | mode << kModeShift | (pal ? 0x10000 : 0);
    for (int sequence = 0; sequence < (pal ? 12 : 10); ++sequence) {
        unsigned char* pack = dif + packPosition(sequence);
        if (pack[0] != kSourceControlPack) continue;
        for (int i = 0; i < 4; ++i) pack[1 + i] = static_cast<unsigned char>(word >> (8 * i));
    }
    return QV_OK;
}
