#include "qvlibs/timecode/DvFrameInfo.h"

#include "qvlibs/timecode/DvPacks.h"
#include "qvlibs/timecode/LabelRules.h"
#include "qvlibs/timecode/PackVote.h"

#include <algorithm>
#include <cstring>

namespace qv {

namespace {

constexpr int kBlock = 80, kBlocksOfSequence = 150, kSequence = kBlock * kBlocksOfSequence;

enum Section : int { Header = 0, Subcode = 1, Vaux = 2, Audio = 3, Video = 4 };

// The first four bytes of a block, the first in the low byte: section, sequence, number in the section, and of a
// picture block the error status. These bits of them say where in the frame the block belongs.
constexpr DWORD kAddressBits = 0x00FFF0F0, kStatusBits = 0xF0000000;

constexpr DWORD addressOf(Section section, int number) {
    return static_cast<DWORD>(section << 5 | 0x10) | static_cast<DWORD>(number) << 16;
}
constexpr DWORD sequenceBits(int sequence) { return static_cast<DWORD>(sequence) << 12; }

DWORD firstWord(const BYTE* block) {
    return DWORD{block[0]} | DWORD{block[1]} << 8 | DWORD{block[2]} << 16 | DWORD{block[3]} << 24;
}

bool isInPlace(const BYTE* block, Section section, int number, int sequence) {
    return ((firstWord(block) ^ (addressOf(section, number) | sequenceBits(sequence))) & kAddressBits) == 0;
}

constexpr DWORD kAllBits = 0xFFFFFFFF;

// What the copies of a frame add up to.
struct Votes {
    PackVote timecode;
    PackVote videoDate{kDatePackBits}, audioDate{kDatePackBits};
    PackVote videoTime{kClockPackBits}, audioTime{kClockPackBits};
    // Of these only a few bits are read, but all must agree: bits of noise agree easily, words of it do not.
    PackVote videoControl{kAllBits}, audioControl{kAllBits}, audioSource{kAllBits};
    PackVote application{0x00000007};

    // Frames, seconds, minutes, hours; in NTSC the drop-frame flag as well.
    explicit Votes(DvSystem system)
        : timecode(system == DvSystem::Pal ? kLabelPackBits & ~kDropFrameBit : kLabelPackBits) {}

    void take(const BYTE* pack) {
        switch (pack[0]) {
        case kLabelPack: timecode.add(packWord(pack)); break;
        case kAudioSourcePack: audioSource.add(packWord(pack)); break;
        case kAudioControlPack: audioControl.add(packWord(pack)); break;
        case kAudioDatePack: audioDate.add(packWord(pack)); break;
        case kAudioClockPack: audioTime.add(packWord(pack)); break;
        case kVideoControlPack: videoControl.add(packWord(pack)); break;
        case kVideoDatePack: videoDate.add(packWord(pack)); break;
        case kVideoClockPack: videoTime.add(packWord(pack)); break;
        default: break;
        }
    }
};

// The winner of a vote. `read` gives the value of a word, or nothing when it is impossible; words that differ
// may give the same value. `blankWord`: what a blank pack looks like under the mask, where that is no value.
// `isClean`: the frame has no damage that shows, so that even a sole copy is a witness.
template <class Value, class Read>
DvField<Value> elect(const PackVote& vote, bool isClean, Read read,
                     std::optional<DWORD> blankWord = std::nullopt) {
    struct Candidate {
        Value value;
        int votes;
    };
    std::array<Candidate, PackVote::kRows> candidates;
    size_t count = 0;
    int blank = vote.blank();
    for (const auto& row : vote) {
        if (row.word == blankWord) blank += row.votes;
    }
    const int written = vote.copies() - blank;
    for (const auto& row : vote) {
        if (row.word == blankWord || (row.votes == 1 && (written > 1 || !isClean))) continue;
        if (const std::optional<Value> value = read(row.word)) {
            const auto end = candidates.begin() + static_cast<std::ptrdiff_t>(count);
            const auto same =
                std::find_if(candidates.begin(), end, [&](auto& c) { return c.value == *value; });
            if (same != end)
                same->votes += row.votes;
            else
                candidates[count++] = {*value, row.votes};
        }
    }
    const auto more = [](const Candidate& a, const Candidate& b) { return a.votes > b.votes; };
    std::stable_sort(candidates.begin(), candidates.begin() + static_cast<std::ptrdiff_t>(count), more);
    const int best = count ? candidates[0].votes : 0;
    const int second = count > 1 ? candidates[1].votes : 0;
    DvField<Value> field;
    if (!vote.copies()) {
        field.unknown = DvUnknown::Absent;
    } else if (blank > best) {
        field.unknown = DvUnknown::Empty;
    } else if (!count) {
        field.unknown = DvUnknown::Impossible;
    } else if (best == second) {
        field.unknown = DvUnknown::Disputed;
    } else {
        field.unknown = DvUnknown::Known;
        field.value = candidates[0].value;
        field.confidence = static_cast<float>(best) / static_cast<float>(written);
    }
    return field;
}

// The code for lost samples where there should be sound, as 16-bit and as 12-bit samples.
bool isLostSound(const BYTE* block) {
    constexpr BYTE kLost16[] = {0x80, 0, 0x80, 0, 0x80, 0, 0x80, 0};
    constexpr BYTE kLost12[] = {0x80, 0x80, 0, 0x80, 0x80, 0, 0x80, 0x80};
    return std::memcmp(block + 8, kLost16, 8) == 0 || std::memcmp(block + 8, kLost12, 8) == 0;
}

// The 15 picture blocks behind a sound block. They are nine tenths of a tape and nearly always whole, so all are looked
// at together before any is.
void countPicture(const BYTE* blocks, int group, int sequence, DvFrameInfo& info) {
    const DWORD first = addressOf(Video, 15 * group) | sequenceBits(sequence);
    const auto wrongOf = [&](DWORD i) { return firstWord(blocks + i * kBlock) ^ (first + (i << 16)); };
    DWORD anyWrong = 0;
    for (DWORD i = 0; i < 15; ++i) anyWrong |= wrongOf(i);
    if ((anyWrong & (kAddressBits | kStatusBits)) == 0) return;
    for (DWORD i = 0; i < 15; ++i) {
        const bool isMissing = (wrongOf(i) & kAddressBits) != 0;
        info.missing += isMissing;
        info.damagedVideo += !isMissing && (wrongOf(i) & kStatusBits) != 0;
    }
}

// Header, two subcode and three VAUX blocks, then nine times one block of sound and 15 of picture.
void countBlocks(const BYTE* sequence, int number, Votes& votes, DvFrameInfo& info) {
    const auto isThere = [&](const BYTE* block, Section section, int i) {
        const bool there = isInPlace(block, section, i, number);
        info.missing += !there;
        return there;
    };
    if (isThere(sequence, Header, 0)) votes.application.add(sequence[4]);
    for (int i = 0; i < 2; ++i) {
        const BYTE* block = sequence + (1 + i) * kBlock;
        if (!isThere(block, Subcode, i)) continue;
        for (int sync = 0; sync < 6; ++sync) votes.take(block + 6 + 8 * sync);
    }
    for (int i = 0; i < 3; ++i) {
        const BYTE* block = sequence + (3 + i) * kBlock;
        if (!isThere(block, Vaux, i)) continue;
        for (int pack = 0; pack < 15; ++pack) votes.take(block + 3 + 5 * pack);
    }
    for (int group = 0; group < 9; ++group) {
        const BYTE* block = sequence + (6 + 16 * group) * kBlock;
        countPicture(block + kBlock, group, number, info);
        if (!isThere(block, Audio, group)) continue;
        votes.take(block + 3);
        info.damagedAudio += isLostSound(block);
    }
}

template <class Value>
DvField<Value> firstKnown(DvField<Value> a, DvField<Value> b) {
    return a.value || !b.value ? a : b;
}

std::optional<bool> flagIsClear(DWORD word, int bit) { return (word >> bit & 1) == 0; }

} // namespace

LONG dvLabelsOfDay(bool dropFrame, DvSystem system) {
    return system == DvSystem::Pal ? 24 * 90000 : dropFrame ? 24 * 107892 : 24 * 108000;
}

LONG dvLabelCount(const DvLabel& label, DvSystem system) {
    const int seconds = label.hours * 3600 + label.minutes * 60 + label.seconds;
    const auto dropped = label.dropFrame ? droppedLabels(label.hours, label.minutes) : 0;
    return low32(std::int64_t{seconds} * (system == DvSystem::Pal ? 25 : 30) - dropped + label.frames);
}

DvLabel dvLabelOf(std::int64_t count, bool dropFrame, DvSystem system) {
    const LONG day = dvLabelsOfDay(dropFrame, system);
    LONG n = static_cast<LONG>((count % day + day) % day);
    if (dropFrame) { // back to a plain count by putting in the labels left out
        const LONG tens = n / 17982, rest = n % 17982;
        n += 18 * tens + (rest > 1 ? 2 * ((rest - 2) / 1798) : 0);
    }
    const LONG rate = system == DvSystem::Pal ? 25 : 30;
    return {n / rate / 3600, n / rate / 60 % 60, n / rate % 60, n % rate, dropFrame};
}

std::int64_t dvClockSeconds(const DvDate& date, const DvClock& clock) {
    // Days since 1970 by the usual count of years that start in March.
    const std::int64_t year = date.year - (date.month <= 2 ? 1 : 0);
    const std::int64_t day = (153 * (date.month + (date.month > 2 ? -3 : 9)) + 2) / 5 + date.day - 1;
    const std::int64_t days = year * 365 + year / 4 - year / 100 + year / 400 + day - 719468;
    return ((days * 24 + clock.hours) * 60 + clock.minutes) * 60 + clock.seconds;
}

std::optional<DvFrameInfo> readDvFrame(std::span<const BYTE> frame) {
    DvFrameInfo info;
    if (frame.size() == dvFrameBytes(DvSystem::Pal))
        info.system = DvSystem::Pal;
    else if (frame.size() != dvFrameBytes(DvSystem::Ntsc))
        return std::nullopt;
    const int sequences = static_cast<int>(frame.size() / kSequence);
    info.blocks = sequences * kBlocksOfSequence;
    Votes votes(info.system);
    for (int i = 0; i < sequences; ++i) countBlocks(frame.data() + i * kSequence, i, votes, info);

    const bool isClean = info.missing + info.damagedVideo == 0;
    const auto system = info.system;
    info.timecode = elect<DvLabel>(
        votes.timecode, isClean, [system](DWORD word) { return readLabelPack(word, system); },
        votes.timecode.mask());
    // Sound may have been dubbed later: the picture's own date comes first.
    info.date = firstKnown(elect<DvDate>(votes.videoDate, isClean, readDatePack, votes.videoDate.mask()),
                           elect<DvDate>(votes.audioDate, isClean, readDatePack, votes.audioDate.mask()));
    info.time = firstKnown(elect<DvClock>(votes.videoTime, isClean, readClockPack, votes.videoTime.mask()),
                           elect<DvClock>(votes.audioTime, isClean, readClockPack, votes.audioTime.mask()));
    info.audio = elect<DvAudioMode>(votes.audioSource, isClean, readAudioModePack);
    const auto application =
        elect<DWORD>(votes.application, isClean, [](DWORD word) { return std::optional(word); });
    const bool isConsumer = !application || *application == 0;
    info.aspect = elect<DvAspect>(votes.videoControl, isClean,
                                  [isConsumer](DWORD word) { return readAspectPack(word, isConsumer); });
    // Both flags are set by a zero bit.
    info.recordingStart = firstKnown(
        elect<bool>(votes.audioControl, isClean, [](DWORD word) { return flagIsClear(word, 15); }),
        elect<bool>(votes.videoControl, isClean, [](DWORD word) { return flagIsClear(word, 15); }));
    info.recordingEnd =
        elect<bool>(votes.audioControl, isClean, [](DWORD word) { return flagIsClear(word, 14); });
    return info;
}

std::optional<DvSystem> dvSystemOf(std::span<const BYTE> frame) {
    int pal = 0, headers = 0;
    for (int i = 0; i < 10 && static_cast<size_t>(i + 1) * kSequence <= frame.size(); ++i) {
        const BYTE* block = frame.data() + i * kSequence;
        if (!isInPlace(block, Header, 0, i)) continue;
        ++headers;
        pal += block[3] >> 7;
    }
    if (!headers || pal * 2 == headers) return std::nullopt;
    return pal * 2 > headers ? DvSystem::Pal : DvSystem::Ntsc;
}

bool startsDvFrame(std::span<const BYTE> bytes) {
    return bytes.size() >= 3 && (bytes[0] & 0xF0) == 0x10 && bytes[1] >> 4 == 0 && bytes[2] == 0;
}

} // namespace qv
