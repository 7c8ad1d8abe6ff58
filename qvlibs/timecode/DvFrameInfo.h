// What one DV frame says about itself, read from every copy that it holds.
//
// A frame repeats its packs many times over (a timecode some 120 times), because tape drops bits. The copies
// vote: a value is taken when it is possible, has more votes than any other possible one, and at least two or
// all there are. What is not known is empty and says why; no impossible date, time or label is ever given.
//
// This is for logs and repairs. QVTLDIF2Timecode (DvMetadata.h) reads single positions in the way that deck
// control expects and keeps its own rules.
#pragma once

#include "qvlibs/framework/Types.h"

#include <compare>
#include <optional>
#include <span>

namespace qv {

enum class DvSystem : int { Ntsc, Pal }; // 525/60, 625/50

// Bytes of a frame of 25 Mbit/s DV.
constexpr size_t dvFrameBytes(DvSystem system) { return system == DvSystem::Pal ? 144000 : 120000; }
// Frames a second are numerator / denominator.
struct DvRate {
    int numerator, denominator;
};
constexpr DvRate dvRate(DvSystem system) {
    return system == DvSystem::Pal ? DvRate{25, 1} : DvRate{30000, 1001};
}

// Why a field is empty.
enum class DvUnknown : int {
    Known,      // it is not
    Absent,     // the frame has no such pack
    Empty,      // the recorder left it blank
    Impossible, // no copy holds a possible value
    Disputed,   // the copies contradict each other
};

template <class Value>
struct DvField {
    std::optional<Value> value;
    float confidence = 0; // votes for the value, as a share of all copies that are not blank
    DvUnknown unknown = DvUnknown::Absent;

    explicit operator bool() const { return value.has_value(); }
    const Value& operator*() const { return *value; }
    const Value* operator->() const { return &*value; }
};

struct DvLabel {
    int hours, minutes, seconds, frames;
    bool dropFrame;
    bool operator==(const DvLabel&) const = default;
};
// Frames since 00:00:00:00.
QVLIBS_API LONG dvLabelCount(const DvLabel& label, DvSystem system);
// The label of a count; counts wrap at 24 hours, negative ones too.
QVLIBS_API DvLabel dvLabelOf(std::int64_t count, bool dropFrame, DvSystem system);
QVLIBS_API LONG dvLabelsOfDay(bool dropFrame, DvSystem system);

struct DvDate {
    int year, month, day; // 1990 to 2089
    auto operator<=>(const DvDate&) const = default;
};
struct DvClock {
    int hours, minutes, seconds;
    auto operator<=>(const DvClock&) const = default;
};
// Seconds since 1970-01-01 00:00:00 of the recorder's own clock, which knows no zone.
QVLIBS_API std::int64_t dvClockSeconds(const DvDate& date, const DvClock& clock);

enum class DvAspect : int { Standard, Wide }; // 4:3, 16:9

struct DvAudioMode {
    int rate;     // samples a second
    int channels; // 2 or 4
    int bits;     // of a sample: 12, 16 or 20
    bool operator==(const DvAudioMode&) const = default;
};

struct DvFrameInfo {
    DvSystem system = DvSystem::Ntsc;
    DvField<DvLabel> timecode;
    DvField<DvDate> date; // of the recording, as is the time
    DvField<DvClock> time;
    DvField<DvAspect> aspect;
    DvField<DvAudioMode> audio;
    DvField<bool> recordingStart; // the frame is marked as the first, or last, of a recording
    DvField<bool> recordingEnd;

    // Of the frame's 80-byte blocks:
    int blocks = 0;       // all: 1500 or 1800
    int missing = 0;      // whose address is not that of their place, or that are filled with zeros
    int damagedVideo = 0; // that the recorder or deck marked as bad or concealed
    int damagedAudio = 0; // that hold nothing but the code for lost samples
};

// The bytes of one frame; their number decides which system it is. Nothing for any other number.
[[nodiscard]] QVLIBS_API std::optional<DvFrameInfo> readDvFrame(std::span<const BYTE> frame);

// Which system the sequence headers of a stream announce, given bytes that start at a frame (at least one
// NTSC frame). Nothing when no header can be read.
[[nodiscard]] QVLIBS_API std::optional<DvSystem> dvSystemOf(std::span<const BYTE> frame);
// Whether these bytes (at least 3) are the first block of a frame.
[[nodiscard]] QVLIBS_API bool startsDvFrame(std::span<const BYTE> bytes);

} // namespace qv
