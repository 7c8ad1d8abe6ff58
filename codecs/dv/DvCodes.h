// What the readers of blocks share: the look-up of codes, and the bits in front of them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "codecs/dv/DvEntropy.h"
#include "codecs/dv/DvTables.h"

// The body is built twice for x86: processors with BMI2 shift by a variable count in one operation.
#if defined(__x86_64__)
#define QVDV_BMI2 __attribute__((target("bmi,bmi2")))
#endif
#define QVDV_INLINE [[gnu::always_inline]] inline

namespace qv::dv {

// --- All codes. A code starts at the top of a 64-bit window. Those up to 10 bits (sign included) do not start
// with 11111 and are found by 10 bits; the others by the 11 bits after those five ones.
inline constexpr int kShortBits = 10;
inline constexpr std::uint64_t kLongFrom = std::uint64_t{0b11111} << 59;
inline constexpr std::size_t kShortCodes = std::size_t{1} << kShortBits;
inline constexpr std::size_t kLongCodes = std::size_t{1} << 11;

struct Code {
    std::int16_t level;
    std::uint8_t length;
    std::uint8_t advance; // the zeros and the level; 0: end of the block
};

struct CodeTable {
    std::array<Code, kShortCodes + kLongCodes> at{};

    constexpr void add(std::uint32_t bits, int length, int advance, int level) {
        const Code entry{static_cast<std::int16_t>(level), static_cast<std::uint8_t>(length),
                         static_cast<std::uint8_t>(advance)};
        const std::uint32_t first = bits << (16 - length);
        const std::uint32_t last = first + (1u << (16 - length)) - 1;
        const bool isLong = first >> 11 == 0b11111;
        const std::size_t begin = isLong ? kShortCodes + (first & 0x7FF) : first >> (16 - kShortBits);
        const std::size_t end = isLong ? kShortCodes + (last & 0x7FF) : last >> (16 - kShortBits);
        for (std::size_t i = begin; i <= end; ++i) at[i] = entry;
    }
    constexpr CodeTable() {
        for (const RunCode& code : kRunCodes) {
            const std::uint32_t signs = code.amplitude ? 2 : 1;
            for (std::uint32_t sign = 0; sign < signs; ++sign) {
                add(code.bits * signs + sign, code.length + static_cast<int>(signs) - 1, code.run + 1,
                    sign ? -code.amplitude : code.amplitude);
            }
        }
        for (std::uint32_t run = 0; run < 64; ++run) {
            add(kZerosEscape << 6 | run, 13, static_cast<int>(run) + 1, 0);
        }
        for (std::uint32_t level = 0; level < 512; ++level) {
            const int amplitude = static_cast<int>(level >> 1);
            add(kLevelEscape << 9 | level, 16, 1, level & 1 ? -amplitude : amplitude);
        }
        add(kEndOfBlock, kEndOfBlockLength, 0, 0);
    }
};
inline constexpr CodeTable kCodes;

// --- Blocks in the stream.
inline constexpr int kLumaBytes = 14;
inline constexpr int kColourBytes = 10;
inline constexpr int kHeaderBits = 12;

// Error codes of the status nibble: errors that the player could not hide. All others stand for data that can
// be used (0) or was replaced by the player (the even ones).
inline bool isDamaged(const std::uint8_t* block) {
    const int status = block[3] >> 4;
    const bool isVideo = block[0] >> 5 == 0b100;
    return !isVideo || status == 0x7 || status == 0xF;
}

inline std::uint64_t big64(const std::uint8_t* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return __builtin_bswap64(word);
}

// The DC value, the transform and the class are the first 12 bits of a block.
inline std::int16_t dcOf(std::uint64_t head) {
    return static_cast<std::int16_t>(static_cast<std::int64_t>(head) >> 55);
}
inline BlockKind kindOf(std::uint64_t head, int quantisation) {
    const unsigned blockClass = (head >> 52) & 3;
    return {.fieldMode = static_cast<std::uint8_t>((head >> 54) & 1),
            .step =
                static_cast<std::uint8_t>(quantisation + kClassOffset[blockClass] + (blockClass == 3) * 22)};
}

#ifdef QVDV_BMI2
inline bool hasBmi2() { return __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2"); }
#endif

} // namespace qv::dv
