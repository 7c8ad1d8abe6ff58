// Turns decoded frames into pictures: upright, rows of 24 bits a pixel, bottom row first.
#pragma once

#include "codecs/common/MovieStream.h"
#include "codecs/movie/MovieInput.h"

#include <vector>

extern "C" {
#include <libswscale/swscale.h>
}

namespace qv::codec {

// How a movie's frames are shown.
struct FrameShape {
    MovieStream::Size size;    // of the upright picture in full; square pixels unless dibType is 1 or 2
    std::uint32_t dibType = 4; // 1 shown as 4:3, 2 as 16:9, 4 square pixels
    int turns = 0;             // quarter turns clockwise that make it upright
};
// From what the container and the stream say. Pixels of other shapes than those of 4:3 and 16:9, and of turned
// pictures, are made square.
FrameShape shapeOf(const MediaInput& input);

class FramePainter {
public:
    explicit FramePainter(const FrameShape& shape) : shape_(shape) {}

    MovieStream::Size size(std::uint32_t reduction) const;
    // False when the frame's pixels are of a kind that cannot be converted.
    bool paint(const AVFrame& frame, std::uint32_t reduction, std::uint8_t* bits);
    // Whether paint() in full keeps the two fields of this frame apart. Otherwise it shows the upper one alone.
    bool keepsFields(const AVFrame& frame) const;

private:
    bool scale(const AVFrame& frame, int field, std::uint8_t* rows, MovieStream::Size size, size_t stride);

    struct FreeScaler {
        void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
    };
    FrameShape shape_;
    std::unique_ptr<SwsContext, FreeScaler> scaler_;
    std::vector<std::uint8_t> unturned_;
};

} // namespace qv::codec
