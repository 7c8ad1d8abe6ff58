// The fast version of DvTransform.cpp: one vector holds one column of up to four blocks. The one-dimensional
// transform is the scaled eight-point one with five multiplications; its scale factors are part of the
// weights.
#include "codecs/dv/DvTransform.h"

#include <array>
#include <cstdint>

#include "codecs/dv/DvTables.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "codecs/dv/DvTransform_hwy.cpp"
#include <hwy/foreach_target.h> // must come before highway.h
#include <hwy/highway.h>

#ifndef QVDV_TRANSFORM_TABLES
#define QVDV_TRANSFORM_TABLES
namespace qv::dv {
namespace {

// Samples carry this many fraction bits through the transforms.
constexpr int kFraction = 5;

// Scale of index k in the five-multiplication transform.
constexpr double scaleOf(int k) { return k ? kCos[k] / kCos[4] : 1.0; }

// What index k becomes at half size: the mean of two neighbouring samples of the cosine k is cos(k pi / 16)
// times the four-point cosine k; beyond the middle that is the four-point cosine 8 - k, negative.
constexpr double halfScaleOf(int k) {
    return k < 4 ? kCos[k] * scaleOf(2 * k) : k == 4 ? 0 : -kCos[k] * scaleOf(2 * (8 - k));
}

// By transform, column and row: which of a block's steps holds (as byte pairs for a table look-up), and the
// weight times both scales in 1/16384, for full and for half size.
struct PlaceTables {
    using Weights = std::array<std::array<std::array<std::int16_t, 8>, 8>, 2>;
    alignas(16) std::array<std::array<std::array<std::uint8_t, 16>, 8>, 2> areaBytes{};
    alignas(16) Weights weights{};
    alignas(16) Weights halfWeights{};
    static constexpr std::int16_t fixed(double weight) {
        const double scaled = weight * 16384 + (weight < 0 ? -0.5 : 0.5);
        return static_cast<std::int16_t>(scaled < 32767 ? scaled : 32767);
    }
    constexpr PlaceTables() {
        for (std::size_t mode = 0; mode < 2; ++mode) {
            const auto& scan = mode ? kScan248 : kScan88;
            for (int i = 0; i < 64; ++i) {
                const std::size_t row = scan[static_cast<std::size_t>(i)] / 8;
                const std::size_t column = scan[static_cast<std::size_t>(i)] % 8;
                std::size_t area = kDcArea;
                for (std::size_t a = 4; i > 0 && a-- > 0;) {
                    if (i < kAreaEnd[a]) area = a;
                }
                areaBytes[mode][column][2 * row] = static_cast<std::uint8_t>(2 * area);
                areaBytes[mode][column][2 * row + 1] = static_cast<std::uint8_t>(2 * area + 1);
                const std::size_t vertical = mode ? row / 2 * 2 : row;
                const double weight = 1 / (kWeight[column] * kWeight[vertical]);
                weights[mode][column][row] =
                    fixed(weight * scaleOf(static_cast<int>(column)) * scaleOf(static_cast<int>(vertical)));
                // The mean of two lines of a 2-4-8 block is their sum's transform alone.
                const double down = mode ? (row % 2 ? 0 : scaleOf(static_cast<int>(row)))
                                         : halfScaleOf(static_cast<int>(row));
                halfWeights[mode][column][row] = fixed(weight * halfScaleOf(static_cast<int>(column)) * down);
            }
        }
    }
};
constexpr PlaceTables kPlaceTables;

// A block's steps by area, as factors that leave kFraction bits after the weights.
struct StepTable {
    alignas(16) std::array<std::array<std::int16_t, 8>, kStepRows> factors{};
    constexpr StepTable() {
        for (std::size_t row = 0; row < kStepRows; ++row) {
            for (std::size_t area = 0; area < 4; ++area) {
                factors[row][area] = static_cast<std::int16_t>(
                    1 << (kStepShift[row % 22][area] + static_cast<int>(row / 22) + kFraction - 1));
            }
            factors[row][kDcArea] = 1 << kFraction;
        }
    }
};
constexpr StepTable kSteps;

} // namespace
} // namespace qv::dv
#endif

HWY_BEFORE_NAMESPACE();
namespace qv::dv {
namespace HWY_NAMESPACE {
#if HWY_TARGET == HWY_SCALAR // no vectors at all

void TransformSegment(const SegmentLevels& levels, int n, SegmentSamples& out) {
    transformSegmentPlain(levels, n, out);
}

#else
namespace hn = hwy::HWY_NAMESPACE;

using D = hn::CappedTag<std::int16_t, 32>;
using V = hn::Vec<D>;

// x times one and a fraction in 1/32768.
HWY_INLINE V plusFraction(V x, int fraction) {
    return hn::Add(x, hn::MulFixedPoint15(x, hn::Set(D(), static_cast<std::int16_t>(fraction))));
}
constexpr int kRootTwo = 13573; // sqrt(2) - 1
constexpr int kTwoCos2 = 27779; // 2 cos(pi/8) - 1
constexpr int kSmall = 2700;    // 1.0823922 - 1
constexpr int kLarge = 20091;   // 2.6131259 - 2

struct Four {
    V a, b, c, d;
};
// Four-point transform: the even half of the eight-point one, and each field's half of a 2-4-8 block.
HWY_INLINE Four fourPoint(V in0, V in1, V in2, V in3) {
    const V sum02 = hn::Add(in0, in2);
    const V difference02 = hn::Sub(in0, in2);
    const V sum13 = hn::Add(in1, in3);
    const V difference13 = hn::Sub(plusFraction(hn::Sub(in1, in3), kRootTwo), sum13);
    return {hn::Add(sum02, sum13), hn::Add(difference02, difference13), hn::Sub(difference02, difference13),
            hn::Sub(sum02, sum13)};
}

// The odd half: what is added to, and subtracted from, the even half's four results.
HWY_INLINE Four oddPart(V in1, V in3, V in5, V in7) {
    const V z13 = hn::Add(in5, in3);
    const V z10 = hn::Sub(in5, in3);
    const V z11 = hn::Add(in1, in7);
    const V z12 = hn::Sub(in1, in7);
    const V out0 = hn::Add(z11, z13);
    const V root = plusFraction(hn::Sub(z11, z13), kRootTwo);
    const V z5 = plusFraction(hn::Add(z10, z12), kTwoCos2);
    const V big = hn::Add(hn::Add(z10, z10), hn::MulFixedPoint15(z10, hn::Set(D(), kLarge)));
    const V t6 = hn::Sub(hn::Sub(z5, big), out0);
    const V t5 = hn::Sub(root, t6);
    const V t4 = hn::Add(hn::Sub(plusFraction(z12, kSmall), z5), t5);
    return {out0, t6, t5, t4};
}

HWY_INLINE void eightPoint(V (&v)[8]) {
    const Four even = fourPoint(v[0], v[2], v[4], v[6]);
    const Four odd = oddPart(v[1], v[3], v[5], v[7]);
    v[0] = hn::Add(even.a, odd.a);
    v[7] = hn::Sub(even.a, odd.a);
    v[1] = hn::Add(even.b, odd.b);
    v[6] = hn::Sub(even.b, odd.b);
    v[2] = hn::Add(even.c, odd.c);
    v[5] = hn::Sub(even.c, odd.c);
    v[3] = hn::Sub(even.d, odd.d);
    v[4] = hn::Add(even.d, odd.d);
}

// Each block's 8 x 8 values inside its eight lanes.
HWY_INLINE void transpose(V (&v)[8]) {
    const D d;
    const hn::RepartitionToWide<D> d32;
    const hn::RepartitionToWide<decltype(d32)> d64;
    V a[8];
    for (size_t i = 0; i < 4; ++i) {
        a[2 * i] = hn::InterleaveLower(d, v[2 * i], v[2 * i + 1]);
        a[2 * i + 1] = hn::InterleaveUpper(d, v[2 * i], v[2 * i + 1]);
    }
    decltype(hn::BitCast(d32, V())) b[8];
    for (size_t i = 0; i < 8; i += 4) {
        for (size_t j = 0; j < 2; ++j) {
            const auto low = hn::BitCast(d32, a[i + j]);
            const auto high = hn::BitCast(d32, a[i + j + 2]);
            b[i + 2 * j] = hn::InterleaveLower(d32, low, high);
            b[i + 2 * j + 1] = hn::InterleaveUpper(d32, low, high);
        }
    }
    for (size_t i = 0; i < 4; ++i) {
        const auto low = hn::BitCast(d64, b[i]);
        const auto high = hn::BitCast(d64, b[i + 4]);
        v[2 * i] = hn::BitCast(d, hn::InterleaveLower(d64, low, high));
        v[2 * i + 1] = hn::BitCast(d, hn::InterleaveUpper(d64, low, high));
    }
}

// The kinds of the blocks in one vector, spread over their lanes.
struct Kinds {
    V steps;               // eight factors of each block
    hn::Mask<D> fieldMode; // all lanes of a 2-4-8 block
    bool anyField, anyFrame;
};
// The vectors are put together in registers: stores of parts and one load of the whole would wait for each other.
constexpr size_t kBlocks = HWY_MIN(4, HWY_LANES(std::int16_t) / 8);
template <class Part>
HWY_INLINE V joined(const Part& part) {
    if constexpr (kBlocks == 4) {
        const hn::Half<D> half;
        return hn::Combine(D(), hn::Combine(half, part(3), part(2)), hn::Combine(half, part(1), part(0)));
    } else if constexpr (kBlocks == 2) {
        return hn::Combine(D(), part(1), part(0));
    } else {
        return part(0);
    }
}

HWY_INLINE Kinds kindsOf(const BlockKind* kinds) {
    const D d;
    const hn::Full128<std::int16_t> d128;
    int field = 0;
    for (size_t i = 0; i < kBlocks; ++i) field += kinds[i].fieldMode;
    const V steps = joined([&](size_t i) { return hn::Load(d128, kSteps.factors[kinds[i].step].data()); });
    const auto modeOf = [&](size_t i) { return hn::Set(d128, kinds[i].fieldMode); };
    const V modes = field ? joined(modeOf) : hn::Zero(d);
    return {steps, hn::Ne(modes, hn::Zero(d)), field != 0, field != static_cast<int>(kBlocks)};
}

// Column `column` of the blocks as coefficients, scaled for the transforms.
HWY_INLINE V coefficients(const std::int16_t* values, size_t column, const Kinds& kinds,
                          const PlaceTables::Weights& weights) {
    const D d;
    const hn::Repartition<std::uint8_t, D> d8;
    auto area = hn::LoadDup128(d8, kPlaceTables.areaBytes[0][column].data());
    V weight = hn::LoadDup128(d, weights[0][column].data());
    if (kinds.anyField) {
        const auto fieldArea = hn::LoadDup128(d8, kPlaceTables.areaBytes[1][column].data());
        area =
            hn::BitCast(d8, hn::IfThenElse(kinds.fieldMode, hn::BitCast(d, fieldArea), hn::BitCast(d, area)));
        weight = hn::IfThenElse(kinds.fieldMode, hn::LoadDup128(d, weights[1][column].data()), weight);
    }
    const V step = hn::BitCast(d, hn::TableLookupBytes(hn::BitCast(d8, kinds.steps), area));
    const V value = hn::Load(d, values + column * kColumnStride);
    return hn::MulFixedPoint15(hn::Mul(value, step), weight);
}

HWY_INLINE void vertical(V (&v)[8], const Kinds& kinds) {
    if (!kinds.anyField) {
        eightPoint(v);
        return;
    }
    const Four sums = fourPoint(v[0], v[2], v[4], v[6]);
    const Four differences = fourPoint(v[1], v[3], v[5], v[7]);
    V field[8] = {hn::Add(sums.a, differences.a), hn::Sub(sums.a, differences.a),
                  hn::Add(sums.b, differences.b), hn::Sub(sums.b, differences.b),
                  hn::Add(sums.c, differences.c), hn::Sub(sums.c, differences.c),
                  hn::Add(sums.d, differences.d), hn::Sub(sums.d, differences.d)};
    if (kinds.anyFrame) eightPoint(v);
    for (size_t i = 0; i < 8; ++i)
        v[i] = kinds.anyFrame ? hn::IfThenElse(kinds.fieldMode, field[i], v[i]) : field[i];
}

// Half a sample for rounding, and the middle grey, added to the value that reaches every sample.
alignas(16) constexpr std::int16_t kGrey[8] = {(128 << kFraction) + (1 << (kFraction - 1))};

HWY_INLINE void full(const std::int16_t* values, const Kinds& kinds, std::uint8_t* out) {
    const D d;
    const hn::Rebind<std::uint8_t, D> d8;
    V v[8];
    for (size_t i = 0; i < 8; ++i) v[i] = coefficients(values, i, kinds, kPlaceTables.weights);
    v[0] = hn::Add(v[0], hn::LoadDup128(d, kGrey));
    eightPoint(v);
    transpose(v);
    vertical(v, kinds);
    for (size_t row = 0; row < 8; ++row) {
        hn::Store(hn::DemoteTo(d8, hn::ShiftRight<kFraction>(v[row])), d8, out + row * 32);
    }
}

HWY_INLINE void half(const std::int16_t* values, const Kinds& kinds, std::uint8_t* out) {
    const D d;
    const hn::Rebind<std::uint8_t, D> d8;
    V v[8];
    for (size_t i = 0; i < 8; ++i) {
        v[i] = i == 4 ? hn::Zero(d) : coefficients(values, i, kinds, kPlaceTables.halfWeights);
    }
    v[0] = hn::Add(v[0], hn::LoadDup128(d, kGrey));
    const Four across = fourPoint(v[0], hn::Add(v[1], v[7]), hn::Add(v[2], v[6]), hn::Add(v[3], v[5]));
    v[0] = across.a;
    v[1] = across.b;
    v[2] = across.c;
    v[3] = across.d;
    for (size_t i = 4; i < 8; ++i) v[i] = hn::Zero(d);
    transpose(v);
    V in[3] = {hn::Add(v[1], v[7]), hn::Add(v[2], v[6]), hn::Add(v[3], v[5])};
    if (kinds.anyField) {
        for (size_t i = 0; i < 3; ++i) in[i] = hn::IfThenElse(kinds.fieldMode, v[2 * i + 2], in[i]);
    }
    const Four down = fourPoint(v[0], in[0], in[1], in[2]);
    // Four samples of each block count. Two rows share a vector, from which even and odd words are taken.
    const hn::RepartitionToWide<hn::RepartitionToWide<D>> d64;
    const hn::Repartition<std::uint32_t, decltype(d8)> d32;
    const auto pair = [&](V upper, V lower) {
        const auto both = hn::InterleaveLower(d64, hn::BitCast(d64, hn::ShiftRight<kFraction>(upper)),
                                              hn::BitCast(d64, hn::ShiftRight<kFraction>(lower)));
        return hn::BitCast(d32, hn::DemoteTo(d8, hn::BitCast(d, both)));
    };
    const auto rows01 = pair(down.a, down.b);
    const auto rows23 = pair(down.c, down.d);
    const hn::Half<decltype(d8)> row;
    const auto even = hn::BitCast(d8, hn::ConcatEven(d32, rows23, rows01));
    const auto odd = hn::BitCast(d8, hn::ConcatOdd(d32, rows23, rows01));
    hn::StoreU(hn::LowerHalf(row, even), row, out);
    hn::StoreU(hn::LowerHalf(row, odd), row, out + 16);
    hn::StoreU(hn::UpperHalf(row, even), row, out + 32);
    hn::StoreU(hn::UpperHalf(row, odd), row, out + 48);
}

void TransformSegment(const SegmentLevels& levels, int n, SegmentSamples& out) {
    const size_t lanes = hn::Lanes(D());
    for (size_t group = 0; group < kGroups; ++group) {
        for (size_t at = 0; at < kColumnStride; at += lanes) {
            const Kinds kinds = kindsOf(&levels.kinds[group * 4 + at / 8]);
            const std::int16_t* values = &levels.values[group * kGroupValues + at];
            std::uint8_t* samples = &out.bytes[group * SegmentSamples::kGroupBytes];
            if (n == 8)
                full(values, kinds, samples + at);
            else
                half(values, kinds, samples + at / 2);
        }
    }
}

#endif
} // namespace HWY_NAMESPACE
} // namespace qv::dv
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace qv::dv {
HWY_EXPORT(TransformSegment);
void transformSegment(const SegmentLevels& levels, int n, SegmentSamples& out) {
    HWY_DYNAMIC_DISPATCH(TransformSegment)(levels, n, out);
}
} // namespace qv::dv
#endif
