#include "codecs/dv/DvCompleteFrame.h"

#include <array>
#include <cstring>

namespace qv::dv {
namespace {

using Pack = std::array<std::uint8_t, 5>;
constexpr Pack kNoInformation = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

void put(std::uint8_t* at, const Pack& pack) { std::memcpy(at, pack.data(), pack.size()); }

// Six sync blocks of 8 bytes in each of the two subcode blocks: an ID and a pack.
void writeSubcode(std::uint8_t* sequence, bool secondHalf) {
    constexpr Pack kTimeZero = {0x13, 0, 0, 0, 0};
    for (std::size_t block = 0; block < 2; ++block) {
        std::uint8_t* id = sequence + (1 + block) * kDifBlockBytes + 3;
        std::memset(id, 0xFF, 77);
        for (std::size_t i = 0; i < 6; ++i, id += 8) {
            const std::size_t number = 6 * block + i;
            // First-half flag, application 0 (7 in the last one: none), no absolute track number.
            id[0] = static_cast<std::uint8_t>((secondHalf ? 0 : 0x80) | (number == 11 ? 0x7F : 0x0F));
            id[1] = static_cast<std::uint8_t>(0xF0 | number);
            // The last two of each block are for the recording's date and time.
            if (i < 4) put(id + 3, kTimeZero);
        }
    }
}

void completeVideoPacks(std::uint8_t* sequence, bool odd) {
    // Main places: the first two packs of the first block in odd sequences, packs 9 and 10 of the third one
    // in even sequences. Encoders that fill in more repeat the same two there.
    std::uint8_t* const area = sequence + 3 * kDifBlockBytes;
    const std::size_t main = odd ? 3 : 2 * kDifBlockBytes + 3 + 9 * 5;
    std::array<std::uint8_t, 10> packs;
    std::memcpy(packs.data(), area + main, packs.size());
    for (std::size_t block = 0; block < 3; ++block) std::memset(area + block * kDifBlockBytes + 3, 0xFF, 77);
    std::memcpy(area + main, packs.data(), packs.size());
}

void writeSilence(std::uint8_t* sequence, const FrameLayout& layout, bool odd) {
    // Sizes count from the least number of samples a frame can have, 1580 or 1896: here 1602 and 1920.
    const std::uint8_t extra = layout.pal() ? 24 : 22;
    const auto system = static_cast<std::uint8_t>(layout.pal() ? 0x20 : 0);
    const Pack source = {0x50, static_cast<std::uint8_t>(0xC0 | extra), 0,
                         static_cast<std::uint8_t>(0xC0 | system), 0x80};
    // Free to copy, no recording starts or ends here, forward at normal speed, no genre.
    constexpr Pack control = {0x51, 0x3F, 0xCF, 0xA0, 0xFF};
    const int first = odd ? 0 : 3; // audio block of the source pack; the control pack is in the next one
    for (int block = 0; block < 9; ++block) {
        std::uint8_t* audio = sequence + (6 + 16 * static_cast<std::size_t>(block)) * kDifBlockBytes + 3;
        put(audio, block == first ? source : block == first + 1 ? control : kNoInformation);
        std::memset(audio + 5, 0, 72);
    }
}

} // namespace

void completeFrame(std::uint8_t* dif, const FrameLayout& layout) {
    for (int i = 0; i < layout.sequences; ++i) {
        std::uint8_t* sequence = dif + static_cast<std::size_t>(i) * kDifSequenceBytes;
        // The application of the track, of sound, video and subcode: consumer recording in all four.
        for (std::size_t at = 4; at < 8; ++at) sequence[at] &= 0xF8;
        writeSubcode(sequence, i >= layout.sequences / 2);
        completeVideoPacks(sequence, i % 2);
        writeSilence(sequence, layout, i % 2);
    }
}

} // namespace qv::dv
