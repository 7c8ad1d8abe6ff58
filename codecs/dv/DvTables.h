// The tables of 25 Mbit/s DV video (IEC 61834-2, SMPTE 314M): variable-length codes, scan orders, weights and
// quantisation steps. Data only.
#pragma once

#include <array>
#include <cstdint>

namespace qv::dv {

// --- The variable-length codes. A code stands for `run` zeros and one level `amplitude`; where the amplitude
// is not 0 the code is followed by a sign bit (1 = negative).
struct RunCode {
    std::uint16_t bits;
    std::uint8_t length; // without the sign
    std::uint8_t run;
    std::uint8_t amplitude;
};
inline constexpr RunCode kRunCodes[] = {
    {0b00, 2, 0, 1},
    {0b010, 3, 0, 2},
    {0b0111, 4, 1, 1},
    {0b1000, 4, 0, 3},
    {0b1001, 4, 0, 4},
    {0b10100, 5, 2, 1},
    {0b10101, 5, 1, 2},
    {0b10110, 5, 0, 5},
    {0b10111, 5, 0, 6},
    {0b110000, 6, 3, 1},
    {0b110001, 6, 4, 1},
    {0b110010, 6, 0, 7},
    {0b110011, 6, 0, 8},
    {0b1101000, 7, 5, 1},
    {0b1101001, 7, 6, 1},
    {0b1101010, 7, 2, 2},
    {0b1101011, 7, 1, 3},
    {0b1101100, 7, 1, 4},
    {0b1101101, 7, 0, 9},
    {0b1101110, 7, 0, 10},
    {0b1101111, 7, 0, 11},
    {0b11100000, 8, 7, 1},
    {0b11100001, 8, 8, 1},
    {0b11100010, 8, 9, 1},
    {0b11100011, 8, 10, 1},
    {0b11100100, 8, 3, 2},
    {0b11100101, 8, 4, 2},
    {0b11100110, 8, 2, 3},
    {0b11100111, 8, 1, 5},
    {0b11101000, 8, 1, 6},
    {0b11101001, 8, 1, 7},
    {0b11101010, 8, 0, 12},
    {0b11101011, 8, 0, 13},
    {0b11101100, 8, 0, 14},
    {0b11101101, 8, 0, 15},
    {0b11101110, 8, 0, 16},
    {0b11101111, 8, 0, 17},
    {0b111100000, 9, 11, 1},
    {0b111100001, 9, 12, 1},
    {0b111100010, 9, 13, 1},
    {0b111100011, 9, 14, 1},
    {0b111100100, 9, 5, 2},
    {0b111100101, 9, 6, 2},
    {0b111100110, 9, 3, 3},
    {0b111100111, 9, 4, 3},
    {0b111101000, 9, 2, 4},
    {0b111101001, 9, 2, 5},
    {0b111101010, 9, 1, 8},
    {0b111101011, 9, 0, 18},
    {0b111101100, 9, 0, 19},
    {0b111101101, 9, 0, 20},
    {0b111101110, 9, 0, 21},
    {0b111101111, 9, 0, 22},
    {0b1111100000, 10, 5, 3},
    {0b1111100001, 10, 3, 4},
    {0b1111100010, 10, 3, 5},
    {0b1111100011, 10, 2, 6},
    {0b1111100100, 10, 1, 9},
    {0b1111100101, 10, 1, 10},
    {0b1111100110, 10, 1, 11},
    {0b11111001110, 11, 0, 0},
    {0b11111001111, 11, 1, 0},
    {0b11111010000, 11, 6, 3},
    {0b11111010001, 11, 4, 4},
    {0b11111010010, 11, 3, 6},
    {0b11111010011, 11, 1, 12},
    {0b11111010100, 11, 1, 13},
    {0b11111010101, 11, 1, 14},
    {0b111110101100, 12, 2, 0},
    {0b111110101101, 12, 3, 0},
    {0b111110101110, 12, 4, 0},
    {0b111110101111, 12, 5, 0},
    {0b111110110000, 12, 7, 2},
    {0b111110110001, 12, 8, 2},
    {0b111110110010, 12, 9, 2},
    {0b111110110011, 12, 10, 2},
    {0b111110110100, 12, 7, 3},
    {0b111110110101, 12, 8, 3},
    {0b111110110110, 12, 4, 5},
    {0b111110110111, 12, 3, 7},
    {0b111110111000, 12, 2, 7},
    {0b111110111001, 12, 2, 8},
    {0b111110111010, 12, 2, 9},
    {0b111110111011, 12, 2, 10},
    {0b111110111100, 12, 2, 11},
    {0b111110111101, 12, 1, 15},
    {0b111110111110, 12, 1, 16},
    {0b111110111111, 12, 1, 17},
};
inline constexpr std::uint32_t kEndOfBlock = 0b0110;
inline constexpr int kEndOfBlockLength = 4;
// 1111110 and six bits: that many zeros and a level 0. 1111111, eight bits and the sign: a level without
// zeros.
inline constexpr std::uint32_t kZerosEscape = 0b1111110;
inline constexpr std::uint32_t kLevelEscape = 0b1111111;

// --- Order of the 64 coefficients in the stream: row * 8 + column of the transform.
// In a 2-4-8 block the even rows hold the transform of the sums of the two fields' lines, the odd rows that
// of their differences.
inline constexpr std::array<std::uint8_t, 64> kScan88 = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63,
};
inline constexpr std::array<std::uint8_t, 64> kScan248 = {
    0,  8,  1,  9,  16, 24, 2,  10, 17, 25, 32, 40, 48, 56, 33, 41, 18, 26, 3,  11, 4,  12,
    19, 27, 34, 42, 49, 57, 50, 58, 35, 43, 20, 28, 5,  13, 6,  14, 21, 29, 36, 44, 51, 59,
    52, 60, 37, 45, 22, 30, 7,  15, 23, 31, 38, 46, 53, 61, 54, 62, 39, 47, 55, 63,
};

// --- Quantisation. The step of a coefficient is a power of two by its area (position in the scan), the
// block's class and the macroblock's quantisation number; class 3 doubles it once more.
inline constexpr std::array<int, 4> kAreaEnd = {6, 21, 43, 64};
inline constexpr std::array<std::uint8_t, 4> kClassOffset = {6, 3, 0, 1};
inline constexpr std::uint8_t kStepShift[22][4] = {
    {3, 3, 4, 4}, {3, 3, 4, 4}, {2, 3, 3, 4}, {2, 3, 3, 4}, {2, 2, 3, 3}, {2, 2, 3, 3},
    {1, 2, 2, 3}, {1, 2, 2, 3}, {1, 1, 2, 2}, {1, 1, 2, 2}, {0, 1, 1, 2}, {0, 1, 1, 2},
    {0, 0, 1, 1}, {0, 0, 1, 1}, {0, 0, 0, 1}, {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0},
    {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0},
};

// --- Weights. cos(m * pi / 16), and the one-dimensional weight the encoder multiplied index h with.
inline constexpr double kCos[9] = {1.0,
                                   0.98078528040323044913,
                                   0.92387953251128675613,
                                   0.83146961230254523708,
                                   0.70710678118654752440,
                                   0.55557023301960222474,
                                   0.38268343236508977173,
                                   0.19509032201612826785,
                                   0.0};
inline constexpr double kWeight[8] = {1.0,
                                      kCos[4] / (4 * kCos[7] * kCos[2]),
                                      kCos[4] / (2 * kCos[6]),
                                      1 / (2 * kCos[5]),
                                      7.0 / 8,
                                      kCos[4] / kCos[3],
                                      kCos[4] / kCos[2],
                                      kCos[4] / kCos[1]};

} // namespace qv::dv
