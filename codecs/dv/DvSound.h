// The sound inside DV frames: 48, 44.1 or 32 kHz in 16 bits, or 32 kHz in 12 bits (two pairs of channels, of
// which the first is given). Samples lie scattered over the frame so that a scratch on tape costs single
// ones.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace qv {

constexpr size_t kDvFrameNtsc = 120000;
constexpr size_t kDvFramePal = 144000;
constexpr size_t dvFrameSize(bool pal) { return pal ? kDvFramePal : kDvFrameNtsc; }

// Samples of one channel that a frame can hold at most.
constexpr size_t kDvMaxSamples = 1944;

struct DvSound {
    std::uint32_t rate = 0; // samples a second
    bool is12Bit = false;
    size_t samples = 0; // of each channel in this frame
};

// What sound a frame carries; nothing when it has none, or none that these rules can read. The frame has
// dvFrameSize(pal) bytes.
[[nodiscard]] std::optional<DvSound> findDvSound(const std::uint8_t* frame, bool pal);

// Writes sound.samples pairs (left, right) of 16 bits. A sample that the recorder marked as lost is 0.
void readDvSound(const std::uint8_t* frame, bool pal, const DvSound& sound, std::int16_t* pairs);

// How many samples the frames before `frame` have together at this rate, in step with the pictures.
[[nodiscard]] std::uint64_t dvSamplesBefore(std::uint64_t frame, std::uint32_t rate, bool pal);

} // namespace qv
