// What timecodes and their spans share: the two-digit field check and the sums behind labels.
#pragma once

#include "qvlibs/timecode/TimecodeMode.h"

#include <cstdint>
#include <string>

namespace qv {

inline int orDefault(int mode) { return mode == TCMODE_DEFAULT ? defaultTimecodeMode() : mode; }

constexpr int framesPerSecond(int mode) { return mode == TCMODE_PAL ? 25 : 30; }

// Labels that drop-frame counting has left out before this minute of the day.
constexpr std::int64_t droppedLabels(std::int64_t hours, std::int64_t minutes) {
    return 2 * (54 * hours + minutes - minutes / 10);
}

// The low 32 bits, as the interface hands out its 64-bit products.
constexpr LONG low32(std::int64_t value) { return static_cast<LONG>(value); }

// 1 when p[0] and p[1] are ASCII digits and their number lies in lo..hi.
constexpr int twoDigitsWithin(const char* p, int lo, int hi) {
    if (p[0] < '0' || p[0] > '9' || p[1] < '0' || p[1] > '9') return 0;
    const int number = (p[0] - '0') * 10 + p[1] - '0';
    return number >= lo && number <= hi ? 1 : 0;
}
constexpr int twoDigits(const char* p) { return (p[0] - '0') * 10 + p[1] - '0'; }

// The pattern (null: "%H:%M:%S:%F") with its first "%F" replaced by the frame. On purpose only two characters
// of the number are shown, so frame 123 reads 12, and a second "%F" stays in the pattern
// (Timecode.FormatReplacesTheFirstFrameFieldWithTwoCharacters).
std::string withFrameField(const char* pattern, int frame);

} // namespace qv
