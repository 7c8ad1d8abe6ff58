// Where the fixed-table resize puts a picture: rules for the sizes of DV, video CD and their thumbnails.
#pragma once

#include "qvlibs/framework/Geometry.h"

#include <optional>

namespace qv {

struct FixedPlace {
    RECT part;   // of the destination, in stored rows; may reach beyond its right edge
    bool clears; // the destination is cleared first
};
// Options 0 and 1 and from 10 on fit, 2 to 9 name shapes. Nothing when a row of the destination is not a
// multiple of 4 bytes without padding, or the depth not one of whole bytes.
[[nodiscard]] std::optional<FixedPlace> fixedPlace(SIZE source, SIZE destination, int bitCount, int option);

} // namespace qv
