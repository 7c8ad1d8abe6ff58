// The first pass of the resampler: rows of the source filtered into rows of the destination's height, once
// for each instruction set (see Highway's foreach_target.h).
#if defined(QV_FIRST_PASS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef QV_FIRST_PASS_INL_H
#undef QV_FIRST_PASS_INL_H
#else
#define QV_FIRST_PASS_INL_H
#endif

#include "qvlibs/image/kernels/ResampleWeights.h"

#include <hwy/aligned_allocator.h>
#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

HWY_BEFORE_NAMESPACE();
// Every processor with the sets of HWY_AVX3_DL multiplies and adds dot products too; Highway does not say so.
#undef QV_DOT_PRODUCTS
#if HWY_TARGET == HWY_AVX3_DL && HWY_COMPILER_GCC_ACTUAL
#define QV_DOT_PRODUCTS 1
#pragma GCC target("avx512vnni")
#else
#define QV_DOT_PRODUCTS 0
#endif
#if HWY_TARGET != HWY_SCALAR // no vectors there
namespace qv::HWY_NAMESPACE {
namespace {

using Taps = ResampleWeights::Taps;

namespace hn = hwy::HWY_NAMESPACE;

const hn::ScalableTag<std::uint8_t> d8;
const hn::ScalableTag<std::int16_t> d16;
const hn::ScalableTag<std::int32_t> d32;
using U8 = hn::Vec<decltype(d8)>;
using I16 = hn::Vec<decltype(d16)>;
using I32 = hn::Vec<decltype(d32)>;

constexpr int kBytes = hn::MaxLanes(d8); // in a vector

I16 weightPair(const std::int16_t* weights) {
    std::int32_t pair;
    std::memcpy(&pair, weights, sizeof pair);
    return hn::BitCast(d16, hn::Set(d32, pair));
}

// Sums of weighted pairs, in the lanes of the pairs.
I32 addPairs(I32 sum, I16 pairs, I16 weights) {
#if QV_DOT_PRODUCTS
    return I32{_mm512_dpwssd_epi32(sum.raw, pairs.raw, weights.raw)};
#else
    I32 second = hn::Zero(d32);
    sum = hn::ReorderWidenMulAccumulate(d32, pairs, weights, sum, second);
    return hn::RearrangeToOddPlusEven(sum, second);
#endif
}

// What the first pass makes of a vector of bytes: its lower and upper half in every 128 bits.
struct Filtered {
    I16 lower, upper;
};

// A single tap has a weight of one.
Filtered copyBetween(U8 bytes) {
    const hn::RepartitionToWide<decltype(d8)> dWide;
    const U8 zero = hn::Zero(d8);
    const auto lower = hn::BitCast(dWide, hn::InterleaveLower(d8, zero, bytes));
    const auto upper = hn::BitCast(dWide, hn::InterleaveUpper(d8, zero, bytes));
    return {hn::BitCast(d16, hn::ShiftRight<8 - kBetweenBits>(lower)),
            hn::BitCast(d16, hn::ShiftRight<8 - kBetweenBits>(upper))};
}

constexpr int kBetweenShift = kWeightBits - kBetweenBits;

// Made for a source, already cut to its region, and the weights of its rows. start() begins a range of at
// most `span` bytes of the rows, row() then gives the values of increasing destination rows in that range:
// two vectors in `out`, which is aligned, for each vector of bytes. The last vector of the source's width
// reaches back to be a whole one. The constructor throws bad_alloc.
#if QV_DOT_PRODUCTS

// Four rows in one instruction, which takes 8-bit weights: each weight is 256 times a high part plus a low
// one. Bytes of four rows are woven together for it; destination rows that share source rows share what was
// woven. That goes into a ring of as many groups of four as one destination row needs.
class FirstPass {
public:
    FirstPass(const ConstPixelView& src, const ResampleWeights& weights, int span)
        : src_(src), rowBytes_(src.width * 3), span_(span), taps_(weights.taps.data()),
          rows_(weights.taps.size()) {
        // Groups are laid so that most rows begin with one when shrinking by a multiple of four.
        shift_ = kWeightGroup - taps_[rows_.size() / 2].first % kWeightGroup;
        int most = 0, parts = 0, first = INT_MAX;
        for (size_t y = rows_.size(); y-- > 0;) {
            first = std::min(first, (taps_[y].first + shift_) / kWeightGroup);
            const int end = (taps_[y].first + taps_[y].count - 1 + shift_) / kWeightGroup + 1;
            rows_[y] = {first, end, parts};
            parts += end - first;
            most = std::max(most, end - first);
        }
        parts_.resize(static_cast<size_t>(parts));
        for (size_t y = 0; y < rows_.size(); ++y) split(y, weights.weights.data() + taps_[y].weight);
        while (ringSize_ < most) ringSize_ *= 2;
        if (ringSize_ > kMostShared) ringSize_ = 1, isShared_ = false;
        ring_ = hwy::AllocateAligned<std::uint8_t>(static_cast<size_t>(ringSize_) *
                                                   static_cast<size_t>(slotBytes()));
        if (!ring_) throw std::bad_alloc();
    }

    void start(int from, int to) { from_ = from, to_ = to, ready_ = 0; }

    void row(int y, std::int16_t* out) {
        const Row& row = rows_[static_cast<size_t>(y)];
        if (taps_[y].count == 1) {
            copy(src_.row(taps_[y].first), out);
        } else if (isShared_) {
            for (ready_ = std::max(ready_, row.first); ready_ < row.end; ++ready_)
                weave(ready_, from_, to_, slot(ready_));
            hasLow_ ? sum<true>(row, out) : sum<false>(row, out);
        } else {
            sumWeaving(row, out);
        }
    }

private:
    static_assert(kBetweenShift == 8);     // where high and low parts meet
    static constexpr int kMostShared = 64; // groups; larger rings would not stay near the processor

    struct Row {
        int first, end; // groups
        int parts;
    };
    struct Parts {
        std::int8_t low[kWeightGroup], high[kWeightGroup];
    };

    void split(size_t y, const std::int16_t* weights) {
        const unsigned start = static_cast<unsigned>(taps_[y].first + shift_ - rows_[y].first * kWeightGroup);
        Parts* const parts = &parts_[static_cast<size_t>(rows_[y].parts)];
        for (unsigned i = 0; i < static_cast<unsigned>(taps_[y].count); ++i) {
            const auto low = static_cast<std::int8_t>(weights[i]);
            Parts& part = parts[(start + i) / kWeightGroup];
            part.low[(start + i) % kWeightGroup] = low;
            part.high[(start + i) % kWeightGroup] = static_cast<std::int8_t>((weights[i] - low) >> 8);
            hasLow_ |= low != 0;
        }
    }

    int slotBytes() const { return kWeightGroup * span_; } // a group's
    std::uint8_t* slot(int group) const { return ring_.get() + (group & (ringSize_ - 1)) * slotBytes(); }

    int at(int x) const { return std::min(x, rowBytes_ - kBytes); }

    void copy(const std::uint8_t* src, std::int16_t* out) const {
        for (int x = from_; x < to_; x += kBytes, out += kBytes) {
            const Filtered f = copyBetween(hn::LoadU(d8, src + at(x)));
            hn::Store(f.lower, d16, out);
            hn::Store(f.upper, d16, out + kBytes / 2);
        }
    }

    // Rows beyond the edges stand in a group with weights of zero.
    HWY_INLINE void weave(int group, int from, int to, std::uint8_t* fours) const {
        const std::uint8_t* rows[kWeightGroup];
        for (int i = 0; i < kWeightGroup; ++i)
            rows[i] = src_.row(std::clamp(group * kWeightGroup - shift_ + i, 0, src_.height - 1));
        for (int x = from; x < to; x += kBytes, fours += kWeightGroup * kBytes) {
            const int here = at(x);
            const U8 a = hn::LoadU(d8, rows[0] + here), b = hn::LoadU(d8, rows[1] + here),
                     c = hn::LoadU(d8, rows[2] + here), d = hn::LoadU(d8, rows[3] + here);
            // Rows lie too far apart for the processor to guess what the next range wants of them.
            for (const std::uint8_t* row : rows) hwy::Prefetch(row + std::min(x + span_, rowBytes_));
            const I16 ab = hn::BitCast(d16, hn::InterleaveLower(d8, a, b));
            const I16 cd = hn::BitCast(d16, hn::InterleaveLower(d8, c, d));
            const I16 abUpper = hn::BitCast(d16, hn::InterleaveUpper(d8, a, b));
            const I16 cdUpper = hn::BitCast(d16, hn::InterleaveUpper(d8, c, d));
            hn::Store(hn::BitCast(d8, hn::InterleaveLower(d16, ab, cd)), d8, fours);
            hn::Store(hn::BitCast(d8, hn::InterleaveUpper(d16, ab, cd)), d8, fours + kBytes);
            hn::Store(hn::BitCast(d8, hn::InterleaveLower(d16, abUpper, cdUpper)), d8, fours + 2 * kBytes);
            hn::Store(hn::BitCast(d8, hn::InterleaveUpper(d16, abUpper, cdUpper)), d8, fours + 3 * kBytes);
        }
    }

    struct Sums {
        HWY_INLINE Sums() {
            for (int i = 0; i < 4; ++i) {
                low[i] = _mm512_set1_epi32(1 << (kBetweenShift - 1));
                high[i] = _mm512_setzero_si512();
            }
        }
        template <bool kHasLow>
        HWY_INLINE void add(const std::uint8_t* fours, const Parts& parts) {
            const __m512i lowWeights = broadcast(parts.low), highWeights = broadcast(parts.high);
            for (int i = 0; i < 4; ++i) {
                const __m512i four = _mm512_load_si512(fours + i * kBytes);
                high[i] = _mm512_dpbusd_epi32(high[i], four, highWeights);
                if constexpr (kHasLow) low[i] = _mm512_dpbusd_epi32(low[i], four, lowWeights);
            }
        }
        HWY_INLINE void store(std::int16_t* out) {
            for (int i = 0; i < 4; ++i)
                high[i] = _mm512_add_epi32(high[i], _mm512_srai_epi32(low[i], kBetweenShift));
            _mm512_store_si512(out, _mm512_packs_epi32(high[0], high[1]));
            _mm512_store_si512(out + kBytes / 2, _mm512_packs_epi32(high[2], high[3]));
        }
        __m512i low[4], high[4]; // a quarter of every 128 bits each
    };

    template <bool kHasLow>
    void sum(const Row& row, std::int16_t* out) const {
        const Parts* const parts = &parts_[static_cast<size_t>(row.parts)];
        int offset = 0;
        for (int x = from_; x < to_; x += kBytes, offset += kWeightGroup * kBytes, out += kBytes) {
            Sums sums;
            for (int group = row.first; group < row.end; ++group)
                sums.add<kHasLow>(slot(group) + offset, parts[group - row.first]);
            sums.store(out);
        }
    }

    void sumWeaving(const Row& row, std::int16_t* out) const {
        const Parts* const parts = &parts_[static_cast<size_t>(row.parts)];
        for (int x = from_; x < to_; x += kBytes, out += kBytes) {
            Sums sums;
            for (int group = row.first; group < row.end; ++group) {
                weave(group, x, x + kBytes, ring_.get());
                sums.add<true>(ring_.get(), parts[group - row.first]);
            }
            sums.store(out);
        }
    }

    static HWY_INLINE __m512i broadcast(const std::int8_t* weights) {
        std::int32_t bits;
        std::memcpy(&bits, weights, sizeof bits);
        return _mm512_set1_epi32(bits);
    }

    const ConstPixelView src_;
    const int rowBytes_, span_;
    const Taps* const taps_;
    std::vector<Row> rows_;
    std::vector<Parts> parts_;
    bool hasLow_ = false, isShared_ = true;
    int shift_ = 0, from_ = 0, to_ = 0, ready_ = 0, ringSize_ = 1;
    hwy::AlignedFreeUniquePtr<std::uint8_t[]> ring_;
};

#else

class FirstPass {
public:
    FirstPass(const ConstPixelView& src, const ResampleWeights& weights, int /*span*/)
        : src_(src), rowBytes_(src.width * 3), taps_(weights.taps.data()), weights_(weights.weights.data()) {}

    void start(int from, int to) { from_ = from, to_ = to; }

    void row(int y, std::int16_t* out) const {
        const Taps& taps = taps_[y];
        for (int x = from_; x < to_; x += kBytes, out += kBytes) {
            const Filtered f = filtered(src_.row(taps.first) + std::min(x, rowBytes_ - kBytes), taps);
            hn::Store(f.lower, d16, out);
            hn::Store(f.upper, d16, out + kBytes / 2);
        }
    }

private:
    HWY_INLINE Filtered filtered(const std::uint8_t* src, const Taps& taps) const {
        if (taps.count == 1) return copyBetween(hn::LoadU(d8, src));
        const U8 zero = hn::Zero(d8);
        I32 s0 = hn::Set(d32, 1 << (kBetweenShift - 1)), s1 = s0, s2 = s0, s3 = s0;
        for (int k = 0; k < taps.count; k += 2, src += 2 * src_.stride) {
            const U8 a = hn::LoadU(d8, src);
            const U8 b = hn::LoadU(d8, k + 1 < taps.count ? src + src_.stride : src);
            const I16 pair = weightPair(weights_ + taps.weight + k);
            const U8 lower = hn::InterleaveLower(d8, a, b), upper = hn::InterleaveUpper(d8, a, b);
            s0 = addPairs(s0, hn::BitCast(d16, hn::InterleaveLower(d8, lower, zero)), pair);
            s1 = addPairs(s1, hn::BitCast(d16, hn::InterleaveUpper(d8, lower, zero)), pair);
            s2 = addPairs(s2, hn::BitCast(d16, hn::InterleaveLower(d8, upper, zero)), pair);
            s3 = addPairs(s3, hn::BitCast(d16, hn::InterleaveUpper(d8, upper, zero)), pair);
        }
        return {
            hn::ReorderDemote2To(d16, hn::ShiftRight<kBetweenShift>(s0), hn::ShiftRight<kBetweenShift>(s1)),
            hn::ReorderDemote2To(d16, hn::ShiftRight<kBetweenShift>(s2), hn::ShiftRight<kBetweenShift>(s3))};
    }

    const ConstPixelView src_;
    const int rowBytes_;
    const Taps* const taps_;
    const std::int16_t* const weights_;
    int from_ = 0, to_ = 0;
};

#endif

} // namespace
} // namespace qv::HWY_NAMESPACE
#endif
HWY_AFTER_NAMESPACE();

#endif // once for each target
