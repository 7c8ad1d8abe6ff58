// From the values of a segment to samples: steps, weights and the inverse cosine transforms, at full size and
// at half size.
#pragma once

#include <array>
#include <cstdint>

#include "codecs/dv/DvEntropy.h"

namespace qv::dv {

// Samples of a segment. A block is `n` x `n` samples; the four blocks of a group lie side by side, so a group
// is 4 n samples wide, without gaps, and n rows high.
struct SegmentSamples {
    static constexpr int kGroupBytes = 8 * 32;
    alignas(64) std::array<std::uint8_t, kGroups * kGroupBytes> bytes;
};

// The plain version, in double precision: what the fast one is measured by. n is 8, 4 or 2; below 8 a sample
// is the mean of the full-size ones that it stands for.
void transformSegmentPlain(const SegmentLevels& levels, int n, SegmentSamples& out);

// The same in 16-bit arithmetic, for n 8 and 4; a sample differs from the plain one by 1 at most, rarely by
// more in damaged frames, whose values may be larger than any picture's.
void transformSegment(const SegmentLevels& levels, int n, SegmentSamples& out);

// A step is by step row (0..43) and area of the scan; area 4 is the DC value, whose step is 4.
inline constexpr int kDcArea = 4;
[[nodiscard]] int stepOf(int stepRow, int area);
// Area by transform (0: 8x8, 1: 2-4-8) and place in the block.
[[nodiscard]] int areaOf(int fieldMode, int row, int column);

} // namespace qv::dv
