// The fast version of DvColour.cpp.
#include "codecs/dv/DvColour.h"

#include <cmath>
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

#else
namespace hn = hwy::HWY_NAMESPACE;

using D8 = hn::ScalableTag<std::uint8_t>;
using D16 = hn::Repartition<std::int16_t, D8>;
using V8 = hn::Vec<D8>;
using V16 = hn::Vec<D16>;

// Levels carry this many fraction bits.
constexpr int kFraction = 6;

// Factors in 1/32768; a whole part of 1 is added apart.
struct Factors {
    V16 y, crToRed, cbToGreen, crToGreen, cbToBlue, offset;
    int yWhole, redWhole, blueWhole;
};
HWY_INLINE V16 fixed(double value) {
    return hn::Set(D16(), static_cast<std::int16_t>(std::lround(value * 32768)));
}
HWY_INLINE Factors factorsFor(RgbRange range) {
    const ColourMatrix& m = colourMatrix(range);
    const int yWhole = m.y >= 1;
    const int blueWhole = m.cbToBlue >= 2 ? 2 : 1;
    return {fixed(m.y - yWhole),
            fixed(m.crToRed - 1),
            fixed(m.cbToGreen),
            fixed(m.crToGreen),
            fixed(m.cbToBlue - blueWhole),
            hn::Set(D16(), static_cast<std::int16_t>((m.black << kFraction) + (1 << (kFraction - 1)))),
            yWhole,
            1,
            blueWhole};
}

// Eight-bit samples less `zero`, with fraction bits.
template <class Half>
HWY_INLINE V16 widened(Half samples, int zero) {
    const D16 d;
    return hn::ShiftLeft<kFraction>(
        hn::Sub(hn::PromoteTo(d, samples), hn::Set(d, static_cast<std::int16_t>(zero))));
}

struct Rgb {
    V16 red, green, blue;
};
template <class Half>
HWY_INLINE Rgb convert(Half y8, Half cb8, Half cr8, const Factors& f) {
    V16 y = widened(y8, 16);
    const V16 cb = widened(cb8, 128);
    const V16 cr = widened(cr8, 128);
    y = hn::Add(hn::Add(y, hn::MulFixedPoint15(y, f.y)), f.offset);
    const V16 red = hn::Add(cr, hn::MulFixedPoint15(cr, f.crToRed));
    const V16 green = hn::Add(hn::MulFixedPoint15(cb, f.cbToGreen), hn::MulFixedPoint15(cr, f.crToGreen));
    V16 blue = hn::Add(cb, hn::MulFixedPoint15(cb, f.cbToBlue));
    if (f.blueWhole == 2) blue = hn::Add(blue, cb);
    return {hn::SaturatedAdd(y, red), hn::SaturatedAdd(y, green), hn::SaturatedAdd(y, blue)};
}

HWY_INLINE V8 levels(V16 low, V16 high) {
    const hn::Half<D8> half;
    return hn::Combine(D8(), hn::DemoteTo(half, hn::ShiftRight<kFraction>(high)),
                       hn::DemoteTo(half, hn::ShiftRight<kFraction>(low)));
}

// Levels as words, `red` and `green` bits from the top down to five of blue.
template <int kGreenBits>
HWY_INLINE V16 words(const Rgb& rgb) {
    const D16 d;
    const V16 zero = hn::Zero(d);
    const V16 most = hn::Set(d, 255);
    const auto clamped = [&](V16 v) { return hn::Min(hn::Max(hn::ShiftRight<kFraction>(v), zero), most); };
    const V16 red = hn::ShiftLeft<5 + kGreenBits>(hn::ShiftRight<3>(clamped(rgb.red)));
    const V16 green = hn::ShiftLeft<5>(hn::ShiftRight<8 - kGreenBits>(clamped(rgb.green)));
    return hn::Or(red, hn::Or(green, hn::ShiftRight<3>(clamped(rgb.blue))));
}

template <PixelFormat kFormat>
HWY_INLINE void storePixels(const Rgb& low, const Rgb& high, std::uint8_t* out) {
    if constexpr (kFormat == PixelFormat::Bgr24) {
        hn::StoreInterleaved3(levels(low.blue, high.blue), levels(low.green, high.green),
                              levels(low.red, high.red), D8(), out);
    } else {
        constexpr int kGreenBits = kFormat == PixelFormat::Rgb565 ? 6 : 5;
        const D8 d8;
        hn::StoreU(hn::BitCast(d8, words<kGreenBits>(low)), d8, out);
        hn::StoreU(hn::BitCast(d8, words<kGreenBits>(high)), d8, out + hn::Lanes(d8));
    }
}

template <PixelFormat kFormat>
void rowIn(const SampleRow& row, RgbRange range, std::uint8_t* out) {
    const D8 d8;
    const hn::Half<D8> half;
    constexpr int kPixelBytes = kFormat == PixelFormat::Bgr24 ? 3 : 2;
    const int lanes = static_cast<int>(hn::Lanes(d8));
    const Factors factors = factorsFor(range);
    const auto pixels = [&](int x, std::uint8_t* to) {
        const auto rgb = [&](int at) {
            return convert(hn::LoadU(half, row.y + at), hn::LoadU(half, row.cb + at),
                           hn::LoadU(half, row.cr + at), factors);
        };
        storePixels<kFormat>(rgb(x), rgb(x + lanes / 2), to);
    };
    if (row.width < lanes) {
        std::uint8_t some[kPixelBytes * HWY_MAX_BYTES];
        pixels(0, some);
        std::memcpy(out, some, static_cast<size_t>(row.width * kPixelBytes));
        return;
    }
    // The last vector ends with the row, over pixels that are done already.
    for (int x = 0; x < row.width; x += lanes) {
        const int at = HWY_MIN(x, row.width - lanes);
        pixels(at, out + at * kPixelBytes);
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

#endif
} // namespace HWY_NAMESPACE
} // namespace qv::dv
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace qv::dv {
HWY_EXPORT(RowToRgb);
HWY_EXPORT(WidenColour);
void rowToRgb(const SampleRow& row, PixelFormat format, RgbRange range, std::uint8_t* out) {
    HWY_DYNAMIC_DISPATCH(RowToRgb)(row, format, range, out);
}
void widenColour(const std::uint8_t* samples, int count, int factor, std::uint8_t* out) {
    HWY_DYNAMIC_DISPATCH(WidenColour)(samples, count, factor, out);
}
} // namespace qv::dv
#endif
