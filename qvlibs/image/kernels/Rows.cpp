#include "qvlibs/image/kernels/Rows.h"

namespace qv {

ByteTable lightenTable(int level) {
    ByteTable table{};
    for (std::int64_t c = 0; c < 256; ++c)
        table[static_cast<size_t>(c)] =
            static_cast<std::uint8_t>((c * (100 - std::int64_t{level}) + std::int64_t{level} * 255) / 100);
    return table;
}

void averageRows(std::uint8_t* dst, const std::uint8_t* a, const std::uint8_t* b, std::size_t bytes) {
    plain::averageRows(dst, a, b, bytes);
}

void grayRow24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels) {
    plain::grayRow24(dst, src, pixels);
}

void lightenRow(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes, int level) {
    plain::lightenRow(dst, src, bytes, level);
}

void palette8Row24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels,
                   const PaletteEntry* palette) {
    plain::palette8Row24(dst, src, pixels, palette);
}

void rgb16Row24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels, const Rgb16Layout& layout) {
    plain::rgb16Row24(dst, src, pixels, layout);
}

void bgrx32Row24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels) {
    plain::bgrx32Row24(dst, src, pixels);
}

void pickRow24(std::uint8_t* dst, const std::uint8_t* src, std::size_t srcPixels,
               const std::uint32_t* columns, std::size_t pixels) {
    plain::pickRow24(dst, src, srcPixels, columns, pixels);
}

void turn24(const ConstPixelView& src, const PixelView& dst, Turn turn) { plain::turn24(src, dst, turn); }

} // namespace qv
