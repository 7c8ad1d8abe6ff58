#include "qvlibs/image/kernels/Rows.h"

#include <algorithm>

namespace qv::plain {

void averageRows(std::uint8_t* dst, const std::uint8_t* a, const std::uint8_t* b, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i) dst[i] = static_cast<std::uint8_t>((a[i] + b[i]) / 2);
}

void grayRow24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels) {
    for (std::size_t i = 0; i < 3 * pixels; i += 3) {
        const int gray = (src[i] + src[i + 1] + src[i + 2]) / 3;
        std::fill_n(dst + i, 3, static_cast<std::uint8_t>(gray));
    }
}

void lightenRow(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes, int level) {
    const ByteTable table = lightenTable(level);
    for (std::size_t i = 0; i < bytes; ++i) dst[i] = table[src[i]];
}

void palette8Row24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels,
                   const PaletteEntry* palette) {
    for (std::size_t i = 0; i < pixels; ++i) std::copy_n(palette[src[i]].data(), 3, dst + 3 * i);
}

void rgb16Row24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels, const Rgb16Layout& layout) {
    for (std::size_t i = 0; i < pixels; ++i) {
        const int word = src[2 * i] | src[2 * i + 1] << 8;
        dst[3 * i] = static_cast<std::uint8_t>(word << 3 & layout.blueMask);
        dst[3 * i + 1] = static_cast<std::uint8_t>(word >> layout.greenShift & layout.greenMask);
        dst[3 * i + 2] = static_cast<std::uint8_t>(word >> layout.redShift & layout.redMask);
    }
}

void bgrx32Row24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels) {
    for (std::size_t i = 0; i < pixels; ++i) std::copy_n(src + 4 * i, 3, dst + 3 * i);
}

void pickRow24(std::uint8_t* dst, const std::uint8_t* src, std::size_t, const std::uint32_t* columns,
               std::size_t pixels) {
    for (std::size_t i = 0; i < pixels; ++i) std::copy_n(src + std::size_t{3} * columns[i], 3, dst + 3 * i);
}

void turn24(const ConstPixelView& src, const PixelView& dst, Turn turn) {
    for (int y = 0; y < dst.height; ++y) {
        for (int x = 0; x < dst.width; ++x) {
            const int fromX = turn == Turn::Clockwise ? y
                              : turn == Turn::Half    ? dst.width - 1 - x
                                                      : dst.height - 1 - y;
            const int fromY = turn == Turn::Clockwise ? dst.width - 1 - x
                              : turn == Turn::Half    ? dst.height - 1 - y
                                                      : x;
            std::copy_n(src.row(fromY) + 3 * fromX, 3, dst.row(y) + 3 * x);
        }
    }
}

} // namespace qv::plain
