#include "codecs/dv/DvSound.h"

#include "codecs/dv/DvLayout.h"

#include <algorithm>
#include <iterator>

namespace qv {
namespace {

constexpr size_t kFirstSound = 6; // block of the first sound block
constexpr size_t kSoundStep = 16; // blocks from one sound block to the next
constexpr size_t kPack = 3;       // where the pack stands in a sound block
constexpr size_t kSamplesAt = 8;  // where the samples begin in a sound block
constexpr std::uint8_t kSourcePack = 0x50;

constexpr size_t soundBlock(size_t sequence, size_t block) {
    return sequence * dv::kDifSequenceBytes + (kFirstSound + block * kSoundStep) * dv::kDifBlockBytes;
}

constexpr size_t sequencesOf(bool pal) { return pal ? 12 : 10; }

// The pack that describes the sound stands in the fourth sound block of even sequences and in the first of
// odd ones; any of the first channel's sequences will do.
const std::uint8_t* findSourcePack(const std::uint8_t* frame, bool pal) {
    for (size_t sequence = 0; sequence < sequencesOf(pal) / 2; ++sequence) {
        const std::uint8_t* pack = frame + soundBlock(sequence, sequence % 2 == 0 ? 3 : 0) + kPack;
        if (pack[0] == kSourcePack) return pack;
    }
    return nullptr;
}

struct Rate {
    std::uint32_t rate;
    size_t fewest[2]; // samples of the shortest frame: NTSC, PAL
};
constexpr Rate kRates[] = {
    {48000, {1580, 1896}},
    {44100, {1452, 1742}},
    {32000, {1053, 1264}},
};

// 12 bits hold 16 by steps that grow with the level.
std::int16_t expand12(unsigned code) {
    if (code == 0x800) return 0; // lost
    const int value = code < 0x800 ? static_cast<int>(code) : static_cast<int>(code) - 0x1000;
    const int step = static_cast<int>(code >> 8);
    if (step < 2 || step > 13) return static_cast<std::int16_t>(value);
    if (step < 8) return static_cast<std::int16_t>((value - 256 * (step - 1)) * (1 << (step - 1)));
    const int down = 14 - step;
    return static_cast<std::int16_t>((value + 256 * down + 1) * (1 << down) - 1);
}

std::int16_t sample16(const std::uint8_t* at) {
    const unsigned code = static_cast<unsigned>(at[0]) << 8 | at[1];
    return code == 0x8000 ? std::int16_t{0} : static_cast<std::int16_t>(code); // 0x8000: lost
}

} // namespace

std::optional<DvSound> findDvSound(const std::uint8_t* frame, bool pal) {
    const std::uint8_t* pack = findSourcePack(frame, pal);
    if (!pack) return std::nullopt;
    const unsigned rate = pack[4] >> 3 & 7;
    const unsigned coding = pack[4] & 7; // 0: 16 bits, 1: 12 bits
    if (rate >= std::size(kRates) || coding > 1) return std::nullopt;
    DvSound sound;
    sound.rate = kRates[rate].rate;
    sound.is12Bit = coding == 1;
    const size_t perByte = pal ? 54 : 45;
    const size_t room = perByte * (sound.is12Bit ? 24 : 36);
    sound.samples = std::min(kRates[rate].fewest[pal] + (pack[1] & 0x3F), room);
    return sound;
}

// Sample n of a channel lies in sequence (n/3 + 2(n mod 3)) of the channel's half, in sound block
// 3(n mod 3) + (n/15 or n/18) of the group, and one place further for each group of 45 or 54. In 16 bits each
// channel has half of the sequences; in 12 bits the first half holds the first pair, three bytes a pair.
void readDvSound(const std::uint8_t* frame, bool pal, const DvSound& sound, std::int16_t* pairs) {
    const size_t half = sequencesOf(pal) / 2;
    const size_t group = 9 * half;
    for (size_t n = 0; n < sound.samples; ++n) {
        const size_t sequence = (n / 3 + 2 * (n % 3)) % half;
        const size_t block = 3 * (n % 3) + n % group / (3 * half);
        if (sound.is12Bit) {
            const std::uint8_t* at = frame + soundBlock(sequence, block) + kSamplesAt + 3 * (n / group);
            pairs[2 * n] = expand12(static_cast<unsigned>(at[0]) << 4 | at[2] >> 4);
            pairs[2 * n + 1] = expand12(static_cast<unsigned>(at[1]) << 4 | (at[2] & 15));
        } else {
            const size_t place = kSamplesAt + 2 * (n / group);
            pairs[2 * n] = sample16(frame + soundBlock(sequence, block) + place);
            pairs[2 * n + 1] = sample16(frame + soundBlock(sequence + half, block) + place);
        }
    }
}

std::uint64_t dvSamplesBefore(std::uint64_t frame, std::uint32_t rate, bool pal) {
    const std::uint64_t scale = pal ? 1 : 1001;
    const std::uint64_t frames = pal ? 25 : 30000;
    return frame * rate * scale / frames;
}

} // namespace qv
