// 24-bit pictures as the raw resizers get them: an address and a size, rows padded to 4 bytes, lowest row
// first.
#pragma once

#include "qvlibs/framework/DibPixels.h"
#include "qvlibs/framework/Geometry.h"
#include "qvlibs/image/PixelLimit.h"
#include "qvlibs/image/kernels/PixelView.h"

#include <optional>

namespace qv {

inline std::int64_t rawLine(SIZE size) { return dibLineBytes(size.cx, 24); }

// Bytes of the whole picture; nothing for sizes that are empty or above the limit.
inline std::optional<size_t> rawBytes(SIZE size) {
    if (size.cx <= 0 || size.cy <= 0) return {};
    return pixelBytes(size.cx, size.cy, 24);
}

inline bool isWhole(RECT part, SIZE size) { return part == RECT{0, 0, size.cx, size.cy}; }
inline bool isInside(RECT part, SIZE size) {
    return part.left >= 0 && part.top >= 0 && part.left < part.right && part.top < part.bottom &&
           part.right <= size.cx && part.bottom <= size.cy;
}

// Stored rows; a rectangle counts from the lowest.
inline ConstPixelView rawView(const unsigned char* bits, SIZE size) {
    return {bits, static_cast<std::ptrdiff_t>(rawLine(size)), size.cx, size.cy};
}
inline PixelView rawPart(unsigned char* bits, SIZE size, RECT part) {
    return {bits + part.top * rawLine(size) + 3 * std::int64_t{part.left},
            static_cast<std::ptrdiff_t>(rawLine(size)), part.right - part.left, part.bottom - part.top};
}
inline Region rawRegion(RECT part) {
    return {part.left, part.top, part.right - part.left, part.bottom - part.top};
}

} // namespace qv
