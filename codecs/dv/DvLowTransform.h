// The transforms of the small sizes: a few values of a block to its few samples.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "codecs/dv/DvEntropy.h"
#include "codecs/dv/DvTables.h"

namespace qv::dv {

// Factors in 1/65536 of the values of a quarter-size block, by transform and step row, in the order of LowValues.
struct LowFactors {
    alignas(16) std::array<std::array<std::array<std::int32_t, 8>, kStepRows>, 2> at{};
    constexpr LowFactors() {
        const double norm = 0.5 * kCos[4]; // of the DC value in the other direction
        // Means of the cosines 1 and 3 over half a block: over four samples, or over two line pairs of a
        // field.
        const double four1 = (kCos[1] + kCos[3] + kCos[5] + kCos[7]) / 8;
        const double four3 = (kCos[3] - kCos[7] - kCos[1] - kCos[5]) / 8;
        const double two1 = (kCos[2] + kCos[6]) / 4;
        const double two3 = (kCos[6] - kCos[2]) / 4;
        for (std::size_t mode = 0; mode < 2; ++mode) {
            const double across = four1 / kWeight[1];
            const double across3 = four3 / kWeight[3];
            const double down = mode ? two1 / kWeight[2] : across;
            const double down3 = mode ? two3 / kWeight[6] : across3;
            for (std::size_t row = 0; row < kStepRows; ++row) {
                const auto fixed = [&](double factor, int area) {
                    return static_cast<std::int32_t>(65536 * factor *
                                                     (2 << (kStepShift[row % 22][area] + row / 22)));
                };
                at[mode][row] = {fixed(across * norm, 0),
                                 fixed(down * norm, 0),
                                 fixed(across * down, mode ? 1 : 0),
                                 1 << 15,
                                 fixed(across3 * norm, 1),
                                 fixed(down3 * norm, 1)};
            }
        }
    }
};
inline constexpr LowFactors kLowFactors;

inline std::uint8_t sampleOf(int value) { return static_cast<std::uint8_t>(std::clamp(value, 0, 255)); }

// What is added for middle grey and rounding.
inline constexpr std::int32_t kLowGrey = (128 << 16) + (1 << 15);

// A quarter of the size, the plain version: the 2 x 2 samples of one block, row after row.
inline void transformLowPlain(const LowValues& values, std::uint8_t* out) {
    const auto& factors = kLowFactors.at[values.kind.fieldMode][values.kind.step];
    const int middle = kLowGrey + values.dc * factors[3];
    const int across = values.across * factors[0] + values.thirdAcross * factors[4];
    const int down = values.down * factors[1] + values.thirdDown * factors[5];
    const int both = values.both * factors[2];
    out[0] = sampleOf((middle + across + down + both) >> 16);
    out[1] = sampleOf((middle - across + down - both) >> 16);
    out[2] = sampleOf((middle + across - down - both) >> 16);
    out[3] = sampleOf((middle - across - down + both) >> 16);
}

// The fast version, for a whole macroblock: two rows of four luma blocks; two rows of Cr and Cb, each two samples.
struct LowSamples {
    std::array<std::uint8_t, 16> luma;
    std::array<std::uint8_t, 8> colour;
};
void transformLow(const std::array<LowValues, 6>& values, LowSamples& out);

// An eighth: the one sample of a block.
inline std::uint8_t transformDc(std::int16_t dc) { return sampleOf((257 + dc) >> 1); }

} // namespace qv::dv
