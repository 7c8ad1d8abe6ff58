#include "qvlibs/image/Canvas.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/CanvasRectangles.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/image/RawPicture.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

namespace qv {
namespace {

constexpr LONG width(RECT rect) { return rect.right - rect.left; }

void narrow(RECT& rect, LONG columns) {
    rect.left += columns;
    rect.right -= columns;
}

} // namespace

FitRectangles canvasRectangles(const CanvasSide& to, const CanvasSide& from, LONG cropWidth) {
    FitRectangles parts{{0, 0, from.size.cx, from.size.cy}, {0, 0, to.size.cx, to.size.cy}};
    DISP_TYPE shown = from.display;
    if (shown == DISP_TYPE_CROPPED) {
        const LONG columns = std::clamp(cropWidth, 1, std::max(1, from.size.cx));
        narrow(parts.source, (from.size.cx - columns) / 2);
        shown = DISP_TYPE_720;
    }
    const RECT cropped = parts.source;
    const bool widens = shown == DISP_TYPE_704 && to.display == DISP_TYPE_720;
    const bool narrows = shown == DISP_TYPE_720 && to.display == DISP_TYPE_704;
    if (widens) narrow(parts.destination, to.size.cx / 90);
    if (narrows) narrow(parts.source, width(parts.source) / 90);
    if (from.type == to.type) return parts;
    const bool unpacks = from.type == DIB_TYPE_LETTERBOX && to.type == DIB_TYPE_16_9;
    if (unpacks) {
        parts.source.top = from.size.cy / 8;
        parts.source.bottom = static_cast<LONG>(std::int64_t{from.size.cy} * 7 / 8);
    }
    if (from.type == DIB_TYPE_4_3) { // bars at the sides; 90 of 704 and 88 of 720 active columns for each
        LONG columns = to.size.cx / 8;
        if (narrows) {
            parts.source = cropped;
            columns = static_cast<LONG>(std::int64_t{width(parts.destination)} * 90 / 704);
        }
        if (widens) columns = static_cast<LONG>(std::int64_t{width(parts.destination)} * 88 / 720);
        narrow(parts.destination, columns);
    }
    if (!unpacks && (to.type == DIB_TYPE_LETTERBOX || from.type == DIB_TYPE_16_9)) {
        parts.destination.top = to.size.cy / 8;
        parts.destination.bottom = to.size.cy - to.size.cy / 8;
    }
    return parts;
}

} // namespace qv

namespace {

// The rows of a picture as two fields, each from its lowest row on.
void splitFields(const unsigned char* rows, int height, size_t line, unsigned char* first,
                 unsigned char* second) {
    for (int row = 0; row < height; ++row) {
        std::memcpy((row % 2 == 0 ? first : second) + static_cast<size_t>(row / 2) * line,
                    rows + static_cast<size_t>(row) * line, line);
    }
}

// A row that its field does not have repeats the field's last one.
void weaveFields(unsigned char* rows, int height, size_t line, const unsigned char* first,
                 const unsigned char* second) {
    for (int row = 0; row < height; ++row) {
        const int at = std::min(row / 2, height / 2 - 1);
        std::memcpy(rows + static_cast<size_t>(row) * line,
                    (row % 2 == 0 ? first : second) + static_cast<size_t>(at) * line, line);
    }
}

} // namespace

ULONG QVTLReCanvasSizeMovie(unsigned char* dst, SIZE dstSize, DIB_TYPE dstType, unsigned char* src,
                            SIZE srcSize, DIB_TYPE srcType, SIZE cropSize, DISP_TYPE dstDisp,
                            DISP_TYPE srcDisp, RESIZE_METHOD method, ULONG flags) {
    QVTL_TRACE();
    const auto parts =
        qv::canvasRectangles({dstSize, dstType, dstDisp}, {srcSize, srcType, srcDisp}, cropSize.cx);
    const int flag = flags & 1 ? 0 : 1; // set means the better kernel
    return CQVDIB::DirectResize(method, src, srcSize, parts.source, dst, dstSize, parts.destination, flag);
}

ULONG QVTLConvertInterace(unsigned char* dst, SIZE dstSize, DIB_TYPE dstType, unsigned char* src,
                          SIZE srcSize, DIB_TYPE srcType, SIZE cropSize, DISP_TYPE dstDisp, DISP_TYPE srcDisp,
                          RESIZE_METHOD method, ULONG flags) {
    QVTL_TRACE();
    const auto srcBytes = qv::rawBytes(srcSize), dstBytes = qv::rawBytes(dstSize);
    const SIZE srcField{srcSize.cx, srcSize.cy / 2}, dstField{dstSize.cx, dstSize.cy / 2};
    if (!dst || !src || !srcBytes || !dstBytes || srcField.cy == 0 || dstField.cy == 0) return QV_FAILED;
    const size_t srcLine = static_cast<size_t>(qv::rawLine(srcSize)),
                 dstLine = static_cast<size_t>(qv::rawLine(dstSize));
    const size_t srcHalf =
        srcLine * static_cast<size_t>(srcSize.cy - srcField.cy); // the first may have a row more
    const size_t dstHalf = dstLine * static_cast<size_t>(dstField.cy);
    try {
        std::vector<unsigned char> from(2 * srcHalf), to(2 * dstHalf);
        splitFields(src, srcSize.cy, srcLine, from.data(), from.data() + srcHalf);
        ULONG result = QV_FAILED;
        for (size_t field = 0; field < 2; ++field) {
            result = QVTLReCanvasSizeMovie(to.data() + field * dstHalf, dstField, dstType,
                                           from.data() + field * srcHalf, srcField, srcType, cropSize,
                                           dstDisp, srcDisp, method, flags);
        }
        weaveFields(dst, dstSize.cy, dstLine, to.data(), to.data() + dstHalf);
        return result;
    } catch (const std::bad_alloc&) {
        return QV_FAILED;
    }
}
