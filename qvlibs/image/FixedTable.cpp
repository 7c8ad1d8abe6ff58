#include "qvlibs/image/FixedTable.h"

#include <algorithm>
#include <iterator>

namespace qv {
namespace {

bool is(SIZE size, LONG width, LONG height) { return size == SIZE{width, height}; }
bool isHalfD1(SIZE size) { return is(size, 352, 480) || is(size, 352, 576); }
bool hasFrameHeight(SIZE size) { return size.cy == 480 || size.cy == 576; }

// Destinations that a 4:3 source is stretched over. Zero stands for any height.
constexpr SIZE kFullFrames[] = {{720, 0},   {180, 120}, {352, 0},   {176, 120},
                                {176, 144}, {480, 0},   {360, 240}, {360, 288}};

bool isFullFrame(SIZE size) {
    const bool listed = std::any_of(std::begin(kFullFrames), std::end(kFullFrames), [&](SIZE row) {
        return row.cx == size.cx && (row.cy == 0 || row.cy == size.cy);
    });
    const bool needsFrameHeight =
        size.cx == 720 || (size.cx == 352 && size.cy != 240 && size.cy != 288) || size.cx == 480;
    return listed && (!needsFrameHeight || hasFrameHeight(size));
}

bool isStretched(SIZE source, SIZE destination) {
    if (is(source, 720, 480) || is(source, 720, 576) || is(source, 88, 60) || is(source, 88, 72)) return true;
    return std::int64_t{source.cx} * 3 == std::int64_t{source.cy} * 4 && isFullFrame(destination);
}

int remapped(int option, SIZE source, SIZE destination) {
    if (source.cx != 640 && source.cy != 480) return option;
    if (option == 1 && is(destination, 360, 288)) return 2;
    if ((option == 1 || option == 2) && isHalfD1(destination)) return 5;
    if (option == 1 && destination.cx == 480) return 6;
    return option;
}

// The width that a source counts as, and for bands their height as a part of it.
struct Shape {
    double width;
    double band = 0; // 0: fit by shape
};

Shape shapeFor(int option, SIZE source) {
    const double width = source.cx;
    const bool half = isHalfD1(source);
    const bool frame = half || source.cx == 720;
    switch (option) {
    case 2: return {width * 1.125};
    case 3: return {width * 0.9375};
    case 4: return {half ? 720 : width, 0.6666666666666667};
    case 5: return {width * 1.0227272727272727};
    case 6: return {width * 0.75};
    case 7: return {frame ? 640 : width, 0.75};
    case 8: return {frame ? 768 : width, 0.9};
    case 9: return {half ? 720 : width, 0.8};
    default: return {width};
    }
}

RECT fitted(SIZE source, SIZE destination, double width, bool doubled) {
    const double p = static_cast<double>(destination.cx) * source.cy, q = destination.cy * width;
    if (q == p) return {0, 0, destination.cx, destination.cy};
    if (q > p && !(doubled && p > q / 2)) {
        int band = std::max(1, static_cast<int>(p / width)); // cut to whole rows before it is doubled
        if (doubled) band += band;
        const LONG top = (destination.cy - band) / 2;
        return {0, top, destination.cx, top + band};
    }
    int band = std::max(1, static_cast<int>(width * destination.cy / source.cy));
    if (doubled) band = static_cast<int>((band + 1) * 0.5);
    const LONG left = (destination.cx - band) / 2;
    return {left, 0, left + band, destination.cy};
}

} // namespace

std::optional<FixedPlace> fixedPlace(SIZE source, SIZE destination, int bitCount, int option) {
    if (bitCount % 8 != 0 || std::int64_t{destination.cx} * bitCount / 8 % 4 != 0) return {};
    if (source.cx <= 0 || source.cy <= 0 || destination.cx <= 0 || destination.cy <= 0) return {};
    const FixedPlace whole{{0, 0, destination.cx, destination.cy}, false};
    const bool isBand = option == 4 || (option >= 7 && option <= 9);
    if (!isBand && isStretched(source, destination)) return whole;
    const int effective = remapped(option, source, destination);
    if (effective == 0) return whole;
    const Shape shape = shapeFor(effective, source);
    if (shape.band > 0) {
        const LONG top = std::max(0, static_cast<int>((destination.cy - shape.width * shape.band) * 0.5));
        // The source's width, on purpose (FixedTable.BandsTakeTheWidthOfTheSource).
        return FixedPlace{{0, top, source.cx, destination.cy - top}, true};
    }
    const RECT part = fitted(source, destination, shape.width, effective == 5);
    return FixedPlace{part, !(part == whole.part)};
}

} // namespace qv
