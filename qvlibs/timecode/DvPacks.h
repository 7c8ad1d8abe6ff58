// What the four data bytes of single packs say. Nothing where they say something impossible.
#pragma once

#include "qvlibs/timecode/DvFrameInfo.h"

namespace qv {

enum DvPackHeader : BYTE {
    kLabelPack = 0x13,
    kAudioSourcePack = 0x50,
    kAudioControlPack = 0x51,
    kAudioDatePack = 0x52,
    kAudioClockPack = 0x53,
    kVideoSourcePack = 0x60,
    kVideoControlPack = 0x61,
    kVideoDatePack = 0x62,
    kVideoClockPack = 0x63,
};

// The four data bytes of a pack, which lie behind its header; the first in the low byte.
inline DWORD packWord(const BYTE* pack) {
    return DWORD{pack[1]} | DWORD{pack[2]} << 8 | DWORD{pack[3]} << 16 | DWORD{pack[4]} << 24;
}

// These bits of the word count; where all of them are set the recorder left the pack blank.
constexpr DWORD kDropFrameBit = 0x40; // NTSC only
constexpr DWORD kLabelPackBits = 0x3F7F7F3F | kDropFrameBit;
constexpr DWORD kClockPackBits = 0x3F7F7F00;
constexpr DWORD kDatePackBits = 0xFF1F3F00;

[[nodiscard]] std::optional<DvLabel> readLabelPack(DWORD word, DvSystem system);
[[nodiscard]] std::optional<DvClock> readClockPack(DWORD word);
// Years 90 to 99 are 19xx. The day of the week is not held against the date: some recorders never set it.
[[nodiscard]] std::optional<DvDate> readDatePack(DWORD word);
[[nodiscard]] std::optional<DvAudioMode> readAudioModePack(DWORD word);
// What a display format means depends on the application that the frame's headers name.
[[nodiscard]] std::optional<DvAspect> readAspectPack(DWORD word, bool isConsumer);

} // namespace qv
