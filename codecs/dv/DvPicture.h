// The sample planes of one decoded frame, at full or reduced size, and the ways into and out of them.
#pragma once

#include <cstdint>
#include <cstring>
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

    // Four luma blocks that lie side by side in `samples` (4 n wide, no gaps) to their places; n is blockSize.
    template <int n>
    void placeLuma(const MacroblockPlace& place, const std::uint8_t* samples) {
        std::uint8_t* to = y_.at(place.x * n / 8, place.y * n / 8);
        if (!isSquare(place)) {
            for (int row = 0; row < n; ++row, to += y_.pitch) std::memcpy(to, samples + row * 4 * n, 4 * n);
            return;
        }
        for (int row = 0; row < n; ++row, to += y_.pitch) {
            std::memcpy(to, samples + row * 4 * n, 2 * n);
            std::memcpy(to + n * y_.pitch, samples + row * 4 * n + 2 * n, 2 * n);
        }
    }
    // One colour block whose rows lie `pitch` apart.
    template <int n>
    void placeColour(const MacroblockPlace& place, bool red, const std::uint8_t* samples, int pitch) {
        Plane& plane = red ? cr_ : cb_;
        const bool is420 = layout_.sampling == Sampling::Yuv420;
        std::uint8_t* to = is420 ? plane.at(place.x * n / 16, place.y * n / 16)
                                 : plane.at(place.x * n / 32, place.y * n / 8);
        if (is420 || !isSquare(place)) {
            for (int row = 0; row < n; ++row, to += plane.pitch) std::memcpy(to, samples + row * pitch, n);
            return;
        }
        // The left half belongs to the upper luma blocks, the right one to the lower.
        constexpr int kHalf = n > 1 ? n / 2 : 1;
        for (int row = 0; row < n; ++row, to += plane.pitch) {
            std::memcpy(to, samples + row * pitch, kHalf);
            std::memcpy(to + n * plane.pitch, samples + row * pitch + n / 2, kHalf);
        }
    }

    void markDamaged(const MacroblockPlace& place) { damaged_.push_back(place); }
    // Gives the damaged macroblocks their surroundings' colours, unless there is an earlier picture to keep.
    // Answers whether there were any.
    bool finish();

private:
    struct Plane {
        std::vector<std::uint8_t> bytes;
        int width = 0, height = 0;
        std::ptrdiff_t pitch = 0;
        std::uint8_t* at(int x, int y) { return bytes.data() + y * pitch + x; }
        [[nodiscard]] const std::uint8_t* at(int x, int y) const { return bytes.data() + y * pitch + x; }
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
