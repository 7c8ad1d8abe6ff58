// Depth, cut-outs, turns, gray, lightening, and the clean-up of stills from interlaced video.
//
// A filter without a destination builds its result in a temporary image and takes its pixels over.
#include "qvlibs/framework/DibPixels.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/FieldLines.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/image/RowReader.h"
#include "qvlibs/image/kernels/Rows.h"

#include <cstring>
#include <optional>
#include <utility>

namespace {

struct TurnOfAngle {
    int angle;
    std::optional<qv::Turn> turn; // none: a copy
};
constexpr TurnOfAngle kTurns[] = {
    {0, {}},
    {90, qv::Turn::Clockwise},
    {180, qv::Turn::Half},
    {270, qv::Turn::CounterClockwise},
    {-90, qv::Turn::CounterClockwise},
};

struct AngleOfOrientation {
    int orientation, angle;
};
constexpr AngleOfOrientation kOrientations[] = {{3, 180}, {6, 90}, {8, 270}};

// Field filters know these modes; only these exact values interpolate as well.
constexpr ULONG kKeepOdd = 1, kKeepEven = 2, kLowBits = 0x0F;
constexpr bool interpolates(ULONG mode) { return mode == 1 || mode == 2 || mode == 17 || mode == 18; }

} // namespace

bool CQVDIB::makePixels(CSize size, int bitCount) {
    if (Init(size, bitCount, nullptr) != QV_OK || !allocatePixels()) {
        Empty();
        return false;
    }
    // Nothing writes the bytes that pad the rows, and files hold them.
    const std::int64_t line = GetLineBytes(), used = std::int64_t{size.cx} * bitCount / 8;
    for (std::int64_t row = 0; row < size.cy && used < line; ++row) {
        std::memset(bits_ + row * line + used, 0, static_cast<size_t>(line - used));
    }
    return true;
}

qv::PixelView CQVDIB::pixelsFromTop() const {
    const std::ptrdiff_t line = GetLineBytes();
    return {GetHeight() > 0 ? bits_ + line * (GetHeight() - 1) : bits_, -line, GetWidth(), GetHeight()};
}

void CQVDIB::takeOver(CQVDIB& from) {
    Empty();
    std::swap(header_, from.header_);
    std::swap(headerOwner_, from.headerOwner_);
    std::swap(globalHandle_, from.globalHandle_);
    std::swap(colorTable_, from.colorTable_);
    std::swap(colorCount_, from.colorCount_);
    std::swap(bits_, from.bits_);
    std::swap(bitsOwned_, from.bitsOwned_);
    std::swap(knownRoom_, from.knownRoom_);
    std::swap(imageSize_, from.imageSize_);
    std::swap(palette_, from.palette_);
}

ULONG CQVDIB::RecolorFilter(int bitCount, CQVDIB* dst) {
    QV_TRACE("CQVDIB");
    if (bitCount != 24 || !header_) return QV_FAILED;
    if (header_->biCompression != BI_RGB && header_->biCompression != BI_BITFIELDS) return QV_FAILED;
    if (header_->biBitCount == 24) return !dst || dst == this ? QV_OK : dst->Copy(*this);
    if (!bits_) return QV_FAILED;
    CQVDIB temporary;
    CQVDIB& target = dst && dst != this ? *dst : temporary;
    if (!target.makePixels(GetDimensions(), 24)) return QV_FAILED;
    const qv::RowReader rows(view());
    for (int y = 0; y < GetHeight(); ++y) rows.read(y, 0, GetWidth(), target.pixelsFromTop().row(y));
    if (&target == &temporary) takeOver(temporary);
    return QV_OK;
}

LONG CQVDIB::TrimmingFilter(RECT rect, CQVDIB* dst) {
    QV_TRACE("CQVDIB");
    if (!header_) return QV_E_NOHEADER;
    if (rect.left < 0 || rect.top < 0 || rect.right >= GetWidth() || rect.bottom >= GetHeight() ||
        rect.left > rect.right || rect.top > rect.bottom) {
        return QV_E_INVALIDARG;
    }
    if (!bits_) return QV_E_FAIL;
    const CSize size(rect.right - rect.left + 1, rect.bottom - rect.top + 1);
    CQVDIB temporary;
    CQVDIB& target = dst && dst != this ? *dst : temporary;
    const bool fits = target.hasAllRows() && target.GetBitCount() == 24 && target.GetDimensions() == size;
    if (!fits && !target.makePixels(size, 24)) return QV_E_FAIL;
    const qv::RowReader rows(view());
    for (int y = 0; y < size.cy; ++y)
        rows.read(rect.top + y, rect.left, size.cx, target.pixelsFromTop().row(y));
    if (&target == &temporary) takeOver(temporary);
    return 0;
}

LONG CQVDIB::RotationFilter2(int orientation, CQVDIB* dst) {
    QV_TRACE("CQVDIB");
    if (orientation == 1) return 1; // upright already
    for (const auto& row : kOrientations) {
        if (row.orientation == orientation) return RotationFilter(row.angle, 0, dst);
    }
    return QV_E_INVALIDARG;
}

LONG CQVDIB::RotationFilter(int angle, ULONG flag, CQVDIB* dst) {
    QV_TRACE("CQVDIB");
    if (!header_) return QV_E_FAIL;
    if (header_->biBitCount == 24) return RotationFilterCore(angle, flag, dst);
    CQVDIB colored;
    if (RecolorFilter(24, &colored) != QV_OK) return QV_E_FAIL;
    if (dst && dst != this) return colored.RotationFilterCore(angle, flag, dst);
    const LONG result = colored.RotationFilterCore(angle, flag, nullptr);
    if (result == 0) takeOver(colored);
    return result;
}

LONG CQVDIB::RotationFilterCore(int angle, ULONG, CQVDIB* dst) {
    const TurnOfAngle* found = nullptr;
    for (const auto& row : kTurns) {
        if (row.angle == angle) found = &row;
    }
    if (!found) return QV_E_INVALIDARG;
    if (!hasAllRows()) return QV_E_FAIL;
    const bool swapped = found->turn && *found->turn != qv::Turn::Half;
    const CSize size = swapped ? CSize(GetHeight(), GetWidth()) : GetDimensions();
    CQVDIB temporary;
    CQVDIB& target = dst && dst != this ? *dst : temporary;
    if (!target.makePixels(size, 24)) return QV_E_FAIL;
    if (found->turn) {
        qv::turn24(pixelsFromTop(), target.pixelsFromTop(), *found->turn);
    } else {
        std::memcpy(target.bits_, bits_, target.imageSize_);
    }
    if (&target == &temporary) takeOver(temporary);
    return 0;
}

template <class RowFilter>
void CQVDIB::filterRows(RowFilter filter) {
    if (GetBitCount() != 24 || !hasAllRows()) return; // other depths stay as they are
    for (int row = 0; row < GetHeight(); ++row) {
        filter(bits_ + std::int64_t{row} * GetLineBytes(), static_cast<size_t>(GetWidth()));
    }
}

ULONG CQVDIB::GrayFilter() {
    QV_TRACE("CQVDIB");
    filterRows([](BYTE* row, size_t pixels) { qv::grayRow24(row, row, pixels); });
    return QV_OK;
}

ULONG CQVDIB::DensityFilter(int level) {
    QV_TRACE("CQVDIB");
    filterRows([level](BYTE* row, size_t pixels) { qv::lightenRow(row, row, 3 * pixels, level); });
    return QV_OK;
}

ULONG CQVDIB::StillFilter(ULONG mode, CQVDIB* dst) {
    QV_TRACE("CQVDIB");
    // Both images end up filtered, on purpose (DibFilters.StillFilterChangesTheSourceToo).
    if (dst && dst != this && dst->Copy(*this) == QV_OK) dst->StillFilter(mode, nullptr);
    if (!header_) return QV_FAILED;
    const ULONG kept = mode & kLowBits;
    if (kept > kKeepEven) return QV_FAILED;
    if (kept == 0) return QV_OK;
    if (!hasAllRows()) return QV_FAILED;
    const qv::StoredRows rows{bits_, GetLineBytes(), GetHeight()};
    if (kept == kKeepOdd) keepOddLines(rows);
    if (kept == kKeepEven) keepEvenLines(rows);
    if (interpolates(mode) && GetBitCount() == 24) interpolateLines(rows, GetWidth());
    // The even field lies a line too high now.
    if (kept == kKeepEven && rows.height > 1) {
        std::memmove(rows.row(0), rows.row(1), static_cast<size_t>(rows.lineBytes * (rows.height - 1)));
    }
    return QV_OK;
}
