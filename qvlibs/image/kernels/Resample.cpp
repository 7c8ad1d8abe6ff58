// Rows first, on packed bytes: whole vectors of neighbouring bytes get the same weights, whatever their
// channel, and when shrinking little is left for the second pass. The destination is made in bands of as many
// rows as a vector has 16-bit lanes. What the first pass leaves of a band is turned, so that a column of the
// band is one vector: then the second pass is the same work, whole vectors with the same weights, and needs
// no gathering. Bands are cut into strips, so that the scratch stays small however wide the pictures are.
#include "qvlibs/image/kernels/Resample.h"

#include "qvlibs/image/kernels/ResampleWeights.h"
#include "qvlibs/image/kernels/Rows.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "qvlibs/image/kernels/Resample.cpp"
// Vectors whose length is not known when compiling have no place for the blocks of 128 bits used here.
#define HWY_DISABLED_TARGETS (HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128 | HWY_RVV)
#define HWY_WANT_AVX3_DL
#include <hwy/foreach_target.h>
//
#include <hwy/aligned_allocator.h>
#include <hwy/highway.h>
//
#include "qvlibs/image/kernels/FirstPass-inl.h"

#ifndef QV_RESAMPLE_JOB
#define QV_RESAMPLE_JOB
namespace qv {
namespace {

using Taps = ResampleWeights::Taps;

// `src` is cut to the region.
struct ResampleJob {
    ConstPixelView src;
    PixelView dst;
    ResampleWeights down, across;
    bool sameWidth; // the second pass has nothing to do
};

constexpr int kGroup = 16;       // destination pixels that are made and turned back together
constexpr int kStripBytes = 768; // of a source row, about

} // namespace
} // namespace qv
#endif

HWY_BEFORE_NAMESPACE();
#if QV_DOT_PRODUCTS
#pragma GCC target("avx512vnni")
#endif
namespace qv::HWY_NAMESPACE {
namespace {

#if HWY_TARGET == HWY_SCALAR // no vectors

int vectorBytes() { return INT_MAX; }
bool resampleBands(const ResampleJob&) { return false; }

#else

constexpr int kRows = kBytes / 2;    // in a band
constexpr int kGoBytes = 7 * kBytes; // of a source row between two turns
constexpr int kPiece = 8;            // 16-bit lanes in 128 bits

// The low and the high eight bytes of every 128 bits, cut to 0..255.
U8 toBytes(I16 lower, I16 upper) {
#if HWY_TARGET == HWY_SSSE3 || HWY_TARGET == HWY_SSE4
    return U8{_mm_packus_epi16(lower.raw, upper.raw)};
#elif HWY_TARGET == HWY_AVX2
    return U8{_mm256_packus_epi16(lower.raw, upper.raw)};
#elif HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX3_DL
    return U8{_mm512_packus_epi16(lower.raw, upper.raw)};
#else
    static_assert(kBytes == 16);
    const hn::Half<decltype(d8)> half;
    return hn::Combine(d8, hn::DemoteTo(half, upper), hn::DemoteTo(half, lower));
#endif
}

// Levels of values between the passes.
I16 roundBetween(I16 v) {
    return hn::ShiftRight<kBetweenBits>(hn::Add(v, hn::Set(d16, 1 << (kBetweenBits - 1))));
}

// 128-bit pieces, `step` lanes apart, side by side in a vector.
template <class D>
hn::Vec<D> loadPieces(D d, const std::int16_t* from, std::ptrdiff_t step) {
    if constexpr (hn::MaxLanes(d) == kPiece) {
        return hn::Load(d, from);
    } else {
        const hn::Half<D> half;
        constexpr std::ptrdiff_t kHalf = hn::MaxLanes(half) / kPiece;
        return hn::Combine(d, loadPieces(half, from + kHalf * step, step), loadPieces(half, from, step));
    }
}
template <class D>
void storePieces(D d, hn::Vec<D> v, std::uint8_t* const* to, std::ptrdiff_t offset) {
    if constexpr (hn::MaxLanes(d) == 16) {
        hn::StoreU(v, d, *to + offset);
    } else {
        const hn::Half<D> half;
        storePieces(half, hn::LowerHalf(half, v), to, offset);
        storePieces(half, hn::UpperHalf(half, v), to + hn::MaxLanes(half) / 2, offset);
    }
}

template <class Wide, class V>
I16 interleaveLower(V a, V b) {
    const hn::Repartition<Wide, decltype(d16)> d;
    return hn::BitCast(d16, hn::InterleaveLower(d, hn::BitCast(d, a), hn::BitCast(d, b)));
}
template <class Wide, class V>
I16 interleaveUpper(V a, V b) {
    const hn::Repartition<Wide, decltype(d16)> d;
    return hn::BitCast(d16, hn::InterleaveUpper(d, hn::BitCast(d, a), hn::BitCast(d, b)));
}

// Turns kBytes columns of a band: row r at from + r * step, in the order that the first pass leaves, becomes
// column c at to + c * kRows.
void turnIn(const std::int16_t* from, std::ptrdiff_t step, std::int16_t* to) {
    for (int piece = 0; piece < kBytes / kPiece; ++piece) {
        const std::int16_t* at = from + (piece % 2) * (kBytes / 2) + (piece / 2) * kPiece;
        I16 r[8], s[8];
        for (int i = 0; i < 8; ++i) r[i] = loadPieces(d16, at + i * step, kPiece * step);
        for (int i = 0; i < 4; ++i) {
            s[2 * i] = interleaveLower<std::int16_t>(r[i], r[i + 4]);
            s[2 * i + 1] = interleaveUpper<std::int16_t>(r[i], r[i + 4]);
        }
        for (int i = 0; i < 4; ++i) {
            r[2 * i] = interleaveLower<std::int16_t>(s[i], s[i + 4]);
            r[2 * i + 1] = interleaveUpper<std::int16_t>(s[i], s[i + 4]);
        }
        for (int i = 0; i < 4; ++i) {
            hn::Store(interleaveLower<std::int16_t>(r[i], r[i + 4]), d16, to);
            hn::Store(interleaveUpper<std::int16_t>(r[i], r[i + 4]), d16, to + kRows);
            to += 2 * kRows;
        }
    }
}

// Turns 16 columns of finished values back into 16 bytes for each row of the band.
void turnOut(const std::int16_t* from, std::uint8_t* const* rows, std::ptrdiff_t offset) {
    I16 p[8], q[8];
    for (int i = 0; i < 8; ++i) {
        p[i] =
            hn::BitCast(d16, toBytes(hn::Load(d16, from + i * kRows), hn::Load(d16, from + (i + 8) * kRows)));
    }
    for (int i = 0; i < 4; ++i) { // columns 2i and 2i + 1; 2i + 8 and 2i + 9
        q[i] = interleaveLower<std::uint8_t>(p[2 * i], p[2 * i + 1]);
        q[i + 4] = interleaveUpper<std::uint8_t>(p[2 * i], p[2 * i + 1]);
    }
    for (int i = 0; i < 8; i += 2) { // four columns: rows 0 to 3, rows 4 to 7
        p[i] = interleaveLower<std::int16_t>(q[i], q[i + 1]);
        p[i + 1] = interleaveUpper<std::int16_t>(q[i], q[i + 1]);
    }
    for (int i = 0; i < 8; i += 4) { // eight columns: two rows each
        q[i] = interleaveLower<std::int32_t>(p[i], p[i + 2]);
        q[i + 1] = interleaveUpper<std::int32_t>(p[i], p[i + 2]);
        q[i + 2] = interleaveLower<std::int32_t>(p[i + 1], p[i + 3]);
        q[i + 3] = interleaveUpper<std::int32_t>(p[i + 1], p[i + 3]);
    }
    for (int i = 0; i < 4; ++i) {
        storePieces(d8, hn::BitCast(d8, interleaveLower<std::int64_t>(q[i], q[i + 4])), rows + 2 * i, offset);
        storePieces(d8, hn::BitCast(d8, interleaveUpper<std::int64_t>(q[i], q[i + 4])), rows + 2 * i + 1,
                    offset);
    }
}

// One destination pixel of all rows of the band, from turned columns; three columns of finished values.
void filterColumns(const std::int16_t* src, const std::int16_t* weights, int count, std::int16_t* out) {
    if (count == 1) {
        for (int c = 0; c < 3; ++c)
            hn::Store(roundBetween(hn::Load(d16, src + c * kRows)), d16, out + c * kRows);
        return;
    }
    constexpr int kShift = kWeightBits + kBetweenBits;
    I32 sums[6];
    for (I32& sum : sums) sum = hn::Set(d32, 1 << (kShift - 1));
    for (int k = 0; k < count; k += 2) {
        const I16 pair = weightPair(weights + k);
        for (int c = 0; c < 3; ++c) {
            const I16 a = hn::Load(d16, src + c * kRows), b = hn::Load(d16, src + (c + 3) * kRows);
            sums[2 * c] = addPairs(sums[2 * c], hn::InterleaveLower(d16, a, b), pair);
            sums[2 * c + 1] = addPairs(sums[2 * c + 1], hn::InterleaveUpper(d16, a, b), pair);
        }
        src += 6 * kRows;
    }
    for (int c = 0; c < 3; ++c) {
        hn::Store(hn::ReorderDemote2To(d16, hn::ShiftRight<kShift>(sums[2 * c]),
                                       hn::ShiftRight<kShift>(sums[2 * c + 1])),
                  d16, out + c * kRows);
    }
}

// A part of the destination's width, and the source bytes that it needs.
struct Strip {
    int begin, end;         // destination pixels
    int beginByte, endByte; // of the source row
};

class Bands {
public:
    explicit Bands(const ResampleJob& job)
        : job_(job), firstPass_(job.src, job.down, kGoBytes), rowBytes_(job.src.width * 3) {}

    bool run() {
        int widest = 0;
        for (int x = 0; x < job_.dst.width; x = strip_.end) {
            strip_ = stripAt(x);
            widest = std::max(widest, strip_.endByte - strip_.beginByte);
        }
        // Three columns more than the source has: pairs may take one pixel too many, with a weight of zero.
        // So what is there does not matter, nor what is in rows that the last band does not have.
        const size_t columns = static_cast<size_t>(widest) + kBytes + 3;
        turned_ = hwy::AllocateAligned<std::int16_t>(columns * kRows);
        band_ = hwy::AllocateAligned<std::int16_t>(size_t{kGoBytes} * kRows);
        if (!turned_ || !band_) return false;
        for (int y = 0; y < job_.dst.height; y += kRows) {
            for (int x = 0; x < job_.dst.width; x = strip_.end) {
                strip_ = stripAt(x);
                gather(y);
                emit(y);
            }
        }
        return true;
    }

private:
    Strip stripAt(int begin) const {
        // The last group of a row reaches back to be a whole one.
        const int width = job_.dst.width, first = std::clamp(width - kGroup, 0, begin);
        Strip strip{begin, first, rowBytes_, 0};
        while (strip.end < width && strip.endByte - strip.beginByte < kStripBytes) {
            const int groupEnd = std::min(std::max(strip.end, begin) + kGroup, width);
            for (; strip.end < groupEnd; ++strip.end) {
                const Taps& taps = job_.across.taps[static_cast<size_t>(strip.end)];
                strip.beginByte = std::min(strip.beginByte, 3 * taps.first);
                strip.endByte = std::max(strip.endByte, 3 * (taps.first + taps.count));
            }
        }
        strip.beginByte = std::min(strip.beginByte, rowBytes_ - kBytes);
        return strip;
    }

    // The first pass over the strip, turned. Some vectors of each row in a go: neighbouring lines of the
    // source's memory are wanted one after the other.
    void gather(int y) {
        const int rows = std::min(kRows, job_.dst.height - y);
        for (int from = strip_.beginByte; from < strip_.endByte; from += kGoBytes) {
            const int to = std::min(from + kGoBytes, strip_.endByte);
            firstPass_.start(from, to);
            for (int r = 0; r < rows; ++r) firstPass_.row(y + r, band_.get() + r * kGoBytes);
            for (int x = from; x < to; x += kBytes) {
                const int at = std::min(x, rowBytes_ - kBytes);
                turnIn(band_.get() + (x - from), kGoBytes, turnedColumn(at));
            }
        }
    }

    // The second pass over the strip, into the destination.
    void emit(int y) {
        HWY_ALIGN std::int16_t values[3 * kGroup * kRows];
        std::uint8_t spare[3 * kGroup]; // where the rows that the last band does not have go
        std::uint8_t narrow[3 * kGroup * kRows];
        std::uint8_t* to[kRows];
        const int rows = std::min(kRows, job_.dst.height - y);
        const bool isNarrow = job_.dst.width < kGroup;
        for (int x = strip_.begin; x < strip_.end; x += kGroup) {
            const int at = isNarrow ? 0 : std::min(x, job_.dst.width - kGroup);
            for (int i = 0; i < std::min(kGroup, job_.dst.width); ++i) {
                const Taps& taps = job_.across.taps.data()[at + i];
                filterColumns(turnedColumn(3 * taps.first),
                              &job_.across.weights[static_cast<size_t>(taps.weight)], taps.count,
                              values + 3 * i * kRows);
            }
            for (int r = 0; r < kRows; ++r)
                to[r] = r >= rows ? spare : isNarrow ? narrow + 3 * kGroup * r : job_.dst.row(y + r) + 3 * at;
            for (int c = 0; c < 3; ++c) turnOut(values + c * kGroup * kRows, to, c * kGroup);
        }
        if (isNarrow)
            for (int r = 0; r < rows; ++r) std::copy_n(to[r], 3 * job_.dst.width, job_.dst.row(y + r));
    }

    std::int16_t* turnedColumn(int byte) const { return turned_.get() + (byte - strip_.beginByte) * kRows; }

    const ResampleJob& job_;
    FirstPass firstPass_;
    const int rowBytes_;
    Strip strip_{};
    hwy::AlignedFreeUniquePtr<std::int16_t[]> band_, turned_;
};

void filterRowsOnly(const ResampleJob& job) {
    constexpr int kSpan = 2304; // whole vectors; rows of a video frame in one or two
    FirstPass firstPass(job.src, job.down, kSpan);
    HWY_ALIGN std::int16_t values[kSpan];
    const int rowBytes = job.src.width * 3;
    for (int from = 0; from < rowBytes; from += kSpan) {
        const int to = std::min(from + kSpan, rowBytes);
        firstPass.start(from, to);
        for (int y = 0; y < job.dst.height; ++y) {
            firstPass.row(y, values);
            const std::int16_t* at = values;
            for (int x = from; x < to; x += kBytes, at += kBytes) {
                hn::StoreU(
                    toBytes(roundBetween(hn::Load(d16, at)), roundBetween(hn::Load(d16, at + kBytes / 2))),
                    d8, job.dst.row(y) + std::min(x, rowBytes - kBytes));
            }
        }
    }
}

// False when memory is short.
bool resampleBands(const ResampleJob& job) {
    if (job.sameWidth) {
        filterRowsOnly(job);
        return true;
    }
    return Bands(job).run();
}

// Rows shorter than this are left to the plain version.
int vectorBytes() { return kBytes; }

#endif

} // namespace
} // namespace qv::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace qv {
namespace {

HWY_EXPORT(resampleBands);
HWY_EXPORT(vectorBytes);

// One pixel for one pixel: rows of picked pixels.
void pickPixels(const ResampleJob& job) {
    std::vector<std::uint32_t> columns;
    for (const Taps& taps : job.across.taps) columns.push_back(static_cast<std::uint32_t>(taps.first));
    for (int y = 0; y < job.dst.height; ++y) {
        const std::uint8_t* const src = job.src.row(job.down.taps[static_cast<size_t>(y)].first);
        if (job.sameWidth)
            std::memcpy(job.dst.row(y), src, 3 * columns.size());
        else
            pickRow24(job.dst.row(y), src, static_cast<size_t>(job.src.width), columns.data(),
                      columns.size());
    }
}

bool isIdentity(const ResampleWeights& weights, int from) {
    if (static_cast<size_t>(from) != weights.taps.size()) return false;
    for (int i = 0; i < from; ++i) {
        const Taps& taps = weights.taps[static_cast<size_t>(i)];
        if (taps.first != i || taps.count != 1) return false;
    }
    return true;
}

} // namespace

bool resample24(ResampleKernel kernel, const ConstPixelView& src, const Region& region,
                const PixelView& dst) {
    if (!canResample(src, region, dst)) return false;
    if (kernel != ResampleKernel::Nearest && region.width * 3 < HWY_DYNAMIC_DISPATCH(vectorBytes)())
        return plain::resample24(kernel, src, region, dst);
    try {
        ResampleJob job{{src.row(region.y) + 3 * region.x, src.stride, region.width, region.height},
                        dst,
                        makeResampleWeights(kernel, region.height, dst.height),
                        makeResampleWeights(kernel, region.width, dst.width),
                        false};
        job.sameWidth = isIdentity(job.across, region.width);
        if (kernel == ResampleKernel::Nearest) {
            pickPixels(job);
            return true;
        }
        return HWY_DYNAMIC_DISPATCH(resampleBands)(job);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace qv
#endif // HWY_ONCE
