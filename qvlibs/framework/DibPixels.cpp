#include "qvlibs/framework/DibPixels.h"

#include <cstring>

namespace qv {
namespace {

constexpr DWORD kGreen565 = 0x07E0;

// Channels keep their high bits and are not stretched to 255: white in 5-5-5 is F8F8F8.
COLORREF color555(unsigned word) {
    return (word >> 7 & 0xF8) | (word >> 2 & 0xF8) << 8 | (word << 3 & 0xF8) << 16;
}

COLORREF colorMasked(unsigned word, std::span<const RGBQUAD> masks) {
    const DWORD red = maskOf(masks[0]), green = maskOf(masks[1]), blue = maskOf(masks[2]);
    const DWORD b = (blue & word) * 8 & 0xFF;
    if (green == kGreen565) return (red >> 8 & word >> 8 & 0xFF) | (word >> 3 & 0xFC) << 8 | b << 16;
    return (red >> 7 & word >> 7 & 0xFF) | (green >> 2 & word >> 2 & 0xFF) << 8 | b << 16;
}

} // namespace

COLORREF dibPixel(const DibView& dib, int x, int y) {
    if (!dib.header) return 0;
    const DWORD compression = dib.header->biCompression;
    const int bitCount = dib.header->biBitCount;
    if (compression != BI_RGB && compression != BI_BITFIELDS) return 0;
    std::int64_t row = 0;
    if (__builtin_mul_overflow(std::int64_t{dib.header->biHeight} - y - 1,
                               dibLineBytes(dib.header->biWidth, bitCount), &row))
        return 0;
    const auto at = [&](std::int64_t offset, std::int64_t size) -> const BYTE* {
        const std::int64_t end = row + offset + size;
        if (x < 0 || row + offset < 0 || end > static_cast<std::int64_t>(dib.bits.size())) return nullptr;
        return dib.bits.data() + row + offset;
    };
    const auto entry = [&](unsigned index) {
        return index < dib.table.size() ? colorOf(dib.table[index]) : 0;
    };
    const BYTE* pixel = at(std::int64_t{x} * bitCount / 8, bitCount <= 8 ? 1 : bitCount / 8);
    if (!pixel) return 0;
    switch (bitCount) {
    case 1: return entry(*pixel >> (7 - x % 8) & 1u);
    case 4: return entry(x % 2 ? *pixel & 0x0Fu : *pixel >> 4);
    case 8: return entry(*pixel);
    case 16: {
        const unsigned word = pixel[0] | static_cast<unsigned>(pixel[1]) << 8;
        if (compression == BI_RGB) return color555(word);
        return dib.table.size() < 3 ? 0 : colorMasked(word, dib.table);
    }
    case 24:
    case 32: return pixel[2] | static_cast<COLORREF>(pixel[1]) << 8 | static_cast<COLORREF>(pixel[0]) << 16;
    default: return 0;
    }
}

} // namespace qv
