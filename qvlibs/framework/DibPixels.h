// Bitmaps as they lie in memory: the arithmetic of rows and the colour of one pixel at every depth.
#pragma once

#include "qvlibs/framework/MediaHeaders.h"

#include <span>

namespace qv {

// Bytes of one row, padded to 4.
constexpr std::int64_t dibLineBytes(std::int64_t width, std::int64_t bitCount) {
    const std::int64_t bits = width * bitCount;
    return (bits / 8 & ~std::int64_t{3}) + (bits % 32 != 0 ? 4 : 0);
}

// A bitmap that belongs to somebody else. `table` may be shorter than the depth could name: colours that are
// not there read as black.
struct DibView {
    const BITMAPINFOHEADER* header = nullptr;
    std::span<const RGBQUAD> table;
    std::span<const BYTE> bits;
};

constexpr COLORREF colorOf(const RGBQUAD& entry) {
    return entry.rgbRed | static_cast<COLORREF>(entry.rgbGreen) << 8 |
           static_cast<COLORREF>(entry.rgbBlue) << 16;
}
// A table entry as the 32-bit mask that it holds in bitmaps with masks.
constexpr DWORD maskOf(const RGBQUAD& entry) {
    return entry.rgbBlue | static_cast<DWORD>(entry.rgbGreen) << 8 | static_cast<DWORD>(entry.rgbRed) << 16 |
           static_cast<DWORD>(entry.rgbReserved) << 24;
}

// The colour at column x of picture row y (0 is the top), 0x00BBGGRR. Black without header or table, for
// run-length bitmaps and unknown depths, and where the position lies outside the bits; a column behind the
// row's end reads what lies there.
[[nodiscard]] QVLIBS_API COLORREF dibPixel(const DibView& dib, int x, int y);

} // namespace qv
