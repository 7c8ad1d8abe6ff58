#include "qvlibs/timecode/DvPacks.h"

namespace qv {

namespace {

// A two-digit BCD field at `shift` with so many bits for its tens; -1 when a digit is none.
int digits(DWORD word, int shift, int tensBits) {
    const int units = static_cast<int>(word >> shift & 15);
    const int tens = static_cast<int>(word >> (shift + 4) & ((1u << tensBits) - 1));
    return units > 9 || tens > 9 ? -1 : tens * 10 + units;
}

bool isWithin(int value, int low, int high) { return value >= low && value <= high; }

} // namespace

std::optional<DvClock> readClockPack(DWORD word) {
    const DvClock clock{digits(word, 24, 2), digits(word, 16, 3), digits(word, 8, 3)};
    if (!isWithin(clock.hours, 0, 23) || !isWithin(clock.minutes, 0, 59) || !isWithin(clock.seconds, 0, 59))
        return std::nullopt;
    return clock;
}

std::optional<DvLabel> readLabelPack(DWORD word, DvSystem system) {
    const auto clock = readClockPack(word);
    const int frames = digits(word, 0, 2);
    const bool drop = system == DvSystem::Ntsc && (word & kDropFrameBit);
    if (!clock || !isWithin(frames, 0, system == DvSystem::Pal ? 24 : 29)) return std::nullopt;
    const bool skipped = drop && clock->minutes % 10 != 0 && clock->seconds == 0 && frames < 2;
    if (skipped) return std::nullopt;
    return DvLabel{clock->hours, clock->minutes, clock->seconds, frames, drop};
}

std::optional<DvDate> readDatePack(DWORD word) {
    const int year = digits(word, 24, 4);
    const DvDate date{year < 90 ? 2000 + year : 1900 + year, digits(word, 16, 1), digits(word, 8, 2)};
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (year < 0 || !isWithin(date.month, 1, 12)) return std::nullopt;
    // 2000 is the only century in reach, and a leap year.
    const int days = date.month == 2 && date.year % 4 == 0 ? 29 : kDays[date.month - 1];
    if (!isWithin(date.day, 1, days)) return std::nullopt;
    return date;
}

std::optional<DvAudioMode> readAudioModePack(DWORD word) {
    constexpr int kRates[] = {48000, 44100, 32000}, kBits[] = {16, 12, 20};
    const DWORD sampling = word >> 27 & 7, quantisation = word >> 24 & 7, channels = word >> 13 & 3;
    if (sampling > 2 || quantisation > 2 || channels > 1) return std::nullopt;
    return DvAudioMode{kRates[sampling], channels ? 4 : 2, kBits[quantisation]};
}

std::optional<DvAspect> readAspectPack(DWORD word, bool isConsumer) {
    switch (word >> 8 & 7) {
    case 0:
    case 1: return DvAspect::Standard; // 1: letterbox inside 4:3
    case 2: return DvAspect::Wide;
    case 7:
        if (isConsumer) return DvAspect::Wide;
        return std::nullopt;
    default: return std::nullopt;
    }
}

} // namespace qv
