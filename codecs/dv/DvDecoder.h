// Our decoder of 25 Mbit/s DV frames (IEC 61834, SMPTE 314M): 525/60 in 4:1:1, 625/50 in 4:2:0 or 4:1:1.
//
// A frame is decoded at full size or at a half, a quarter or an eighth of it, each for a fraction of the
// cost, straight into RGB rows of the caller's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "codecs/dv/DvLayout.h"

namespace qv::dv {

enum class Reduction : int { Full = 1, Half = 2, Quarter = 4, Eighth = 8 };

// B, G, R bytes; or 16-bit words, red in the highest bits.
enum class PixelFormat : int { Bgr24, Rgb565, Rgb555 };

// What black and white become: 0 and 255, or 16 and 235.
enum class RgbRange : int { Full, Studio };

struct PictureSize {
    int width = 0;
    int height = 0;
    bool operator==(const PictureSize&) const = default;
};
// 720 x 480 / 576, 360 x 240 / 288, 180 x 120 / 144, 88 x 60 / 72. An eighth of 720 would be 90: the first
// and the last sample of each row are left out, which leaves the 704 samples of the active picture.
[[nodiscard]] PictureSize pictureSize(bool pal, Reduction reduction);

// Where a picture goes. `bits` is the first byte of its memory. A negative pitch says that the first row in
// memory is the bottom row of the picture; the distance of rows is its amount.
struct PictureTarget {
    void* bits = nullptr;
    std::ptrdiff_t pitch = 0;
    PixelFormat format = PixelFormat::Bgr24;
    RgbRange range = RgbRange::Full;
};

// Samples as the standard has them, 16..235 for luma and 16..240 around 128 for colour.
struct Planes {
    const std::uint8_t* y = nullptr;
    const std::uint8_t* cb = nullptr;
    const std::uint8_t* cr = nullptr;
    std::ptrdiff_t yPitch = 0;
    std::ptrdiff_t colourPitch = 0;
    int width = 0, height = 0, colourWidth = 0, colourHeight = 0;
};

enum class DecodeStatus : int {
    Done,
    Concealed,   // a picture is there; macroblocks marked as erroneous were replaced
    NotDv,       // not a frame of this kind, or not all of it
    BadArgument, // no memory, rows that overlap
};

// One decoder is used by one thread at a time; different ones do not disturb each other. Where a frame has
// macroblocks that its player marked as erroneous, they take the picture of the frame decoded before at the
// same size, so a decoder should stay with one movie; after a jump call forget().
class Decoder {
public:
    Decoder();
    ~Decoder();

    // Decodes the frame at the start of `dif`, which may be longer than the frame. The target must have room
    // for pictureSize() of the frame's own system: look with identifyFrame() first.
    [[nodiscard]] DecodeStatus decode(std::span<const std::uint8_t> dif, Reduction reduction,
                                      const PictureTarget& target);

    // Without the step to RGB. The planes stay the decoder's and last until its next call at this size; those
    // of an eighth have all 90 samples in a row.
    [[nodiscard]] DecodeStatus decodePlanes(std::span<const std::uint8_t> dif, Reduction reduction,
                                            Planes& planes);

    // Erroneous macroblocks of the next frame take their colours from their neighbours instead.
    void forget();

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace qv::dv
