// From RGB rows to the samples that a DV encoder takes.
#pragma once

#include <cstdint>
#include <vector>

#include "codecs/dv/DvDecoder.h"

namespace qv::dv {

// A 720-wide picture as luma and colour planes (ITU-R BT.601), rows without gaps.
struct SamplePlanes {
    std::vector<std::uint8_t> y, cb, cr;
    int colourWidth = 0, colourHeight = 0;
};

// PAL gives 4:2:0, with each field's colour from its own lines; NTSC gives 4:1:1. The source has 24 bits a
// pixel; its pitch is read as that of a target is.
void rgbToPlanes(const PictureTarget& source, bool pal, SamplePlanes& out);

} // namespace qv::dv
