// The sample planes of one decoded frame, at full or reduced size, and the ways into and out of them.
#pragma once

#include <cstdint>
#include <vector>

#include "codecs/dv/DvDecoder.h"
#include "codecs/dv/DvLayout.h"

namespace qv::dv {

// A block is blockSize x blockSize samples: 8 at full size, 4, 2 and 1 below it.
class Picture {
public:
    // Empties the planes when the kind of picture changes.
    void prepare(const FrameLayout& layout, int blockSize);
    void forget() { fresh_ = true; }

    [[nodiscard]] const FrameLayout& layout() const { return layout_; }
    [[nodiscard]] Planes planes() const;
    // Places of the frame's macroblocks in the order of the stream.
    [[nodiscard]] const MacroblockPlace* places() const { return places_.data(); }

    // Four luma blocks that lie side by side in `samples` (4 * blockSize wide, no gaps) to their places.
    void placeLuma(const MacroblockPlace& place, const std::uint8_t* samples);
    // One colour block whose rows lie `pitch` apart.
    void placeColour(const MacroblockPlace& place, bool red, const std::uint8_t* samples, int pitch);

    void markDamaged(const MacroblockPlace& place) { damaged_.push_back(place); }
    // Gives the damaged macroblocks their surroundings' colours, unless there is an earlier picture to keep.
    // Answers whether there were any.
    bool finish();

private:
    struct Plane {
        std::vector<std::uint8_t> bytes;
        int width = 0, height = 0, pitch = 0;
        std::uint8_t* at(int x, int y) {
            return &bytes[static_cast<std::size_t>(y) * static_cast<std::size_t>(pitch) +
                          static_cast<std::size_t>(x)];
        }
        [[nodiscard]] const std::uint8_t* at(int x, int y) const {
            return const_cast<Plane*>(this)->at(x, y);
        }
    };
    [[nodiscard]] bool isSquare(const MacroblockPlace& place) const {
        return layout_.sampling == Sampling::Yuv420 || place.x >= kSquareColumnX;
    }
    static void fillGrey(Plane& plane, int x, int y, int width, int height);
    static void fillFromNeighbours(Plane& plane, int x, int y, int width, int height);

    FrameLayout layout_;
    int blockSize_ = 0;
    bool fresh_ = true; // no earlier picture
    Plane y_, cb_, cr_;
    std::vector<MacroblockPlace> places_;
    std::vector<MacroblockPlace> damaged_;
};

// `width` columns from `firstColumn` on as RGB. Behind each row kRowPadding bytes are read.
void planesToRgb(const Planes& planes, const PictureTarget& target, int firstColumn, int width);

} // namespace qv::dv
