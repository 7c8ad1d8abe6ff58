// What the DV codec components share: references, option words, refusals. A component module supplies a
// Codec.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "codecs/dv/DvDecoder.h"
#include "qvlibs/plugins/dv_component.h"

namespace qv::dv {

struct DecodeOption {
    bool pal = false;
    Reduction reduction = Reduction::Full;
    PixelFormat format = PixelFormat::Bgr24;
    RgbRange range = RgbRange::Full;
};
// Nothing where the word names no size (0, 5 to 7, above 8), not exactly one system, or no pixel format of
// the table; 32-bit pixels are none.
[[nodiscard]] std::optional<DecodeOption> readDecodeOption(std::uint32_t option);

// What one component works with. One thread at a time.
class Codec {
public:
    virtual ~Codec() = default;
    // Called by the first decode or encode after opening, so that opening stays cheap. The target has room
    // for a picture of the option's system and size.
    virtual bool decode(std::span<const std::uint8_t> dif, const DecodeOption& option,
                        const PictureTarget& target) = 0;
    // A whole frame of the system from 720 x 480 or 576 pixels of 24 bits.
    virtual bool encode(const PictureTarget& source, bool pal, std::span<std::uint8_t> dif) = 0;
};

// Each component module defines it; QVCreateComponent, which all of them export, is the same for all.
[[nodiscard]] std::unique_ptr<Codec> makeCodec();

} // namespace qv::dv
