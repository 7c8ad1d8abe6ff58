#include "codecs/dv/DvPicture.h"

#include <algorithm>
#include <cstring>

#include "codecs/dv/DvColour.h"

namespace qv::dv {

void Picture::prepare(const FrameLayout& layout, int blockSize) {
    damaged_.clear();
    if (blockSize == blockSize_ && layout == layout_) return;
    layout_ = layout;
    blockSize_ = blockSize;
    fresh_ = true;
    places_.clear();
    for (int sequence = 0; sequence < layout.sequences; ++sequence) {
        for (int segment = 0; segment < kSegmentsPerSequence; ++segment) {
            for (int m = 0; m < kMacroblocksPerSegment; ++m) {
                places_.push_back(macroblockPlace(layout, sequence, segment, m));
            }
        }
    }
    const auto make = [&](Plane& plane, int widthDivisor, int heightDivisor, std::uint8_t value) {
        plane.width = (kPictureWidth / widthDivisor * blockSize + 7) / 8;
        plane.height = layout.height() / heightDivisor * blockSize / 8;
        // The last macroblock of a row may reach past the picture at reduced sizes.
        plane.pitch = (plane.width + kRowPadding + 63) / 64 * 64;
        plane.bytes.assign(
            static_cast<std::size_t>(plane.pitch) * static_cast<std::size_t>(plane.height + 1) + kRowPadding,
            value);
    };
    const bool is420 = layout.sampling == Sampling::Yuv420;
    make(y_, 1, 1, 16);
    make(cb_, is420 ? 2 : 4, is420 ? 2 : 1, 128);
    make(cr_, is420 ? 2 : 4, is420 ? 2 : 1, 128);
}

Planes Picture::planes() const {
    return {.y = y_.at(0, 0),
            .cb = cb_.at(0, 0),
            .cr = cr_.at(0, 0),
            .yPitch = y_.pitch,
            .colourPitch = cb_.pitch,
            .width = y_.width,
            .height = y_.height,
            .colourWidth = cb_.width,
            .colourHeight = cb_.height};
}

bool Picture::finish() {
    const bool keepsEarlier = !fresh_;
    fresh_ = false;
    if (damaged_.empty()) return false;
    if (keepsEarlier) return true;
    std::sort(damaged_.begin(), damaged_.end(), [](const MacroblockPlace& a, const MacroblockPlace& b) {
        return a.y != b.y ? a.y < b.y : a.x < b.x;
    });
    const int n = blockSize_;
    const bool is420 = layout_.sampling == Sampling::Yuv420;
    const auto mend = [&](const MacroblockPlace& place, auto&& how) {
        const int width = isSquare(place) ? 16 : 32;
        const int height = isSquare(place) ? 16 : 8;
        const int across = is420 ? 16 : 32; // luma samples to eight of colour
        const int down = is420 ? 16 : 8;
        how(y_, place.x * n / 8, place.y * n / 8, width * n / 8, height * n / 8);
        for (Plane* plane : {&cb_, &cr_}) {
            how(*plane, place.x * n / across, place.y * n / down, std::max(width * n / across, 1),
                std::max(height * n / down, 1));
        }
    };
    for (const MacroblockPlace& place : damaged_) mend(place, fillGrey);
    for (const MacroblockPlace& place : damaged_) mend(place, fillFromNeighbours);
    return true;
}

void Picture::fillGrey(Plane& plane, int x, int y, int width, int height) {
    for (int row = 0; row < height; ++row) {
        std::memset(plane.at(x, y + row), 128, static_cast<std::size_t>(std::min(width, plane.width - x)));
    }
}

// Straight lines from the row above to the row below; damaged ones above are mended already, one below that
// is still damaged is grey. At the border of the picture the one neighbour is repeated.
void Picture::fillFromNeighbours(Plane& plane, int x, int y, int width, int height) {
    for (int column = x; column < std::min(x + width, plane.width); ++column) {
        const bool hasBelow = y + height < plane.height;
        const int below = hasBelow ? *plane.at(column, y + height) : *plane.at(column, y - 1);
        const int above = y > 0 ? *plane.at(column, y - 1) : below;
        for (int row = 0; row < height; ++row) {
            const int weight = row + 1;
            const int value =
                (above * (height + 1 - weight) + below * weight + (height + 1) / 2) / (height + 1);
            *plane.at(column, y + row) = static_cast<std::uint8_t>(value);
        }
    }
}

void planesToRgb(const Planes& planes, const PictureTarget& target, int firstColumn, int width) {
    constexpr int kLeft = 64; // room in front of a row, which keeps it aligned
    alignas(64) std::uint8_t cb[kLeft + kWideRow];
    alignas(64) std::uint8_t cr[kLeft + kWideRow];
    const bool is420 = planes.colourHeight < planes.height;
    const bool isFull = planes.width == kPictureWidth;
    // 4:2:0 has one row of colour for two rows of luma of the same field; below full size the fields are mixed.
    const bool hasFields = is420 && isFull;
    // A sample of colour stands where the first of its samples of luma does. The mean of several stands further
    // right than the mean of as many of luma: in 4:1:1 by 0.75, 1.1 and 1.3 samples at a half, a quarter and an
    // eighth, which is taken as 1; in 4:2:0 by 0.25, 0.38 and 0.44, taken as a half.
    const int shift = is420 || isFull ? 0 : 1;
    const int from = kLeft + firstColumn - shift;
    const std::ptrdiff_t step = target.pitch;
    auto* row = static_cast<std::uint8_t*>(target.bits);
    if (step < 0) row -= step * (planes.height - 1);
    for (int y = 0; y < planes.height; ++y, row += step) {
        const int colour = hasFields ? y / 4 * 2 + y % 2 : is420 ? y / 2 : y;
        const auto widen = [&](const std::uint8_t* plane, std::uint8_t* out) {
            const std::uint8_t* samples = plane + colour * planes.colourPitch;
            if (is420 && !isFull)
                widenMiddleColour(samples, planes.colourWidth, out);
            else
                widenColour(samples, planes.colourWidth, is420 ? 2 : 4, out);
        };
        widen(planes.cb, cb + kLeft);
        widen(planes.cr, cr + kLeft);
        cb[kLeft - 1] = cb[kLeft];
        cr[kLeft - 1] = cr[kLeft];
        rowToRgb({planes.y + y * planes.yPitch + firstColumn, cb + from, cr + from, width}, target.format,
                 target.range, row);
    }
}

} // namespace qv::dv
