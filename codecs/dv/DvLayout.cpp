#include "codecs/dv/DvLayout.h"

namespace qv::dv {
namespace {

constexpr std::size_t kVideoSourcePack = 5 * kDifBlockBytes + 48; // fifth block of the first sequence
constexpr std::uint8_t kVideoSourceId = 0x60;
// Signal types of that pack that are not 25 Mbit/s: 50 Mbit/s, 1080 lines, 720 lines.
constexpr int kOtherSignals[] = {0x04, 0x14, 0x18};

// The five macroblocks of a segment come from five super blocks: this many rows of super blocks further down,
// and in this column of them.
constexpr int kSuperRowStep[kMacroblocksPerSegment] = {2, 6, 8, 0, 4};
constexpr int kSuperColumn[kMacroblocksPerSegment] = {2, 1, 3, 0, 4};

// Inside a super block the macroblocks run down one column and up the next.
int serpentRow(int index, int rows) {
    const int row = index % rows;
    return (index / rows) % 2 ? rows - 1 - row : row;
}

} // namespace

std::optional<FrameLayout> identifyFrame(std::span<const std::uint8_t> dif) {
    if (dif.size() < 10 * kDifSequenceBytes) return std::nullopt;
    // Section type 0 (header) in the ID of the first block.
    if (dif[0] >> 5 != 0) return std::nullopt;
    const bool pal = dif[3] & 0x80;
    const int trackApplication = dif[4] & 0x07; // 0: IEC 61834, 1: SMPTE 314M
    const int signalType = dif[kVideoSourcePack] == kVideoSourceId ? dif[kVideoSourcePack + 3] & 0x1F : 0;
    for (const int other : kOtherSignals) {
        if (signalType == other) return std::nullopt;
    }
    const FrameLayout layout{.sampling = pal && trackApplication == 0 ? Sampling::Yuv420 : Sampling::Yuv411,
                             .sequences = pal ? 12 : 10};
    if (dif.size() < layout.bytes()) return std::nullopt;
    return layout;
}

MacroblockPlace macroblockPlace(const FrameLayout& layout, int sequence, int segment, int macroblock) {
    const int superRow = (sequence + kSuperRowStep[macroblock]) % layout.sequences;
    const int superColumn = kSuperColumn[macroblock];
    if (layout.sampling == Sampling::Yuv420) {
        const int x = superColumn * 9 + segment / 3;
        const int y = superRow * 3 + serpentRow(segment, 3);
        return {static_cast<std::uint16_t>(x * 16), static_cast<std::uint16_t>(y * 16)};
    }
    // A super block is four and a half columns of six macroblocks wide; the second and the fourth one start
    // in the lower half of a column that they share with their left neighbour.
    constexpr int kFirstColumn[5] = {0, 4, 9, 13, 18};
    const int index = segment + (superColumn % 2 ? 3 : 0);
    const int x = (kFirstColumn[superColumn] + index / 6) * 32;
    int row = serpentRow(index, 6);
    if (x >= kSquareColumnX) row *= 2; // three square ones where six flat ones would lie
    return {static_cast<std::uint16_t>(x), static_cast<std::uint16_t>((superRow * 6 + row) * 8)};
}

} // namespace qv::dv
