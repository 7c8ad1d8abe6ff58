#include "qvlibs/media/WaveResample.h"

#include <gtest/gtest.h>
#include <numeric>
#include <vector>

namespace {

std::vector<unsigned char> countUp(size_t size) {
    std::vector<unsigned char> bytes(size);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(0));
    return bytes;
}

} // namespace

TEST(WaveResample, LengthsAreWholeSamples) {
    const struct {
        LONG length, num, den, wanted;
    } rows[] = {{44, 1, 1, 44}, {43, 1, 1, 40}, {16, 1, 2, 32}, {44, 11, 10, 40},
                {48, 3, 2, 32}, {0, 7, 3, 0},   {10, 3, 1, 0},  {100, -2, -1, 48}};
    for (const auto& row : rows) EXPECT_EQ(qv::resampledLength(row.length, row.num, row.den), row.wanted);
    for (const auto& row : {std::pair{0, 1}, {1, 0}, {-1, 1}, {1, -1}})
        EXPECT_FALSE(qv::resampledLength(100, row.first, row.second));
    EXPECT_FALSE(qv::resampledLength(1 << 30, 1, 1000)) << "has no place in 32 bits";
}

// The first copy goes to the new length itself, one sample past the end: the buffer has room for it.
TEST(WaveResample, StretchingRepeatsSamplesAndWritesOnePastTheEnd) {
    auto bytes = countUp(36);
    qv::resampleInPlace(bytes.data(), 16, 1, 2);
    for (size_t i = 0; i < 36; i += 4) EXPECT_EQ(bytes[i], i / 8 * 4) << i;
}

TEST(WaveResample, ShrinkingAddsTheRemainder) {
    auto bytes = countUp(48);
    qv::resampleInPlace(bytes.data(), 48, 3, 2);
    EXPECT_EQ(bytes[0], 0);
    EXPECT_EQ(bytes[4], 8);   // trunc(6) = 6, remainder 2 added
    EXPECT_EQ(bytes[8], 12);  // 12, remainder 0
    EXPECT_EQ(bytes[12], 20); // 18 + 2
}

TEST(WaveResample, ShrinkingDoesNotReadPastTheData) {
    auto bytes = countUp(44); // the sanitizer watches the block's end
    qv::resampleInPlace(bytes.data(), 44, 11, 10);
    EXPECT_EQ(bytes[36], 42); // trunc(39.6) = 39, plus its remainder 3
    EXPECT_EQ(bytes[37], 43);
    EXPECT_EQ(bytes[38], 38); // nothing there to take
    auto same = countUp(44);
    qv::resampleInPlace(same.data(), 44, 5, 5);
    EXPECT_EQ(same, countUp(44));
}
