// How a picture of one size and shape is laid into another: pure arithmetic.
#pragma once

#include "qvlibs/framework/Geometry.h"
#include "qvlibs/image/DibTypes.h"

#include <optional>

namespace qv {

// 0 and 5 become 1 for a size that is a video frame's and 4 for others; other types stay.
[[nodiscard]] QVLIBS_API DIB_TYPE resolveType(DIB_TYPE type, SIZE size);

// The shape of a picture: how wide a pixel is against its height, and which part of the height is in use. All
// of the width is.
struct PictureShape {
    double pixelAspect = 1;
    double usedHeight = 1;
};
// Nothing for a size that the type does not fit: empty, or with more than the whole height in use.
[[nodiscard]] QVLIBS_API std::optional<PictureShape> shapeOf(DIB_TYPE type, SIZE size);

struct FitRectangles {
    RECT source;
    RECT destination;
};
// The parts that are mapped onto each other, each centred in its buffer. Types must be resolved. Nothing for
// sizes that do not fit their types and for options that do not exist.
[[nodiscard]] QVLIBS_API std::optional<FitRectangles> fitRectangles(SIZE source, DIB_TYPE sourceType,
                                                                    SIZE destination,
                                                                    DIB_TYPE destinationType,
                                                                    RESIZE_OPTION option);

} // namespace qv
