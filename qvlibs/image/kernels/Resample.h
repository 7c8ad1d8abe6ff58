// Resampling of packed 24-bit pictures: any rectangle of one to the whole of another.
#pragma once

#include "qvlibs/image/kernels/PixelView.h"

namespace qv {

// When shrinking, all but Nearest are widened by the ratio, so that every source pixel counts and nothing
// aliases. Half-widths are in pixels of the coarser side.
enum class ResampleKernel : int {
    Nearest,    // the pixel under the centre
    Box,        // the mean of the area that a destination pixel covers
    Triangle,   // linear, half-width 1
    CatmullRom, // cubic through the pixels, half-width 2
    Lanczos3,   // windowed sinc, half-width 3
};

constexpr int kMaxResampleSide = 1 << 18; // pixels, of views and regions

// Fills `dst` with `region` of `src`; view the destination as a part of a picture to write only there. Pixels
// outside the region are not read: beyond its edges its edge pixels repeat. The three channels are treated
// alike, and a picture of one colour keeps that colour exactly. The bytes are the same on every processor.
// The views may not overlap. False, and nothing written, for empty or too large sizes, a region that is not
// inside the source, and when memory is short. Any number of threads.
[[nodiscard]] bool resample24(ResampleKernel kernel, const ConstPixelView& src, const Region& region,
                              const PixelView& dst);

namespace plain {
// What resample24 is held against: the definition, one pixel after the other.
[[nodiscard]] bool resample24(ResampleKernel kernel, const ConstPixelView& src, const Region& region,
                              const PixelView& dst);
} // namespace plain

} // namespace qv
