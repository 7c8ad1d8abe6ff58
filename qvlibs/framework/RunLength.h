// The run-length form of 4- and 8-bit bitmaps. Damaged data never reaches outside the rows: pixels behind the
// end of a row or above the last one are dropped, pixels that the data leaves out are 0.
#pragma once

#include "qvlibs/framework/Types.h"

#include <span>
#include <vector>

namespace qv {

// One row after the other, the lowest first, each ending in an end of line, then an end of bitmap. `rows` has
// `lineBytes` a row, which hold `width` pixels.
[[nodiscard]] std::vector<BYTE> encodeRunLength(std::span<const BYTE> rows, size_t lineBytes, int width,
                                                int height, int bitCount);

// The opposite, into rows of the same layout, which are filled whole.
void decodeRunLength(std::span<const BYTE> data, std::span<BYTE> rows, size_t lineBytes, int width,
                     int height, int bitCount);

} // namespace qv
