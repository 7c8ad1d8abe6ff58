#include "qvlibs/timecode/DvStamp.h"

#include "qvlibs/timecode/DvPacks.h"

#include <algorithm>
#include <array>

namespace qv {

namespace {

using Pack = std::array<BYTE, 5>;

constexpr size_t kSequence = 12000;
constexpr size_t kBlock = 80;
constexpr size_t kSyncBlocks = 12;                       // of the subcode in a sequence
constexpr size_t kVideoSource[] = {448, 243};            // in even and odd sequences
constexpr size_t kAudioSource[] = {480 + 3 * 1280, 480}; // the sound block whose pack it is
constexpr size_t kNextAudio = 16 * kBlock;

BYTE bcd(int value) { return static_cast<BYTE>(value / 10 << 4 | value % 10); }
BYTE withBits(int value, int bits) { return static_cast<BYTE>(bcd(value) | bits); }

// Reserved bits are set, as recorders leave them.
Pack labelPack(const DvLabel& label) {
    return {kLabelPack, withBits(label.frames, 0x80 | (label.dropFrame ? 0x40 : 0)),
            withBits(label.seconds, 0x80), withBits(label.minutes, 0x80), withBits(label.hours, 0xC0)};
}
// The zone is not known.
Pack datePack(BYTE header, const DvDate& date) {
    return {header, 0xFF, withBits(date.day, 0xC0), withBits(date.month, 0xE0), bcd(date.year % 100)};
}
Pack clockPack(BYTE header, const DvClock& clock) {
    return {header, 0xFF, withBits(clock.seconds, 0x80), withBits(clock.minutes, 0x80),
            withBits(clock.hours, 0xC0)};
}

void put(BYTE* at, const Pack& pack) { std::copy(pack.begin(), pack.end(), at); }

// Sets or clears bits of the first two data bytes of a pack, where it stands.
void change(BYTE* pack, BYTE header, size_t byte, BYTE mask, int value) {
    if (pack[0] == header) pack[1 + byte] = static_cast<BYTE>((pack[1 + byte] & ~mask) | value);
}

// The second half of a track gives its last sync blocks to the recording date.
void stampSubcode(BYTE* sequence, bool secondHalf, const DvStamp& stamp) {
    for (size_t i = 0; i < kSyncBlocks; ++i) {
        BYTE* const pack = sequence + kBlock * (1 + i / 6) + 6 + 8 * (i % 6);
        const bool isDate = secondHalf && i % 6 == 4, isClock = secondHalf && i % 6 == 5;
        if (isDate && stamp.recorded) put(pack, datePack(kVideoDatePack, stamp.recorded->first));
        if (isClock && stamp.recorded) put(pack, clockPack(kVideoClockPack, stamp.recorded->second));
        if (!isDate && !isClock && stamp.label) put(pack, labelPack(*stamp.label));
    }
}

void stampSequence(BYTE* sequence, bool odd, DvSystem system, const DvStamp& stamp) {
    BYTE* const video = sequence + kVideoSource[odd ? 1 : 0];
    BYTE* const audio = sequence + kAudioSource[odd ? 1 : 0] + 3;
    if (stamp.recorded) {
        const auto& [date, clock] = *stamp.recorded;
        put(video + 10, datePack(kVideoDatePack, date));
        put(video + 15, clockPack(kVideoClockPack, clock));
        put(audio + 2 * kNextAudio, datePack(kAudioDatePack, date));
        put(audio + 3 * kNextAudio, clockPack(kAudioClockPack, clock));
    }
    if (stamp.recordingStart) { // marked by a zero
        const int bit = *stamp.recordingStart ? 0 : 0x80;
        change(video + 5, kVideoControlPack, 1, 0x80, bit);
        change(audio + kNextAudio, kAudioControlPack, 1, 0x80, bit);
    }
    if (stamp.soundSamples) {
        const int least = system == DvSystem::Pal ? 1896 : 1580;
        change(audio, kAudioSourcePack, 0, 0x3F, *stamp.soundSamples - least);
    }
}

} // namespace

bool isValidStamp(const DvStamp& stamp, DvSystem system) {
    if (stamp.label && readLabelPack(packWord(labelPack(*stamp.label).data()), system) != stamp.label)
        return false;
    if (stamp.recorded) {
        const auto& [date, clock] = *stamp.recorded;
        if (readDatePack(packWord(datePack(0, date).data())) != date) return false;
        if (readClockPack(packWord(clockPack(0, clock).data())) != clock) return false;
    }
    if (!stamp.soundSamples) return true;
    const bool pal = system == DvSystem::Pal;
    return *stamp.soundSamples >= (pal ? 1896 : 1580) && *stamp.soundSamples <= (pal ? 1944 : 1620);
}

bool stampDvFrame(std::span<BYTE> frame, const DvStamp& stamp) {
    const DvSystem system = frame.size() == dvFrameBytes(DvSystem::Pal) ? DvSystem::Pal : DvSystem::Ntsc;
    if (frame.size() != dvFrameBytes(system) || !isValidStamp(stamp, system)) return false;
    const size_t sequences = frame.size() / kSequence;
    for (size_t i = 0; i < sequences; ++i) {
        BYTE* const sequence = frame.data() + i * kSequence;
        stampSubcode(sequence, i >= sequences / 2, stamp);
        stampSequence(sequence, i % 2 != 0, system, stamp);
    }
    return true;
}

} // namespace qv
