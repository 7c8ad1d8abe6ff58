#include "codecs/movie/FramePainter.h"

#include <algorithm>
#include <cmath>
#include <cstring>

extern "C" {
#include <libavutil/display.h>
}

namespace qv::codec {
namespace {

constexpr int kWholeFrame = -1;
constexpr double kTolerance = 0.01; // of a shape that was meant as 4:3 or 16:9

bool isClose(double shape, double wanted) { return std::fabs(shape / wanted - 1) < kTolerance; }

int quarterTurns(const AVStream& stream) {
    const std::uint8_t* matrix = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
    if (!matrix) return 0;
    const double angle = av_display_rotation_get(reinterpret_cast<const std::int32_t*>(matrix));
    if (std::isnan(angle)) return 0;
    return (static_cast<int>(std::lround(-angle / 90)) % 4 + 4) % 4;
}

constexpr size_t kRowSlack = 64; // the scaler may write some pixels behind a row's end

size_t rowBytes(std::int32_t width) { return (static_cast<size_t>(width) * 3 + 3) / 4 * 4; }
size_t paddedBytes(std::int32_t width) {
    return (static_cast<size_t>(width) * 3 + 2 * kRowSlack) / kRowSlack * kRowSlack;
}

// From rows of the unturned picture, top row first, to those of the upright one, bottom row first.
void turn(const std::uint8_t* from, MovieStream::Size size, int turns, std::uint8_t* to) {
    const size_t fromRow = paddedBytes(size.width);
    const size_t toRow = rowBytes(turns % 2 == 0 ? size.width : size.height);
    for (std::int32_t y = 0; y < size.height; ++y) {
        const std::uint8_t* row = from + fromRow * static_cast<size_t>(y);
        if (turns == 0) {
            std::memcpy(to + toRow * static_cast<size_t>(size.height - 1 - y), row,
                        3 * static_cast<size_t>(size.width));
            continue;
        }
        for (std::int32_t x = 0; x < size.width; ++x) {
            std::int32_t newX = size.height - 1 - y; // clockwise
            std::int32_t newY = size.width - 1 - x;  // from the bottom
            if (turns == 2) newX = size.width - 1 - x, newY = y;
            if (turns == 3) newX = y, newY = x;
            std::memcpy(to + toRow * static_cast<size_t>(newY) + 3 * static_cast<size_t>(newX), row + 3 * x,
                        3);
        }
    }
}

} // namespace

FrameShape shapeOf(const MediaInput& input) {
    const AVCodecParameters& codec = *input.stream()->codecpar;
    const AVRational pixel = av_guess_sample_aspect_ratio(input.format(), input.stream(), nullptr);
    FrameShape shape;
    shape.turns = quarterTurns(*input.stream());
    shape.size = {codec.width, codec.height};
    if (codec.width <= 0 || codec.height <= 0) return {};
    const bool isTurned = shape.turns % 2 != 0;
    const bool known = pixel.num > 0 && pixel.den > 0;
    // Frames of television are not square when nobody says so.
    const bool isTelevision =
        (codec.width == 720 || codec.width == 704) && (codec.height == 480 || codec.height == 576);
    const double square = static_cast<double>(codec.width) / codec.height;
    const double shown = known ? square * av_q2d(pixel) : isTelevision ? 4.0 / 3 : square;
    if (std::fabs(shown / square - 1) > 1e-6) {
        if (!isTurned && isClose(shown, 4.0 / 3)) {
            shape.dibType = 1;
        } else if (!isTurned && isClose(shown, 16.0 / 9)) {
            shape.dibType = 2;
        } else {
            shape.size.width =
                static_cast<std::int32_t>(std::lround(std::min(codec.height * shown, 16384.0)));
            shape.size.width = std::max(shape.size.width, 1);
        }
    }
    if (isTurned) std::swap(shape.size.width, shape.size.height);
    return shape;
}

MovieStream::Size FramePainter::size(std::uint32_t reduction) const {
    const auto part = [&](std::int32_t whole) {
        return std::max(whole / static_cast<std::int32_t>(reduction), 1);
    };
    return {part(shape_.size.width), part(shape_.size.height)};
}

bool FramePainter::keepsFields(const AVFrame& frame) const {
    return frame.interlaced_frame && shape_.turns == 0 && frame.height == shape_.size.height &&
           frame.height % 2 == 0;
}

// Converts the frame, or one of its fields: 0 the upper one, 1 the lower one.
bool FramePainter::scale(const AVFrame& frame, int field, std::uint8_t* rows, MovieStream::Size size,
                         size_t stride) {
    const bool whole = field == kWholeFrame;
    const int height = whole ? frame.height : frame.height / 2;
    const bool same = frame.width == size.width && height == size.height;
    const int kind = same ? SWS_POINT : frame.width > size.width ? SWS_AREA : SWS_BICUBIC;
    scaler_.reset(sws_getCachedContext(scaler_.release(), frame.width, height,
                                       static_cast<AVPixelFormat>(frame.format), size.width, size.height,
                                       AV_PIX_FMT_BGR24, kind | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT,
                                       nullptr, nullptr, nullptr));
    if (!scaler_) return false;
    const int* matrix =
        sws_getCoefficients(frame.colorspace == AVCOL_SPC_UNSPECIFIED ? SWS_CS_DEFAULT : frame.colorspace);
    const bool fullRange = frame.color_range == AVCOL_RANGE_JPEG || frame.format == AV_PIX_FMT_YUVJ420P ||
                           frame.format == AV_PIX_FMT_YUVJ422P || frame.format == AV_PIX_FMT_YUVJ444P;
    sws_setColorspaceDetails(scaler_.get(), matrix, fullRange, sws_getCoefficients(SWS_CS_DEFAULT), 1, 0,
                             1 << 16, 1 << 16);
    const std::uint8_t* planes[AV_NUM_DATA_POINTERS] = {};
    int strides[AV_NUM_DATA_POINTERS] = {};
    const bool isPalette = frame.format == AV_PIX_FMT_PAL8;
    for (int i = 0; i < 4; ++i) {
        const bool isTable = isPalette && i == 1;
        planes[i] = frame.data[i];
        strides[i] = frame.linesize[i];
        if (whole || isTable || !frame.data[i]) continue;
        planes[i] += field * frame.linesize[i];
        strides[i] *= 2;
    }
    std::uint8_t* out[] = {rows, nullptr, nullptr, nullptr};
    const int outStrides[] = {static_cast<int>(stride), 0, 0, 0};
    return sws_scale(scaler_.get(), planes, strides, 0, height, out, outStrides) == size.height;
}

bool FramePainter::paint(const AVFrame& frame, std::uint32_t reduction, std::uint8_t* bits) {
    MovieStream::Size direct = size(reduction);
    if (shape_.turns % 2 != 0) std::swap(direct.width, direct.height);
    const size_t row = paddedBytes(direct.width);
    unturned_.resize(row * static_cast<size_t>(direct.height) + kRowSlack);
    bool done = false;
    if (reduction == 1 && keepsFields(frame)) {
        const MovieStream::Size half{direct.width, direct.height / 2};
        done = scale(frame, 0, unturned_.data(), half, 2 * row) &&
               scale(frame, 1, unturned_.data() + row, half, 2 * row);
    } else {
        // Two moments blended into one picture would show what moves twice: the upper field stands for both.
        const bool oneField = frame.interlaced_frame && frame.height >= 2;
        done = scale(frame, oneField ? 0 : kWholeFrame, unturned_.data(), direct, row);
    }
    if (done) turn(unturned_.data(), direct, shape_.turns, bits);
    return done;
}

} // namespace qv::codec
