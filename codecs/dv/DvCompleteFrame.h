// What a recorder writes into a DV frame besides video data.
#pragma once

#include <cstdint>

#include "codecs/dv/DvLayout.h"

namespace qv::dv {

// Makes a frame whose video blocks and video packs an encoder has written complete: subcode with time 0 and
// no recording date, video packs only at their main places, two channels of silence (48 kHz, 16 bits) with
// their packs.
void completeFrame(std::uint8_t* dif, const FrameLayout& layout);

} // namespace qv::dv
