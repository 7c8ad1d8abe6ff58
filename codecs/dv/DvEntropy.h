// The variable-length codes of one video segment: five macroblocks of four luma and two colour blocks, whose
// codes may run over into what their neighbours left free.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "codecs/dv/DvLayout.h"

namespace qv::dv {

// The blocks of a segment lie in groups of four. Groups 0 to 4 are the luma blocks of the five macroblocks,
// groups 5 to 7 their colour blocks: Cr and Cb of the first, Cr and Cb of the second, and so on (the last
// group holds only two blocks).
inline constexpr int kBlocksPerSegment = 30;
inline constexpr int kGroups = 8;
inline constexpr int kGroupValues = 4 * 64 + 32; // the last 32 take what lies past the end of a block
// Where a value lies: group * 288 + column * 32 + block * 8 + row. So a vector of 8, 16 or 32 values holds
// one column of one, two or four blocks.
inline constexpr int kColumnStride = 32;
inline constexpr int kBlockStride = 8;

// Number of a block inside its segment (group * 4 + place in the group). component: 0..3 luma, 4 Cr, 5 Cb.
[[nodiscard]] constexpr int blockNumber(int macroblock, int component) {
    return component < 4 ? macroblock * 4 + component : 20 + macroblock * 2 + component - 4;
}

// How the values of a block are to be read.
inline constexpr std::size_t kStepRows = 44; // 22 of the standard's table, and the same doubled
struct BlockKind {
    std::uint8_t fieldMode = 0; // 1: 2-4-8 transform
    std::uint8_t step = 0;      // row of the table of steps
};

// One segment as it comes out of the codes: values before they are multiplied with step and weight.
struct SegmentLevels {
    alignas(64) std::array<std::int16_t, kGroups * kGroupValues> values;
    std::array<BlockKind, kGroups * 4> kinds;
    std::array<bool, kMacroblocksPerSegment> damaged; // nothing usable in this macroblock
};

// Reads a whole segment from its five DIF blocks. Damaged input gives some values, never a fault:
//  - a macroblock whose DIF block is marked as erroneous, or is not a video block, is reported as damaged;
//  - codes that were to go on in such a block end early;
//  - a code that leads past the last coefficient ends its block.
void readSegment(const std::uint8_t* const* blocks, SegmentLevels& out);

// What a quarter of the size needs of a block, in the stream's own scale: the DC value, the first value
// across, the first down and the first of both. The third ones change a sample little; they are read for
// colour, where edges are steep and codes few, and 0 for luma. (DvLowEntropy.cpp.)
struct alignas(16) LowValues {
    std::int16_t across, down, both, dc, thirdAcross, thirdDown;
    BlockKind kind;
};
// Of a macroblock's six blocks (luma, Cr, Cb). They lie in the blocks' own areas, nearly always: behind several very
// long codes, and in some 2-4-8 blocks of colour, they are cut off, which is let pass: reading such segments whole
// would take twice the time for 3 dB of colour. `block` is the macroblock's DIF block. False: damaged.
[[nodiscard]] bool readLowValues(const std::uint8_t* block, std::array<LowValues, 6>& out);

// What an eighth of the size needs: the DC values alone, -256..255.
[[nodiscard]] bool readDcValues(const std::uint8_t* block, std::array<std::int16_t, 6>& out);

} // namespace qv::dv
