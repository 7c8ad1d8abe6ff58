// The fast version of DvColour.cpp.
#include "codecs/dv/DvColour.h"

#include <cstdint>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "codecs/dv/DvColour_hwy.cpp"
#include <hwy/foreach_target.h> // must come before highway.h
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qv::dv {
namespace HWY_NAMESPACE {
#if HWY_TARGET == HWY_SCALAR // no vectors at all

void RowToRgb(const SampleRow& row, PixelFormat format, RgbRange range, std::uint8_t* out) {
    rowToRgbPlain(row, format, range, out);
}
void WidenColour(const std::uint8_t* samples, int count, int factor, std::uint8_t* out) {
    widenColourPlain(samples, count, factor, out);
}
void WidenMiddleColour(const std::uint8_t* samples, int count, std::uint8_t* out) {
    widenMiddleColourPlain(samples, count, out);
}

#else
namespace hn = hwy::HWY_NAMESPACE;

using D8 = hn::ScalableTag<std::uint8_t>;
using D16 = hn::Repartition<std::int16_t, D8>;
using V8 = hn::Vec<D8>;
using V16 = hn::Vec<D16>;

// Samples come as 256ths around 0 (128 of a sample), levels leave with this many fraction bits.
constexpr int kFraction = 6;

struct Factors {
    std::int16_t y, crToRed, cbToGreen, crToGreen, cbToBlue, offset;
};
constexpr std::int16_t rounded(double value) {
    return static_cast<std::int16_t>(value + (value < 0 ? -0.5 : 0.5));
}
constexpr std::int16_t fixed(double value) { return rounded(value * (32768 >> (8 - kFraction))); }
constexpr Factors factorsFor(const ColourMatrix& m) {
    return {fixed(m.y),         fixed(m.crToRed),
            fixed(m.cbToGreen), fixed(m.crToGreen),
            fixed(m.cbToBlue),  rounded(((128 - 16) * m.y + m.black + 0.5) * (1 << kFraction))};
}
constexpr Factors kFactors[] = {factorsFor(kColourMatrices[0]), factorsFor(kColourMatrices[1])};

HWY_INLINE V16 times(V16 samples, std::int16_t factor) {
    return hn::MulFixedPoint15(samples, hn::Set(D16(), factor));
}

// Pixels of even and of odd number are worked on apart: no lanes have to change places for that.
struct Rgb {
    V16 red, green, blue;
};
HWY_INLINE Rgb convert(V16 y, V16 cb, V16 cr, const Factors& f) {
    y = hn::Add(times(y, f.y), hn::Set(D16(), f.offset));
    const V16 green = hn::Add(times(cb, f.cbToGreen), times(cr, f.crToGreen));
    return {hn::SaturatedAdd(y, times(cr, f.crToRed)), hn::SaturatedAdd(y, green),
            hn::SaturatedAdd(y, times(cb, f.cbToBlue))};
}

HWY_INLINE V16 clamped(V16 v) {
    const D16 d;
    return hn::Min(hn::Max(hn::ShiftRight<kFraction>(v), hn::Zero(d)), hn::Set(d, 255));
}

// Levels of even and odd pixels as bytes. In each 16 of them the even ones lie in front where a processor has an
// instruction for that, which Highway has no name for; elsewhere they are in order.
#if HWY_TARGET == HWY_AVX3
#define QVDV_PACK(even, odd) (V8{_mm512_packus_epi16((even).raw, (odd).raw)})
#elif HWY_TARGET == HWY_AVX2
#define QVDV_PACK(even, odd) (V8{_mm256_packus_epi16((even).raw, (odd).raw)})
#elif HWY_TARGET == HWY_SSE4 || HWY_TARGET == HWY_SSSE3
#define QVDV_PACK(even, odd) (V8{_mm_packus_epi16((even).raw, (odd).raw)})
#endif
HWY_INLINE V8 levels(V16 even, V16 odd) {
#ifdef QVDV_PACK
    return QVDV_PACK(hn::ShiftRight<kFraction>(even), hn::ShiftRight<kFraction>(odd));
#else
    const V16 words = hn::Or(clamped(even), hn::ShiftLeft<8>(clamped(odd)));
    return hn::BitCast(D8(), words);
#endif
}

// Where the bytes of 16 pixels come from, by channel and third of their 48 bytes.
struct PixelBytes {
    alignas(16) std::uint8_t at[3][3][16];
    constexpr PixelBytes() : at{} {
        for (std::size_t i = 0; i < 48; ++i) {
#ifdef QVDV_PACK
            const std::size_t pixel = i / 3 % 2 * 8 + i / 6;
#else
            const std::size_t pixel = i / 3;
#endif
            for (std::size_t channel = 0; channel < 3; ++channel) {
                at[channel][i / 16][i % 16] = static_cast<std::uint8_t>(i % 3 == channel ? pixel : 0x80);
            }
        }
    }
};
#undef QVDV_PACK
constexpr PixelBytes kPixelBytes;

// Levels as words, `red` and `green` bits from the top down to five of blue.
template <int kGreenBits>
HWY_INLINE V16 words(const Rgb& rgb) {
    const V16 red = hn::ShiftLeft<5 + kGreenBits>(hn::ShiftRight<3>(clamped(rgb.red)));
    const V16 green = hn::ShiftLeft<5>(hn::ShiftRight<8 - kGreenBits>(clamped(rgb.green)));
    return hn::Or(red, hn::Or(green, hn::ShiftRight<3>(clamped(rgb.blue))));
}

// Writes the parts' 16-byte blocks in turn: the first of each, the second of each. They are sorted in memory, since
// few processors can move blocks inside a vector as fast.
template <size_t kCount>
HWY_INLINE void storeBlocks(const V8 (&parts)[kCount], std::uint8_t* out) {
    const hn::Full128<std::uint8_t> block;
    alignas(64) std::uint8_t buffer[kCount][HWY_MAX_BYTES];
    for (size_t i = 0; i < kCount; ++i) hn::Store(parts[i], D8(), buffer[i]);
    for (size_t at = 0; at < hn::Lanes(D8()); at += 16) {
        for (size_t i = 0; i < kCount; ++i, out += 16)
            hn::StoreU(hn::Load(block, buffer[i] + at), block, out);
    }
}

template <PixelFormat kFormat>
HWY_INLINE void storePixels(const Rgb& even, const Rgb& odd, std::uint8_t* out) {
    const D8 d8;
    if constexpr (kFormat == PixelFormat::Bgr24) {
        const V8 channels[3] = {levels(even.blue, odd.blue), levels(even.green, odd.green),
                                levels(even.red, odd.red)};
        const auto third = [&](size_t i) {
            const auto bytes = [&](size_t channel) {
                return hn::TableLookupBytesOr0(channels[channel],
                                               hn::LoadDup128(d8, kPixelBytes.at[channel][i]));
            };
            return hn::Or(bytes(0), hn::Or(bytes(1), bytes(2)));
        };
        storeBlocks({third(0), third(1), third(2)}, out);
    } else {
        constexpr int kGreenBits = kFormat == PixelFormat::Rgb565 ? 6 : 5;
        const V16 first = words<kGreenBits>(even);
        const V16 second = words<kGreenBits>(odd);
        storeBlocks({hn::BitCast(d8, hn::InterleaveLower(D16(), first, second)),
                     hn::BitCast(d8, hn::InterleaveUpper(D16(), first, second))},
                    out);
    }
}

template <PixelFormat kFormat>
void rowIn(const SampleRow& row, RgbRange range, std::uint8_t* out) {
    const D8 d8;
    const D16 d16;
    constexpr int kPixelBytesEach = kFormat == PixelFormat::Bgr24 ? 3 : 2;
    const int lanes = static_cast<int>(hn::Lanes(d8));
    const Factors factors = kFactors[static_cast<size_t>(range)];
    const auto pixels = [&](int x, std::uint8_t* to) {
        const auto signedWords = [&](const std::uint8_t* samples) {
            return hn::BitCast(d16, hn::Xor(hn::LoadU(d8, samples + x), hn::Set(d8, 0x80)));
        };
        const V16 y = signedWords(row.y);
        const V16 cb = signedWords(row.cb);
        const V16 cr = signedWords(row.cr);
        const auto odd = [&](V16 v) { return hn::And(v, hn::Set(d16, static_cast<std::int16_t>(0xFF00))); };
        storePixels<kFormat>(
            convert(hn::ShiftLeft<8>(y), hn::ShiftLeft<8>(cb), hn::ShiftLeft<8>(cr), factors),
            convert(odd(y), odd(cb), odd(cr), factors), to);
    };
    if (row.width < lanes) {
        std::uint8_t some[kPixelBytesEach * HWY_MAX_BYTES];
        pixels(0, some);
        std::memcpy(out, some, static_cast<size_t>(row.width) * kPixelBytesEach);
        return;
    }
    // The last vector ends with the row, over pixels that are done already.
    for (int x = 0; x < row.width; x += lanes) {
        const int at = HWY_MIN(x, row.width - lanes);
        pixels(at, out + at * kPixelBytesEach);
    }
}

void RowToRgb(const SampleRow& row, PixelFormat format, RgbRange range, std::uint8_t* out) {
    switch (format) {
    case PixelFormat::Rgb565: rowIn<PixelFormat::Rgb565>(row, range, out); return;
    case PixelFormat::Rgb555: rowIn<PixelFormat::Rgb555>(row, range, out); return;
    default: rowIn<PixelFormat::Bgr24>(row, range, out); return;
    }
}

void WidenColour(const std::uint8_t* samples, int count, int factor, std::uint8_t* out) {
    const D8 d;
    const int lanes = static_cast<int>(hn::Lanes(d));
    for (int i = 0; i < count; i += lanes) {
        const V8 here = hn::LoadU(d, samples + i);
        const V8 next = hn::LoadU(d, samples + i + 1);
        const V8 middle = hn::AverageRound(here, next);
        if (factor == 4) {
            hn::StoreInterleaved4(here, hn::AverageRound(here, middle), middle,
                                  hn::AverageRound(middle, next), d, out + 4 * i);
        } else {
            hn::StoreInterleaved2(here, middle, d, out + 2 * i);
        }
    }
    // Behind the last sample there is none to go to.
    std::memset(out + (count - 1) * factor, samples[count - 1], static_cast<size_t>(factor));
}

void WidenMiddleColour(const std::uint8_t* samples, int count, std::uint8_t* out) {
    const D8 d;
    out[0] = samples[0];
    for (int i = 0; i < count; i += static_cast<int>(hn::Lanes(d))) {
        const V8 here = hn::LoadU(d, samples + i);
        const V8 next = hn::LoadU(d, samples + i + 1);
        const V8 middle = hn::AverageRound(here, next);
        hn::StoreInterleaved2(hn::AverageRound(here, middle), hn::AverageRound(next, middle), d,
                              out + 2 * i + 1);
    }
    out[2 * count - 1] = samples[count - 1];
}

#endif
} // namespace HWY_NAMESPACE
} // namespace qv::dv
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace qv::dv {
HWY_EXPORT(RowToRgb);
HWY_EXPORT(WidenColour);
HWY_EXPORT(WidenMiddleColour);
void rowToRgb(const SampleRow& row, PixelFormat format, RgbRange range, std::uint8_t* out) {
    HWY_DYNAMIC_DISPATCH(RowToRgb)(row, format, range, out);
}
void widenColour(const std::uint8_t* samples, int count, int factor, std::uint8_t* out) {
    HWY_DYNAMIC_DISPATCH(WidenColour)(samples, count, factor, out);
}
void widenMiddleColour(const std::uint8_t* samples, int count, std::uint8_t* out) {
    HWY_DYNAMIC_DISPATCH(WidenMiddleColour)(samples, count, out);
}
} // namespace qv::dv
#endif
