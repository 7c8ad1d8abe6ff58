// Writes what a recorder says around a picture into a DV frame: the counter, the recording date, where a
// recording starts. readDvFrame (DvFrameInfo.h) and QVTLDIF2Timecode (DvMetadata.h) read it back.
#pragma once

#include "qvlibs/timecode/DvFrameInfo.h"

#include <utility>

namespace qv {

// What is left empty stays in the frame as it is.
struct DvStamp {
    std::optional<DvLabel> label;
    std::optional<std::pair<DvDate, DvClock>> recorded; // years 1990 to 2089
    // Whether this is the first frame of a recording. Needs a frame that has its control packs.
    std::optional<bool> recordingStart;
    // Samples of each channel in a frame whose sound is 48 kHz: 1580 to 1620 in NTSC, 1896 to 1944 in PAL.
    std::optional<int> soundSamples;
};

// Whether the packs of a frame can hold all of it.
[[nodiscard]] QVLIBS_API bool isValidStamp(const DvStamp& stamp, DvSystem system);

// The frame has dvFrameBytes() of its system, which its size tells. False, and nothing written, for other sizes
// and for what is no valid stamp.
[[nodiscard]] QVLIBS_API bool stampDvFrame(std::span<BYTE> frame, const DvStamp& stamp);

// How many samples frame `number` of a movie with sound locked to the picture has, at 48 kHz.
constexpr int dvLockedSamples(std::int64_t number, DvSystem system) {
    return system == DvSystem::Pal ? 1920 : number % 5 == 0 ? 1600 : 1602;
}

} // namespace qv
