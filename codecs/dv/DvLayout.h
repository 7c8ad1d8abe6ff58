// Where things lie in a DV frame: its system, its DIF blocks, and the place of each macroblock in the
// picture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace qv::dv {

inline constexpr std::size_t kDifBlockBytes = 80;
inline constexpr std::size_t kDifSequenceBytes = 150 * kDifBlockBytes;
inline constexpr int kSegmentsPerSequence = 27;
inline constexpr int kMacroblocksPerSegment = 5;
inline constexpr int kPictureWidth = 720;

enum class Sampling : std::uint8_t { Yuv411, Yuv420 };

struct FrameLayout {
    Sampling sampling = Sampling::Yuv411;
    int sequences = 10; // 10: 525 lines, 60 fields; 12: 625 lines, 50 fields

    [[nodiscard]] bool pal() const { return sequences == 12; }
    [[nodiscard]] std::size_t bytes() const {
        return static_cast<std::size_t>(sequences) * kDifSequenceBytes;
    }
    [[nodiscard]] int height() const { return pal() ? 576 : 480; }
    bool operator==(const FrameLayout&) const = default;
};

// What the frame says about itself in its header and its video source pack. Nothing where the bytes do not
// start with a DIF header block, hold less than the whole frame, or carry another kind of DV (50 or
// 100 Mbit/s).
[[nodiscard]] std::optional<FrameLayout> identifyFrame(std::span<const std::uint8_t> dif);

// Offset of the first of the five DIF blocks (lying one after another, except that an audio block stands
// between every fifteen video blocks) of a video segment.
[[nodiscard]] inline std::size_t segmentBlockOffset(int sequence, int segment, int macroblock) {
    // Six blocks of header, subcode and auxiliary data, then nine times one audio and fifteen video blocks.
    const int video = segment * kMacroblocksPerSegment + macroblock;
    const int block = 6 + video / 15 * 16 + 1 + video % 15;
    return static_cast<std::size_t>(sequence) * kDifSequenceBytes +
           static_cast<std::size_t>(block) * kDifBlockBytes;
}

// Upper left luma sample of a macroblock in the full-size picture. In 4:1:1 its four luma blocks lie side by
// side (32 x 8), except in the last column of the picture, where they form a square as they always do in
// 4:2:0 (16 x 16).
struct MacroblockPlace {
    std::uint16_t x;
    std::uint16_t y;
};
[[nodiscard]] MacroblockPlace macroblockPlace(const FrameLayout& layout, int sequence, int segment,
                                              int macroblock);
inline constexpr int kSquareColumnX = 704; // 4:1:1: macroblocks from here on are square

} // namespace qv::dv
