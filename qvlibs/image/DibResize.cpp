// Resizing members: which rectangles are mapped, which engine does it, where the result goes.
#include "qvlibs/framework/DibPixels.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/DibLayout.h"
#include "qvlibs/image/FitRectangle.h"
#include "qvlibs/image/FixedTable.h"
#include "qvlibs/image/OwnSampler.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/image/RawPicture.h"
#include "qvlibs/image/ResizeEngines.h"

#include <algorithm>
#include <cstring>

namespace {

// The flag of the engines: methods 6 and 8 are the simpler half of their pairs.
constexpr int engineFlag(RESIZE_METHOD method) {
    return method == RESIZE_METHOD_LINEAR || method == RESIZE_METHOD_SCALER_LINEAR ? 1 : 0;
}
constexpr bool isEngine(RESIZE_METHOD method) {
    return method >= RESIZE_METHOD_SMOOTH && method <= RESIZE_METHOD_SCALER_LINEAR;
}

} // namespace

ULONG CQVDIB::DirectResize(RESIZE_METHOD method, unsigned char* src, SIZE srcSize, RECT srcRect,
                           unsigned char* dst, SIZE dstSize, RECT dstRect, int flag) {
    QV_TRACE("CQVDIB");
    switch (method) {
    case RESIZE_METHOD_SMOOTH:
    case RESIZE_METHOD_SMOOTH_2:
        return DirectResizeLeadTool(src, srcSize, srcRect, dst, dstSize, dstRect, flag);
    case RESIZE_METHOD_SCALER:
    case RESIZE_METHOD_SCALER_LINEAR:
        return DirectResizeMainconcept(src, srcSize, srcRect, dst, dstSize, dstRect, flag);
    default: return DirectResizeIPPI24(src, srcSize, srcRect, dst, dstSize, dstRect, flag);
    }
}

ULONG CQVDIB::DirectResizeLeadTool(unsigned char* src, SIZE srcSize, RECT srcRect, unsigned char* dst,
                                   SIZE dstSize, RECT dstRect, int) {
    return qv::resizeSmooth({src, srcSize, srcRect, dst, dstSize, dstRect});
}

ULONG CQVDIB::DirectResizeIPPI24(unsigned char* src, SIZE srcSize, RECT srcRect, unsigned char* dst,
                                 SIZE dstSize, RECT dstRect, int flag) {
    return qv::resizePlaced({src, srcSize, srcRect, dst, dstSize, dstRect}, flag != 0);
}

ULONG CQVDIB::DirectResizeMainconcept(unsigned char* src, SIZE srcSize, RECT srcRect, unsigned char* dst,
                                      SIZE dstSize, RECT dstRect, int flag) {
    return qv::resizeScaled({src, srcSize, srcRect, dst, dstSize, dstRect}, flag != 0);
}

ULONG CQVDIB::ResizeFilter(CSize size, CQVDIB* dst, int option, DIB_TYPE srcType, DIB_TYPE dstType,
                           RESIZE_METHOD) {
    QV_TRACE("CQVDIB");
    // Always the same engine, whatever the method says, on purpose (DibResize.ResizeFilterIgnoresTheMethod).
    const RESIZE_OPTION known = option == 0    ? RESIZE_OPTION_STRETCH
                                : option == -1 ? RESIZE_OPTION_FILL
                                               : RESIZE_OPTION_FIT;
    return ResizeFilterSR(size, dst, srcType, dstType, known, RESIZE_METHOD_SMOOTH_2);
}

ULONG CQVDIB::ResizeFilterSR(CSize size, CQVDIB* dst, DIB_TYPE srcType, DIB_TYPE dstType,
                             RESIZE_OPTION option, RESIZE_METHOD method) {
    if (size == CSize(0, 0)) return QV_OK;
    if (!header_) return QV_FAILED;
    CQVDIB temporary;
    CQVDIB& target = dst && dst != this ? *dst : temporary;
    if (!target.makePixels(size, GetBitCount())) return QV_FAILED;
    target.copyFormat(*this);
    const ULONG result = ResizeFilterSR2(&target, srcType, dstType, option, method);
    if (result != QV_OK) {
        target.Empty();
    } else if (&target == &temporary) {
        takeOver(temporary);
    }
    return result;
}

ULONG CQVDIB::ResizeFilterSR2(CQVDIB* dst, DIB_TYPE srcType, DIB_TYPE dstType, RESIZE_OPTION option,
                              RESIZE_METHOD method) {
    if (!dst->hasAllRows() || !hasAllRows() || GetBitCount() % 8 != 0) return QV_FAILED;
    const CSize from = GetDimensions(), to = dst->GetDimensions();
    const auto parts =
        qv::fitRectangles(from, qv::resolveType(srcType, from), to, qv::resolveType(dstType, to), option);
    if (!parts) return QV_FAILED;
    // The pixels are new memory: bars are black for every method, also for those that leave them alone.
    if (!qv::isWhole(parts->destination, to))
        std::memset(dst->bits_, 0, static_cast<size_t>(dst->pixelRoom()));
    if (isEngine(method) && GetBitCount() == 24) {
        return DirectResize(method, bits_, from, parts->source, dst->bits_, to, parts->destination,
                            engineFlag(method));
    }
    // The own sampler reads the whole source: a crop does not reach it, on purpose
    // (DibResize.OwnSamplerNeverCrops). The engines know 24 bits only, so other depths come here too.
    return ResizeFilter2Core(dst, parts->destination);
}

ULONG CQVDIB::ResizeFilter2Core(CQVDIB* dst, RECT part) const {
    qv::sampleNearest(GetBitCount() / 8, {bits_, GetLineBytes(), GetWidth(), GetHeight()},
                      {dst->bits_, dst->GetLineBytes(), dst->GetWidth(), dst->GetHeight()}, part);
    return QV_OK;
}

ULONG CQVDIB::ResizeFilter2(CQVDIB* dst, int option) {
    QV_TRACE("CQVDIB");
    if (!header_ || !dst || !hasAllRows() || !dst->hasAllRows() || dst->GetBitCount() != GetBitCount())
        return QV_FAILED;
    const auto place = qv::fixedPlace(GetDimensions(), dst->GetDimensions(), GetBitCount(), option);
    if (!place) return QV_FAILED;
    if (place->clears) {
        std::memset(dst->bits_, 0, static_cast<size_t>(std::int64_t{dst->GetLineBytes()} * dst->GetHeight()));
    }
    return ResizeFilter2Core(dst, place->part);
}

ULONG CQVDIB::ResizeFilterLeadTool(CSize size, CQVDIB* dst, int option, int flag) {
    QV_TRACE("CQVDIB");
    if (size == CSize(0, 0)) return QV_OK;
    if (!header_) return QV_FAILED;
    if ((option == 0 || option == 1) && size == GetDimensions())
        return dst && dst != this ? dst->Copy(*this) : QV_OK;
    CQVDIB temporary;
    CQVDIB& target = dst && dst != this ? *dst : temporary;
    ULONG result = target.Init(size, GetBitCount(), nullptr);
    if (result == QV_OK) result = ResizeFilterLeadTool2(&target, option, flag);
    if (result == QV_OK && &target == &temporary) takeOver(temporary);
    return result;
}

ULONG CQVDIB::ResizeFilterLeadTool2(CQVDIB* dst, int option, int) {
    QV_TRACE("CQVDIB");
    if (!header_ || !dst || !dst->header_ || dst == this) return QV_FAILED;
    const auto place = qv::fixedPlace(GetDimensions(), dst->GetDimensions(), GetBitCount(), option);
    return place ? ResizeFilterLeadTool2Core(dst, place->part) : QV_FAILED;
}

// The result is a new block with a handle, cleared outside `part`; the source moves into such a block too,
// which is visible from outside (DibResize.TheSmoothFilterMovesTheSource).
ULONG CQVDIB::ResizeFilterLeadTool2Core(CQVDIB* dst, RECT part) {
    if (!hasAllRows() || RemapToGlobalMemoryAddress() != QV_OK) return QV_FAILED;
    const CSize size = dst->GetDimensions();
    CQVDIB made;
    if (!made.makePixels(size, GetBitCount())) return QV_FAILED;
    made.copyFormat(*this);
    std::memset(made.bits_, 0, static_cast<size_t>(made.pixelRoom()));
    // A band may be wider than the destination: it is made whole, and shown as far as it goes.
    CQVDIB band;
    const RECT inside{part.left, part.top, std::min(part.right, size.cx), part.bottom};
    const bool cut = inside.right != part.right;
    if (cut && !band.makePixels({part.right - part.left, part.bottom - part.top}, GetBitCount()))
        return QV_FAILED;
    CQVDIB& target = cut ? band : made;
    const RECT place = cut ? RECT{0, 0, band.GetWidth(), band.GetHeight()} : part;
    ULONG result = QV_OK;
    if (GetBitCount() == 24) {
        result = DirectResizeLeadTool(bits_, GetDimensions(), {0, 0, GetWidth(), GetHeight()}, target.bits_,
                                      target.GetDimensions(), place, 0);
    } else {
        result = ResizeFilter2Core(&target, place);
    }
    if (result != QV_OK) return result;
    const size_t bytes =
        static_cast<size_t>(inside.right - inside.left) * static_cast<size_t>(GetBitCount() / 8);
    for (int row = 0; cut && row < band.GetHeight(); ++row) {
        BYTE* const to = made.bits_ + std::int64_t{part.top + row} * made.GetLineBytes();
        std::memcpy(to, band.bits_ + std::int64_t{row} * band.GetLineBytes(), bytes);
    }
    if (made.RemapToGlobalMemoryAddress() != QV_OK) return QV_FAILED;
    dst->takeOver(made);
    return QV_OK;
}

void CQVDIB::copyFormat(const CQVDIB& source) {
    if (!header_ || !source.header_ || GetBitCount() != source.GetBitCount()) return;
    header_->biCompression = source.header_->biCompression;
    const auto table = source.view().table;
    std::copy_n(table.begin(), std::min<size_t>(table.size(), static_cast<size_t>(colorCount_)), colorTable_);
}
