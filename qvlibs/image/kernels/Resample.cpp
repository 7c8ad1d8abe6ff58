#include "qvlibs/image/kernels/Resample.h"

namespace qv {

bool resample24(ResampleKernel kernel, const ConstPixelView& src, const Region& region,
                const PixelView& dst) {
    return plain::resample24(kernel, src, region, dst);
}

} // namespace qv
