// Counting the frames of a rate by timecode labels.
#pragma once

#include "qvlibs/framework/Types.h"

#include <string>

namespace qv::cli {

struct FrameRate {
    ULONG rate = 0;
    ULONG scale = 1; // frames a second = rate / scale

    std::string text() const; // "30000/1001"
    // The timecode mode that counts these frames, or 0 when none does.
    int timecodeMode() const;
    // The frame that a position HH:MM:SS:FF from the start names; -1 when it is no such text or too far. At 29.97 frames a second
    // labels are drop-frame: they keep up with the clock.
    LONG frameAt(const std::string& label) const;
    // The label of a frame counted from the start, HH:MM:SS:FF; empty when the rate has none.
    std::string positionOf(LONG frame) const;
};

} // namespace qv::cli
