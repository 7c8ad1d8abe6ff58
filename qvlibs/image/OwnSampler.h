// The library's own sampler: nearest neighbour in 16.16 fixed point, whole bytes a pixel.
#pragma once

#include "qvlibs/framework/Geometry.h"

namespace qv {

// Stored rows of a picture with `bytesPerPixel` bytes a pixel.
struct SampledRows {
    BYTE* bits;
    std::int64_t lineBytes;
    int width, height;
};

// Stretches the whole source over the columns and rows of `part` of the destination. Rows are stored rows:
// the lowest of the picture first. Columns behind the end of a row land in the next one, the rightmost of
// them on top; what lies outside the destination is left out. Nothing happens for an empty part.
void sampleNearest(int bytesPerPixel, const SampledRows& source, const SampledRows& destination, RECT part);

namespace plain {
// The same, a pixel at a time in the order that defines the result.
void sampleNearest(int bytesPerPixel, const SampledRows& source, const SampledRows& destination, RECT part);
} // namespace plain

} // namespace qv
