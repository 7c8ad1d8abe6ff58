// The fast version of the quarter-size transform: four blocks side by side.
#include "codecs/dv/DvLowTransform.h"

#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "codecs/dv/DvLowTransform_hwy.cpp"
#include <hwy/foreach_target.h> // must come before highway.h
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qv::dv {
namespace HWY_NAMESPACE {
#if HWY_TARGET == HWY_SCALAR // no vectors at all

void TransformLow(const std::array<LowValues, 6>& values, LowSamples& out) {
    for (std::size_t i = 0; i < 6; ++i) {
        std::uint8_t block[4];
        transformLowPlain(values[i], block);
        std::uint8_t* const to = i < 4 ? &out.luma[2 * i] : &out.colour[2 * (i - 4)];
        std::memcpy(to, block, 2);
        std::memcpy(to + (i < 4 ? 8 : 4), block + 2, 2);
    }
}

#else
namespace hn = hwy::HWY_NAMESPACE;

using D = hn::Full128<std::int32_t>;
using V = hn::Vec<D>;

// Across, down, both and DC of a block, each times its factor; the third ones join the first ones.
template <bool kThirds>
HWY_INLINE V products(const LowValues& values) {
    const D d;
    const hn::Half<hn::Full128<std::int16_t>> d16;
    const std::int32_t* factors = kLowFactors.at[values.kind.fieldMode][values.kind.step].data();
    V v = hn::Mul(hn::PromoteTo(d, hn::Load(d16, &values.across)), hn::Load(d, factors));
    if constexpr (kThirds) {
        // Behind them lies the kind of the block, whose factor is 0.
        const auto thirds = hn::PromoteTo(d, hn::Load(d16, &values.thirdAcross));
        v = hn::Add(v, hn::Mul(thirds, hn::Load(d, factors + 4)));
    }
    return v;
}

// The two samples of each of two blocks in a row.
HWY_INLINE void store(V left, V right, bool upper, std::uint8_t* out) {
    const D d;
    const hn::Rebind<std::uint8_t, D> d8;
    const V pixels = upper ? hn::InterleaveUpper(d, left, right) : hn::InterleaveLower(d, left, right);
    hn::StoreU(hn::DemoteTo(d8, pixels), d8, out);
}

// The rows of one or two pairs of blocks, `width` samples apart.
HWY_INLINE void blocks(V v0, V v1, V v2, V v3, std::size_t width, std::uint8_t* out) {
    const D d;
    const hn::RepartitionToWide<D> d64;
    const auto wide = [&](V v) { return hn::BitCast(d64, v); };
    const V low01 = hn::InterleaveLower(d, v0, v1);
    const V low23 = hn::InterleaveLower(d, v2, v3);
    const V high01 = hn::InterleaveUpper(d, v0, v1);
    const V high23 = hn::InterleaveUpper(d, v2, v3);
    const V across = hn::BitCast(d, hn::InterleaveLower(d64, wide(low01), wide(low23)));
    const V down = hn::BitCast(d, hn::InterleaveUpper(d64, wide(low01), wide(low23)));
    const V both = hn::BitCast(d, hn::InterleaveLower(d64, wide(high01), wide(high23)));
    const V dc = hn::BitCast(d, hn::InterleaveUpper(d64, wide(high01), wide(high23)));
    const V middle = hn::Add(dc, hn::Set(d, kLowGrey));
    const V top = hn::Add(middle, down);
    const V bottom = hn::Sub(middle, down);
    const V sum = hn::Add(across, both);
    const V difference = hn::Sub(across, both);
    const V rows[2][2] = {
        {hn::ShiftRight<16>(hn::Add(top, sum)), hn::ShiftRight<16>(hn::Sub(top, sum))},
        {hn::ShiftRight<16>(hn::Add(bottom, difference)), hn::ShiftRight<16>(hn::Sub(bottom, difference))}};
    for (std::size_t row = 0; row < 2; ++row) {
        store(rows[row][0], rows[row][1], false, out + row * width);
        if (width == 8) store(rows[row][0], rows[row][1], true, out + row * width + 4);
    }
}

void TransformLow(const std::array<LowValues, 6>& values, LowSamples& out) {
    blocks(products<false>(values[0]), products<false>(values[1]), products<false>(values[2]),
           products<false>(values[3]), 8, out.luma.data());
    const V red = products<true>(values[4]);
    const V blue = products<true>(values[5]);
    blocks(red, blue, red, blue, 4, out.colour.data());
}

#endif
} // namespace HWY_NAMESPACE
} // namespace qv::dv
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace qv::dv {
HWY_EXPORT(TransformLow);
void transformLow(const std::array<LowValues, 6>& values, LowSamples& out) {
    HWY_DYNAMIC_DISPATCH(TransformLow)(values, out);
}
} // namespace qv::dv
#endif
