// Vectors where channels are worked on; elsewhere pixels of three bytes are moved as words of four, whose
// last byte the next pixel covers: only at the ends of a row, where no pixel follows, three bytes are moved.
#include "qvlibs/image/kernels/Rows.h"

#include <algorithm>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "qvlibs/image/kernels/Rows.cpp"
// Vectors whose length is not known when compiling have no place for the blocks of 128 bits used here.
#define HWY_DISABLED_TARGETS (HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128 | HWY_RVV)
#include <hwy/foreach_target.h>
//
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qv::HWY_NAMESPACE {
namespace {

#if HWY_TARGET == HWY_SCALAR // no vectors

void grayPixels(std::uint8_t* dst, const std::uint8_t* src, size_t pixels) {
    plain::grayRow24(dst, src, pixels);
}
void lightenBytes(std::uint8_t* dst, const std::uint8_t* src, size_t bytes, int level) {
    plain::lightenRow(dst, src, bytes, level);
}
void rgb16Pixels(std::uint8_t* dst, const std::uint8_t* src, size_t pixels, const Rgb16Layout& layout) {
    plain::rgb16Row24(dst, src, pixels, layout);
}
void bgrxPixels(std::uint8_t* dst, const std::uint8_t* src, size_t pixels) {
    plain::bgrx32Row24(dst, src, pixels);
}
void turnPixels(const ConstPixelView& src, const PixelView& dst, Turn turn) { plain::turn24(src, dst, turn); }

#else

namespace hn = hwy::HWY_NAMESPACE;

const hn::ScalableTag<std::uint8_t> d8;
const hn::Half<decltype(d8)> d8Half;
const hn::RepartitionToWide<decltype(d8)> d16;
const hn::RebindToSigned<decltype(d16)> d16Signed;
using Bytes = hn::Vec<decltype(d8)>;
using Words = hn::Vec<decltype(d16)>;

Words lowWords(Bytes bytes) { return hn::PromoteTo(d16, hn::LowerHalf(d8Half, bytes)); }
Words highWords(Bytes bytes) { return hn::PromoteTo(d16, hn::UpperHalf(d8Half, bytes)); }
// Words below 256 as bytes.
Bytes narrowed(Words low, Words high) {
    return hn::Combine(d8, hn::DemoteTo(d8Half, hn::BitCast(d16Signed, high)),
                       hn::DemoteTo(d8Half, hn::BitCast(d16Signed, low)));
}

void grayPixels(std::uint8_t* dst, const std::uint8_t* src, size_t pixels) {
    const size_t lanes = hn::Lanes(d8);
    const Words third =
        hn::Set(d16, std::uint16_t{0xAAAB}); // x * 0xAAAB >> 17 = x / 3 for every x of 16 bits
    const auto mean = [&](Words a, Words b, Words c) HWY_ATTR {
        return hn::ShiftRight<1>(hn::MulHigh(hn::Add(hn::Add(a, b), c), third));
    };
    size_t x = 0;
    for (; x + lanes <= pixels; x += lanes) {
        Bytes blue, green, red;
        hn::LoadInterleaved3(d8, src + 3 * x, blue, green, red);
        const Bytes gray = narrowed(mean(lowWords(blue), lowWords(green), lowWords(red)),
                                    mean(highWords(blue), highWords(green), highWords(red)));
        hn::StoreInterleaved3(gray, gray, gray, d8, dst + 3 * x);
    }
    plain::grayRow24(dst + 3 * x, src + 3 * x, pixels - x);
}

// For levels from 0 to 100: then the sum fits 16 bits.
void lightenBytes(std::uint8_t* dst, const std::uint8_t* src, size_t bytes, int level) {
    const size_t lanes = hn::Lanes(d8);
    const Words keep = hn::Set(d16, static_cast<std::uint16_t>(100 - level));
    const Words add = hn::Set(d16, static_cast<std::uint16_t>(level * 255));
    const Words hundredth = hn::Set(d16, std::uint16_t{41944}); // x * 41944 >> 22 = x / 100 up to 25500
    const auto mixed = [&](Words value) HWY_ATTR {
        return hn::ShiftRight<6>(hn::MulHigh(hn::Add(hn::Mul(value, keep), add), hundredth));
    };
    size_t i = 0;
    for (; i + lanes <= bytes; i += lanes) {
        const Bytes value = hn::LoadU(d8, src + i);
        hn::StoreU(narrowed(mixed(lowWords(value)), mixed(highWords(value))), d8, dst + i);
    }
    plain::lightenRow(dst + i, src + i, bytes - i, level);
}

void rgb16Pixels(std::uint8_t* dst, const std::uint8_t* src, size_t pixels, const Rgb16Layout& layout) {
    const size_t lanes = hn::Lanes(d8);
    const auto masked = [&](Words low, Words high, std::uint8_t mask) HWY_ATTR {
        const Words bits = hn::Set(d16, std::uint16_t{mask});
        return narrowed(hn::And(low, bits), hn::And(high, bits));
    };
    size_t x = 0;
    for (; x + lanes <= pixels; x += lanes) {
        const Words low = hn::BitCast(d16, hn::LoadU(d8, src + 2 * x));
        const Words high = hn::BitCast(d16, hn::LoadU(d8, src + 2 * x + lanes));
        const Bytes blue = masked(hn::ShiftLeft<3>(low), hn::ShiftLeft<3>(high), layout.blueMask);
        const Bytes green = masked(hn::ShiftRightSame(low, layout.greenShift),
                                   hn::ShiftRightSame(high, layout.greenShift), layout.greenMask);
        const Bytes red = masked(hn::ShiftRightSame(low, layout.redShift),
                                 hn::ShiftRightSame(high, layout.redShift), layout.redMask);
        hn::StoreInterleaved3(blue, green, red, d8, dst + 3 * x);
    }
    plain::rgb16Row24(dst + 3 * x, src + 2 * x, pixels - x, layout);
}

void bgrxPixels(std::uint8_t* dst, const std::uint8_t* src, size_t pixels) {
    const size_t lanes = hn::Lanes(d8);
    size_t x = 0;
    for (; x + lanes <= pixels; x += lanes) {
        Bytes blue, green, red, unused;
        hn::LoadInterleaved4(d8, src + 4 * x, blue, green, red, unused);
        hn::StoreInterleaved3(blue, green, red, d8, dst + 3 * x);
    }
    plain::bgrx32Row24(dst + 3 * x, src + 4 * x, pixels - x);
}

// Turns work on blocks of 128 bits: four pixels, or five.
const hn::FixedTag<std::uint8_t, 16> block8;
const hn::FixedTag<std::uint32_t, 4> block32;
const hn::FixedTag<std::uint64_t, 2> block64;
using Block = hn::Vec<decltype(block8)>;

constexpr int kTile = 4;             // pixels on a side that are turned together
constexpr int kColumnsTogether = 64; // of the destination: as many source rows are read side by side

HWY_ALIGN constexpr std::uint8_t kSpread[16] = {0, 1, 2, 0x80, 3, 4, 5, 0x80, 6, 7, 8, 0x80, 9, 10, 11, 0x80};
HWY_ALIGN constexpr std::uint8_t kPacked[16] = {0,  1,  2,  4,  5,    6,    8,    9,
                                                10, 12, 13, 14, 0x80, 0x80, 0x80, 0x80};
HWY_ALIGN constexpr std::uint8_t kReversed[16] = {13, 14, 15, 10, 11, 12, 7, 8, 9, 4, 5, 6, 1, 2, 3, 0x80};

// Four pixels, each in a word. Bytes behind them are read only when `more` says that they are there.
Block loadTile(const std::uint8_t* from, bool more) {
    if (more) return hn::TableLookupBytesOr0(hn::LoadU(block8, from), hn::Load(block8, kSpread));
    HWY_ALIGN std::uint8_t pixels[16] = {};
    std::memcpy(pixels, from, 3 * kTile);
    return hn::TableLookupBytesOr0(hn::Load(block8, pixels), hn::Load(block8, kSpread));
}

// Four words as pixels. `more` says that what lies behind them may be overwritten.
void storeTile(Block words, std::uint8_t* to, bool more) {
    const Block packed = hn::TableLookupBytesOr0(words, hn::Load(block8, kPacked));
    if (more) {
        hn::StoreU(packed, block8, to);
    } else {
        HWY_ALIGN std::uint8_t pixels[16];
        hn::Store(packed, block8, pixels);
        std::memcpy(to, pixels, 3 * kTile);
    }
}

// Source columns become destination rows, each read down (clockwise: up).
struct QuarterTurn {
    const ConstPixelView& src;
    const PixelView& dst;
    bool clockwise;

    const std::uint8_t* source(int x, int y) const {
        const int column = clockwise ? y : src.width - 1 - y;
        const int row = clockwise ? src.height - 1 - x : x;
        return src.row(row) + 3 * static_cast<std::ptrdiff_t>(column);
    }
    void pixel(int x, int y) const {
        std::memcpy(dst.row(y) + 3 * static_cast<std::ptrdiff_t>(x), source(x, y), 3);
    }

    void tile(int x, int y) const {
        // The leftmost of the four source columns belongs to the first destination row, or to the last.
        const int left = clockwise ? y : y + kTile - 1;
        const bool more = (clockwise ? y : src.width - kTile - y) + 6 <= src.width;
        const auto a = hn::BitCast(block32, loadTile(source(x, left), more));
        const auto b = hn::BitCast(block32, loadTile(source(x + 1, left), more));
        const auto c = hn::BitCast(block32, loadTile(source(x + 2, left), more));
        const auto d = hn::BitCast(block32, loadTile(source(x + 3, left), more));
        const auto ab01 = hn::BitCast(block64, hn::InterleaveLower(block32, a, b));
        const auto ab23 = hn::BitCast(block64, hn::InterleaveUpper(block32, a, b));
        const auto cd01 = hn::BitCast(block64, hn::InterleaveLower(block32, c, d));
        const auto cd23 = hn::BitCast(block64, hn::InterleaveUpper(block32, c, d));
        const bool space = x + 6 <= dst.width;
        const auto put = [&](int column, Block words) HWY_ATTR {
            storeTile(words,
                      dst.row(clockwise ? y + column : y + kTile - 1 - column) +
                          3 * static_cast<std::ptrdiff_t>(x),
                      space);
        };
        put(0, hn::BitCast(block8, hn::InterleaveLower(block64, ab01, cd01)));
        put(1, hn::BitCast(block8, hn::InterleaveUpper(block64, ab01, cd01)));
        put(2, hn::BitCast(block8, hn::InterleaveLower(block64, ab23, cd23)));
        put(3, hn::BitCast(block8, hn::InterleaveUpper(block64, ab23, cd23)));
    }

    void run() const {
        const int wholeColumns = dst.width / kTile * kTile, wholeRows = dst.height / kTile * kTile;
        for (int left = 0; left < wholeColumns; left += kColumnsTogether) {
            const int right = std::min(wholeColumns, left + kColumnsTogether);
            for (int y = 0; y < wholeRows; y += kTile) {
                for (int x = left; x < right; x += kTile) tile(x, y);
            }
        }
        // What overlaps into the columns and rows that are left is written over here.
        for (int y = 0; y < dst.height; ++y) {
            for (int x = y < wholeRows ? wholeColumns : 0; x < dst.width; ++x) pixel(x, y);
        }
    }
};

void halfTurnRow(const std::uint8_t* src, std::uint8_t* dst, int pixels) {
    constexpr int kPixels = 5;
    const Block reversed = hn::Load(block8, kReversed);
    int x = 0;
    // Blocks start a byte before their five pixels in the source and end a byte behind them in the
    // destination.
    for (; pixels - x > kPixels; x += kPixels) {
        const std::uint8_t* const from = src + 3 * static_cast<std::ptrdiff_t>(pixels - x - kPixels) - 1;
        hn::StoreU(hn::TableLookupBytesOr0(hn::LoadU(block8, from), reversed), block8,
                   dst + 3 * static_cast<std::ptrdiff_t>(x));
    }
    for (; x < pixels; ++x) {
        std::memcpy(dst + 3 * static_cast<std::ptrdiff_t>(x),
                    src + 3 * static_cast<std::ptrdiff_t>(pixels - 1 - x), 3);
    }
}

void turnPixels(const ConstPixelView& src, const PixelView& dst, Turn turn) {
    if (turn == Turn::Half) {
        for (int y = 0; y < dst.height; ++y) halfTurnRow(src.row(src.height - 1 - y), dst.row(y), dst.width);
    } else {
        QuarterTurn{src, dst, turn == Turn::Clockwise}.run();
    }
}

#endif

} // namespace
} // namespace qv::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace qv {

HWY_EXPORT(grayPixels);
HWY_EXPORT(lightenBytes);
HWY_EXPORT(rgb16Pixels);
HWY_EXPORT(bgrxPixels);
HWY_EXPORT(turnPixels);

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
    HWY_DYNAMIC_DISPATCH(grayPixels)(dst, src, pixels);
}

void lightenRow(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes, int level) {
    if (level < 0 || level > 100) return plain::lightenRow(dst, src, bytes, level);
    HWY_DYNAMIC_DISPATCH(lightenBytes)(dst, src, bytes, level);
}

void palette8Row24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels,
                   const PaletteEntry* palette) {
    if (pixels == 0) return;
    for (std::size_t x = 0; x + 1 < pixels; ++x) std::memcpy(dst + 3 * x, palette + src[x], 4);
    std::memcpy(dst + 3 * (pixels - 1), palette + src[pixels - 1], 3);
}

void rgb16Row24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels, const Rgb16Layout& layout) {
    HWY_DYNAMIC_DISPATCH(rgb16Pixels)(dst, src, pixels, layout);
}

void bgrx32Row24(std::uint8_t* dst, const std::uint8_t* src, std::size_t pixels) {
    HWY_DYNAMIC_DISPATCH(bgrxPixels)(dst, src, pixels);
}

void pickRow24(std::uint8_t* dst, const std::uint8_t* src, std::size_t srcPixels,
               const std::uint32_t* columns, std::size_t pixels) {
    if (pixels == 0) return;
    const std::size_t last = srcPixels - 1; // no byte follows it
    for (std::size_t x = 0; x + 1 < pixels; ++x) {
        const std::uint8_t* const from = src + 3 * std::size_t{columns[x]};
        if (columns[x] < last) {
            std::memcpy(dst + 3 * x, from, 4);
        } else {
            std::memcpy(dst + 3 * x, from, 3);
        }
    }
    std::memcpy(dst + 3 * (pixels - 1), src + 3 * std::size_t{columns[pixels - 1]}, 3);
}

void turn24(const ConstPixelView& src, const PixelView& dst, Turn turn) {
    HWY_DYNAMIC_DISPATCH(turnPixels)(src, dst, turn);
}

} // namespace qv
#endif
