// Loops over rows of pixels. 24-bit pixels are stored blue, green, red.
//
// Counts are in pixels unless a name says bytes; zero is fine. Source and destination are apart, or the very
// same row where it says "in place". Exactly the bytes of the rows are read and written. Every function has a
// slow twin of the same name in qv::plain, which says what it does one pixel after the other; the results are
// the same on every processor. Any number of threads.
#pragma once

#include "qvlibs/image/kernels/PixelView.h"

#include <array>

namespace qv {

// A colour table entry as it is stored: blue, green, red, one unused byte.
using PaletteEntry = std::array<std::uint8_t, 4>;
using ByteTable = std::array<std::uint8_t, 256>;

// How a 16-bit pixel holds its colours. Each is shifted (red and green to the right, blue by 3 to the left),
// cut to its low byte and masked: low bits that a colour does not have stay zero.
struct Rgb16Layout {
    int redShift, greenShift;
    std::uint8_t redMask, greenMask, blueMask;
};
constexpr Rgb16Layout kRgb555{7, 2, 0xF8, 0xF8, 0xF8};
// The layout that three colour masks of a header ask for: 5-6-5 with a green mask of 0x07E0, else 5-5-5.
constexpr Rgb16Layout rgb16Layout(std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
    const auto low = [](std::uint32_t mask) { return static_cast<std::uint8_t>(mask); };
    if (green == 0x07E0) return {8, 3, low(red >> 8), 0xFC, low(blue << 3)};
    return {7, 2, low(red >> 7), low(green >> 2), low(blue << 3)};
}

enum class Turn : int { Clockwise, Half, CounterClockwise };

// dst = (a + b) / 2, rounded down. In place of a or b too.
void averageRows(std::uint8_t* dst, const std::uint8_t* a, const std::uint8_t* b, std::size_t bytes);

// All three channels become (red + green + blue) / 3, rounded down. In place.
void grayRow24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels);

// What lightening makes of each byte: (c (100 - level) + 255 level) / 100 toward zero, the low 8 bits of it.
ByteTable lightenTable(int level);
// Each byte becomes lightenTable(level)[byte]. In place.
void lightenRow(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes, int level);

// 8-bit indices. `palette` has 256 entries.
void palette8Row24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels,
                   const PaletteEntry* palette);
// Little-endian 16-bit pixels.
void rgb16Row24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels, const Rgb16Layout& layout);
// 32-bit pixels; the fourth byte is dropped.
void bgrx32Row24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels);

// dst[i] = src[columns[i]]: nearest-neighbour sampling of a row of 24-bit pixels of `srcPixels` pixels, all
// columns below that.
void pickRow24(std::uint8_t* dst, const std::uint8_t* src, std::size_t srcPixels,
               const std::uint32_t* columns, std::size_t pixels);

// Turns a 24-bit picture as it is displayed, row 0 on top (see a bitmap stored bottom-up through a negative
// stride). `dst` has the turned size.
void turn24(const ConstPixelView& src, const PixelView& dst, Turn turn);

namespace plain {
void averageRows(std::uint8_t* dst, const std::uint8_t* a, const std::uint8_t* b, std::size_t bytes);
void grayRow24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels);
void lightenRow(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes, int level);
void palette8Row24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels,
                   const PaletteEntry* palette);
void rgb16Row24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels, const Rgb16Layout& layout);
void bgrx32Row24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels);
void pickRow24(std::uint8_t* dst, const std::uint8_t* src, std::size_t srcPixels,
               const std::uint32_t* columns, std::size_t pixels);
void turn24(const ConstPixelView& src, const PixelView& dst, Turn turn);
} // namespace plain

} // namespace qv
