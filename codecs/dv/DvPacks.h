// The packs around the pictures of a DV frame: what a recorder writes besides video data.
#pragma once

#include <cstdint>

#include "codecs/dv/DvLayout.h"

namespace qv::dv {

// Tape time as a time code pack carries it. dropFrame marks drop-frame labels (525/60 only).
struct TapeTime {
    int hours = 0, minutes = 0, seconds = 0, frames = 0;
    bool dropFrame = false;
};

// Writes the time into the subcode of every sequence, the block numbers of the subcode included.
void writeTapeTime(std::uint8_t* dif, const FrameLayout& layout, const TapeTime& time);

// Makes a frame whose video blocks and video packs an encoder has written complete: subcode with time 0 and
// no recording date, video packs only at their main places, two channels of silence (48 kHz, 16 bits) with
// their packs.
void completeFrame(std::uint8_t* dif, const FrameLayout& layout);

} // namespace qv::dv
