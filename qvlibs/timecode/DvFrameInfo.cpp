#include "qvlibs/timecode/DvFrameInfo.h"

#include "qvlibs/timecode/DvPacks.h"
#include "qvlibs/timecode/LabelRules.h"
#include "qvlibs/timecode/PackVote.h"

#include <algorithm>

namespace qv {

namespace {

constexpr int kBlock = 80, kBlocksOfSequence = 150, kSequence = kBlock * kBlocksOfSequence;

enum Section : int { Header = 0, Subcode = 1, Vaux = 2, Audio = 3, Video = 4 };

// The place of each block in a sequence: header, 2 subcode, 3 VAUX, then nine times one audio and 15 video.
struct BlockAddress {
    BYTE first;  // high half of the first address byte
    BYTE number; // third address byte
    BYTE section;
};
constexpr auto kAddresses = [] {
    std::array<BlockAddress, kBlocksOfSequence> table{};
    const auto set = [&](int block, int section, int number) {
        table[static_cast<size_t>(block)] = {static_cast<BYTE>(section << 5 | 0x10),
                                             static_cast<BYTE>(number), static_cast<BYTE>(section)};
    };
    set(0, Header, 0);
    for (int i = 0; i < 2; ++i) set(1 + i, Subcode, i);
    for (int i = 0; i < 3; ++i) set(3 + i, Vaux, i);
    for (int group = 0; group < 9; ++group) {
        set(6 + 16 * group, Audio, group);
        for (int i = 0; i < 15; ++i) set(7 + 16 * group + i, Video, 15 * group + i);
    }
    return table;
}();

bool isInPlace(const BYTE* block, const BlockAddress& address, int sequence) {
    return (block[0] & 0xF0) == address.first && block[1] >> 4 == sequence && block[2] == address.number;
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
        : timecode(system == DvSystem::Pal ? kLabelPackBits & ~0x40u : kLabelPackBits) {}

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

void countBlocks(const BYTE* sequence, int number, Votes& votes, DvFrameInfo& info) {
    for (int i = 0; i < kBlocksOfSequence; ++i) {
        const BYTE* block = sequence + i * kBlock;
        const BlockAddress& address = kAddresses[static_cast<size_t>(i)];
        if (!isInPlace(block, address, number)) {
            ++info.missing;
            continue;
        }
        switch (address.section) {
        case Video: info.damagedVideo += block[3] >> 4 != 0; break;
        case Audio: {
            votes.take(block + 3);
            // The lost-sample code, as 16-bit and as 12-bit samples.
            constexpr BYTE kLost16[] = {0x80, 0, 0x80, 0, 0x80, 0, 0x80, 0};
            constexpr BYTE kLost12[] = {0x80, 0x80, 0, 0x80, 0x80, 0, 0x80, 0x80};
            const BYTE* samples = block + 8;
            info.damagedAudio +=
                std::equal(kLost16, kLost16 + 8, samples) || std::equal(kLost12, kLost12 + 8, samples);
            break;
        }
        case Vaux:
            for (int pack = 0; pack < 15; ++pack) votes.take(block + 3 + 5 * pack);
            break;
        case Subcode:
            for (int sync = 0; sync < 6; ++sync) votes.take(block + 6 + 8 * sync);
            break;
        default: votes.application.add(block[4]); break;
        }
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
        if (!isInPlace(block, kAddresses[0], i)) continue;
        ++headers;
        pal += block[3] >> 7;
    }
    if (!headers || pal * 2 == headers) return std::nullopt;
    return pal * 2 > headers ? DvSystem::Pal : DvSystem::Ntsc;
}

bool startsDvFrame(std::span<const BYTE> bytes) {
    return bytes.size() >= 3 && isInPlace(bytes.data(), kAddresses[0], 0);
}

} // namespace qv
