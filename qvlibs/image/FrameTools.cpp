#include "qvlibs/image/FrameTools.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/FieldLines.h"
#include "qvlibs/timecode/DvMetadata.h"

#include <memory>
#include <new>

namespace {

constexpr int kFrameWidth = 720, kNtscHeight = 480, kPalHeight = 576;
constexpr WORD kLowBits = 0x0F;
constexpr WORD kLeave = 0, kKeepOdd = 1, kKeepEven = 2, kBlend = 4;

} // namespace

CSize QVTLGetJustXYSize(int system) {
    const bool pal = system < 0 ? QVIsPal() != 0 : system != 0;
    return {kFrameWidth, pal ? kPalHeight : kNtscHeight};
}

CQVDIB* QVTLCreateColorBitmap(ULONG colour) {
    QVTL_TRACE();
    const CSize size = QVTLGetJustXYSize(-1);
    const size_t bytes =
        static_cast<size_t>(CQVDIB::GetLineBytes(size.cx, 24)) * static_cast<size_t>(size.cy);
    auto* pixels = new (std::nothrow) unsigned char[bytes];
    auto frame = std::make_unique<CQVDIB>();
    if (!pixels || frame->Init(size, 24, pixels) != QV_OK) return nullptr;
    for (size_t at = 0; at < bytes; at += 3) { // the rows of this width have no padding
        pixels[at] = static_cast<unsigned char>(colour >> 16);
        pixels[at + 1] = static_cast<unsigned char>(colour >> 8);
        pixels[at + 2] = static_cast<unsigned char>(colour);
    }
    return frame.release();
}

ULONG QVTLInterToNoninter(CQVDIB* image, WORD mode) {
    QVTL_TRACE();
    const WORD kept = mode & kLowBits;
    if (!image || (kept != kLeave && kept != kKeepOdd && kept != kKeepEven && kept != kBlend))
        return QV_FAILED;
    if (kept == kLeave || !image->hasAllRows()) return QV_OK;
    const bool has24Bits = image->GetBitCount() == 24;
    const qv::StoredRows rows{image->GetBitsAddress(), image->GetLineBytes(), image->GetHeight()};
    if (kept == kBlend) {
        const bool isFrame = image->GetDimensions() == QVTLGetJustXYSize(-1);
        if (has24Bits && isFrame) qv::blendFields(rows, image->GetWidth());
        return QV_OK;
    }
    kept == kKeepOdd ? qv::keepOddLines(rows) : qv::keepEvenLines(rows);
    if (has24Bits) qv::interpolateLines(rows, image->GetWidth());
    return QV_OK;
}
