#include "qvlibs/timecode/DvMetadata.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/timecode/DvPacks.h"

#include <atomic>
#include <optional>

namespace {

constexpr int kSequence = 12000;

// -1 while not read. A stored value of all bits is read again each time, with the same answer.
constinit std::atomic<int> systemInfo{-1};

int frameBytes() { return QVIsPal() ? 12 * kSequence : 10 * kSequence; }

// A pack of five bytes in its places: one here and one every `stride` bytes.
struct Place {
    int start;
    int stride;
};

// Flags and unused bits are left out, so that two packs which differ in them are the same reading.
constexpr DWORD kTimeBits = qv::kLabelPackBits & ~qv::kDropFrameBit;

constexpr int kMissesAllowed = 11;

// Copies of one pack differ where the tape was damaged: a reading is trusted when it is seen twice within
// three different ones.
std::optional<DWORD> findPack(const BYTE* frame, Place place, BYTE header, DWORD mask) {
    const int size = frameBytes();
    std::optional<DWORD> newest, older;
    int misses = 0, visits = size / place.stride;
    for (int at = place.start; at < size && visits > 0; at += place.stride, --visits) {
        if (frame[at] != header) {
            if (++misses > kMissesAllowed) return std::nullopt;
            continue;
        }
        const DWORD reading = qv::packWord(frame + at) & mask;
        if (reading == newest || reading == older) return reading;
        older = newest;
        newest = reading;
    }
    return newest;
}

int bits(DWORD word, int shift, int count) { return static_cast<int>(word >> shift & ((1u << count) - 1)); }

// A BCD number whose units start at `shift`, with so many bits of tens above them.
int bcd(DWORD word, int shift, int tensBits) {
    return bits(word, shift, 4) + 10 * bits(word, shift + 4, tensBits);
}

struct Clock {
    int h, m, s, f;
    explicit Clock(DWORD word)
        : h(bcd(word, 24, 2)), m(bcd(word, 16, 3)), s(bcd(word, 8, 3)), f(bcd(word, 0, 2)) {}
};

bool readTimecode(const BYTE* frame, CQVTimecode& timecode) {
    const auto word = findPack(frame, {110, kSequence}, qv::kLabelPack, kTimeBits);
    if (!word) return false;
    const Clock clock(*word);
    return clock.h < 24 && clock.m < 60 && clock.s < 60 && clock.f <= (QVIsPal() ? 24 : 29) &&
           timecode.SetTime(clock.h, clock.m, clock.s, clock.f) == QV_OK;
}

// In the VAUX data, and where that has none, in the subcode of sequence 5. On purpose each source is searched
// only when its first place holds the pack (DvMetadata.ASourceIsSearchedOnlyFromAFirstHit).
std::optional<DWORD> findInEitherSource(const BYTE* frame, int vaux, int subcode, BYTE header, DWORD mask) {
    std::optional<DWORD> word;
    if (frame[vaux] == header) word = findPack(frame, {vaux, 2 * kSequence}, header, mask);
    if (!word && frame[subcode] == header) word = findPack(frame, {subcode, 2 * kSequence}, header, mask);
    return word;
}

bool readDate(const BYTE* frame, CQVTimecode& recorded) {
    const auto word = findInEitherSource(frame, 458, 60118, qv::kVideoDatePack, qv::kDatePackBits);
    if (!word) return false;
    const int year = bcd(*word, 24, 4);
    // On purpose unchecked: an impossible date counts as found and leaves the old one
    // (DvMetadata.AnImpossibleDateCountsAsFound).
    recorded.SetDate(year < 90 ? 2000 + year : 1900 + year, bcd(*word, 16, 1), bcd(*word, 8, 2));
    return true;
}

bool readTime(const BYTE* frame, CQVTimecode& recorded) {
    const auto word = findInEitherSource(frame, 463, 60126, qv::kVideoClockPack, kTimeBits);
    if (!word) return false;
    const Clock clock(*word);
    const bool noFrame = bits(*word, 0, 6) == 0x3F;
    recorded.SetTime(clock.h, clock.m, clock.s, noFrame ? 0 : clock.f);
    return true;
}

// The first data byte of a pack in its one place.
void readFirstByte(const BYTE* frame, int at, BYTE header, ULONG* value) {
    if (value) *value = frame[at] == header ? frame[at + 1] : 0;
}

ULONG trackNumberOf(const BYTE* frame) {
    ULONG number = 0;
    for (const int at : {99, 91, 83}) {
        number = number << 8 | (frame[at] & 0x0Fu) << 4 | frame[at + 1] >> 4;
    }
    return number;
}

} // namespace

int QVIsPal() {
    int value = systemInfo.load(std::memory_order_relaxed);
    if (value == -1) {
        value = static_cast<int>(QVGetProfileInt("Common", "SystemInfo", 0));
        systemInfo.store(value, std::memory_order_relaxed);
    }
    return value & 1;
}

int QVTLIsDropFrame(CQVTimecode& tc) {
    QVTL_TRACE();
    if (QVIsPal()) return 0;
    int h = 0, m = 0, s = 0, f = 0;
    tc.GetTime(&h, &m, &s, &f);
    return m % 10 != 0 && s == 0 && (f == 0 || f == 1) ? 1 : 0;
}

int QVTLMoveDropFrame(CQVTimecode& tc, int direction) {
    QVTL_TRACE();
    if (!QVTLIsDropFrame(tc)) return 0;
    if (direction == 1)
        tc += 2 - tc.GetFrame();
    else
        tc -= 1 + tc.GetFrame();
    return 1;
}

ULONG QVTLDIF2Timecode(unsigned char* frame, CQVTimecode* timecode, CQVTimecode* recorded, ULONG* trackNumber,
                       ULONG* vauxSource, ULONG* vauxSourceControl, ULONG* aauxSource,
                       ULONG* aauxSourceControl) {
    QVTL_TRACE();
    if (!frame) return QV_FAILED;
    constexpr ULONG kTimecodeMissing = 0x801, kRecordingMissing = 0x802;
    if (trackNumber) *trackNumber = trackNumberOf(frame);
    const bool hasTimecode = timecode && readTimecode(frame, *timecode);
    readFirstByte(frame, 48448, qv::kVideoSourcePack, vauxSource);
    readFirstByte(frame, 48453, qv::kVideoControlPack, vauxSourceControl);
    bool hasDate = false, hasTime = false;
    if (recorded) {
        hasDate = readDate(frame, *recorded);
        hasTime = readTime(frame, *recorded);
        if (!hasDate && !hasTime) recorded->SetTime(0, TCMODE_DEFAULT);
    }
    readFirstByte(frame, 12483, qv::kAudioSourcePack, aauxSource);
    readFirstByte(frame, 13763, qv::kAudioControlPack, aauxSourceControl);

    const ULONG result = hasTimecode ? QV_OK : kTimecodeMissing;
    if (hasDate && hasTime) return result;
    // On purpose: without a recording date, midnight on the tape is more likely a missing timecode
    // (DvMetadata.ResultSaysWhatIsMissing).
    const bool isZero = hasTimecode && timecode->TotalFrame(TCMODE_DEFAULT) == 0;
    return result | kRecordingMissing | (isZero ? kTimecodeMissing : QV_OK);
}
