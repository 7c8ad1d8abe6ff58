#include "qvlibs/image/FitRectangle.h"

#include <algorithm>
#include <array>

namespace qv {
namespace {

constexpr double kNarrow = 1.3333333333333333; // 4:3
constexpr double kWide = 1.7777777777777777;   // 16:9

constexpr std::array<LONG, 6> kFrameHeights{480, 240, 120, 576, 288, 144};
constexpr SIZE kFrameShapes[] = {{640, 480}, {720, 480}, {704, 480}, {720, 576}, {704, 576}};

bool isVideoFrame(SIZE size) {
    if (size.cx == 352 && (size.cy == 480 || size.cy == 576)) return true;
    if (std::find(kFrameHeights.begin(), kFrameHeights.end(), size.cy) == kFrameHeights.end()) return false;
    return std::any_of(std::begin(kFrameShapes), std::end(kFrameShapes), [&](SIZE shape) {
        return std::int64_t{size.cx} * shape.cy == std::int64_t{size.cy} * shape.cx;
    });
}

struct Extent {
    LONG width, height;
};

// The half is added and the rest cut, on purpose: lround differs just below a half.
// NOLINTNEXTLINE(bugprone-incorrect-roundings)
LONG rounded(double length) { return static_cast<LONG>(length + 0.5); }

Extent usedPart(SIZE size, const PictureShape& shape) {
    if (shape.usedHeight == 1.0) return {size.cx, size.cy};
    return {size.cx, std::max(1, rounded(size.cy * shape.usedHeight))};
}

LONG bounded(double length, LONG most) { return std::clamp(rounded(length), 1, most); }

// The largest part of `room` that has the shape of `picture`; each has its own width of a pixel. The order of
// the operations is part of the result: another one differs by a pixel here and there.
Extent shrunk(Extent room, double roomAspect, Extent picture, double pictureAspect) {
    const double height = picture.height;
    const double width =
        pictureAspect == roomAspect ? picture.width : picture.width / roomAspect * pictureAspect;
    if (room.height * width < room.width * height) {
        return {bounded(width / height * room.height, room.width), room.height};
    }
    if (room.height * width > room.width * height) {
        return {room.width, bounded(height / width * room.width, room.height)};
    }
    return room;
}

RECT centred(Extent part, SIZE buffer) {
    const LONG left = (buffer.cx - part.width) / 2, top = (buffer.cy - part.height) / 2;
    return {left, top, left + part.width, top + part.height};
}

} // namespace

DIB_TYPE resolveType(DIB_TYPE type, SIZE size) {
    if (type != DIB_TYPE_AUTO && type != DIB_TYPE_AUTO_ANY) return type;
    return isVideoFrame(size) ? DIB_TYPE_4_3 : DIB_TYPE_SQUARE;
}

std::optional<PictureShape> shapeOf(DIB_TYPE type, SIZE size) {
    if (size.cx <= 0 || size.cy <= 0) return {};
    const double width = size.cx, height = size.cy;
    PictureShape shape;
    switch (type) {
    case DIB_TYPE_4_3: shape = {height * kNarrow / width, 1}; break;
    case DIB_TYPE_16_9: shape = {height * kWide / width, 1}; break;
    case DIB_TYPE_LETTERBOX: shape = {height * kNarrow / width, 0.75}; break;
    case DIB_TYPE_NTSC_3_2: shape = {0.8888888888888888, width * 0.6666666666666666 / height}; break;
    case DIB_TYPE_PAL_5_4: shape = {1.0666666666666667, width * 0.8 / height}; break;
    default: break;
    }
    if (!(shape.pixelAspect > 0 && shape.usedHeight > 0 && shape.usedHeight <= 1)) return {};
    return shape;
}

std::optional<FitRectangles> fitRectangles(SIZE source, DIB_TYPE sourceType, SIZE destination,
                                           DIB_TYPE destinationType, RESIZE_OPTION option) {
    const auto from = shapeOf(sourceType, source), to = shapeOf(destinationType, destination);
    if (!from || !to) return {};
    Extent taken = usedPart(source, *from), filled = usedPart(destination, *to);
    switch (option) {
    case RESIZE_OPTION_STRETCH: break;
    case RESIZE_OPTION_FIT: filled = shrunk(filled, to->pixelAspect, taken, from->pixelAspect); break;
    case RESIZE_OPTION_FILL: taken = shrunk(taken, from->pixelAspect, filled, to->pixelAspect); break;
    default: return {};
    }
    return FitRectangles{centred(taken, source), centred(filled, destination)};
}

} // namespace qv
