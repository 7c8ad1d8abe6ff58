// Which part of a frame goes to which part of another: pure arithmetic.
#pragma once

#include "qvlibs/image/FitRectangle.h"

namespace qv {

struct CanvasSide {
    SIZE size;
    DIB_TYPE type;
    DISP_TYPE display;
};
// The adjustments follow one another and add up. `cropWidth` counts for a source display of 3 only.
[[nodiscard]] FitRectangles canvasRectangles(const CanvasSide& to, const CanvasSide& from, LONG cropWidth);

} // namespace qv
