#include "codecs/dv/DvTransform.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <random>

#include "codecs/dv/DvLowTransform.h"
#include "qvlibs/image/kernels/InstructionSets_test.h"

namespace qv::dv {
namespace {

// Values as pictures have them: coefficients that fade towards high frequencies, quantised.
void fill(SegmentLevels& levels, std::mt19937& random, bool mixed) {
    levels.values.fill(0);
    std::normal_distribution<double> normal;
    for (int number = 0; number < kBlocksPerSegment; ++number) {
        BlockKind& kind = levels.kinds[static_cast<std::size_t>(number)];
        kind = {static_cast<std::uint8_t>(mixed ? random() % 2 : 0),
                static_cast<std::uint8_t>(random() % kStepRows)};
        for (int row = 0; row < 8; ++row) {
            for (int column = 0; column < 8; ++column) {
                const int at =
                    number / 4 * kGroupValues + column * kColumnStride + number % 4 * kBlockStride + row;
                const int step = stepOf(kind.step, areaOf(kind.fieldMode, row, column));
                const double size = row + column == 0 ? 350 : 160.0 / (1 + row + column);
                levels.values[static_cast<std::size_t>(at)] =
                    static_cast<std::int16_t>(normal(random) * size / step);
            }
        }
    }
}

void compareFast() {
    std::mt19937 random(1);
    const auto levels = std::make_unique<SegmentLevels>();
    const auto plain = std::make_unique<SegmentSamples>();
    const auto fast = std::make_unique<SegmentSamples>();
    for (const int n : {8, 4}) {
        int different = 0;
        for (int round = 0; round < 40; ++round) {
            fill(*levels, random, round % 2);
            transformSegmentPlain(*levels, n, *plain);
            transformSegment(*levels, n, *fast);
            for (int number = 0; number < kBlocksPerSegment; ++number) {
                for (int i = 0; i < n * n; ++i) {
                    const auto at = static_cast<std::size_t>(number / 4 * SegmentSamples::kGroupBytes +
                                                             i / n * 4 * n + number % 4 * n + i % n);
                    const int gap = std::abs(plain->bytes[at] - fast->bytes[at]);
                    ASSERT_LE(gap, 1) << n << " block " << number << " sample " << i;
                    different += gap;
                }
            }
        }
        EXPECT_LT(different * 5, 40 * kBlocksPerSegment * n * n) << "roundings that differ, of all samples";
    }
}

TEST(DvTransform, FastIsAsThePlainOne) {
    const test::InstructionSets sets;
    for (const auto set : sets.all) {
        sets.use(set);
        SCOPED_TRACE(hwy::TargetName(set));
        compareFast();
    }
}

// The values that a quarter and an eighth look at, alone, give the means of the full picture.
TEST(DvTransform, LowValuesGiveTheMeansOfTheirCosines) {
    const auto levels = std::make_unique<SegmentLevels>();
    const auto plain = std::make_unique<SegmentSamples>();
    const struct {
        int row, column;
        std::int16_t LowValues::*value;
    } rows[2][6] = {{{0, 0, &LowValues::dc},
                     {0, 1, &LowValues::across},
                     {1, 0, &LowValues::down},
                     {1, 1, &LowValues::both},
                     {0, 3, &LowValues::thirdAcross},
                     {3, 0, &LowValues::thirdDown}},
                    {{0, 0, &LowValues::dc},
                     {0, 1, &LowValues::across},
                     {2, 0, &LowValues::down},
                     {2, 1, &LowValues::both},
                     {0, 3, &LowValues::thirdAcross},
                     {6, 0, &LowValues::thirdDown}}};
    for (std::uint8_t mode = 0; mode < 2; ++mode) {
        for (const auto& row : rows[mode]) {
            for (const std::uint8_t step : {0, 9, 21, 30}) {
                levels->values.fill(0);
                levels->kinds[0] = {mode, step};
                const int area = areaOf(mode, row.row, row.column);
                const auto level = static_cast<std::int16_t>(300 / stepOf(step, area));
                levels->values[static_cast<std::size_t>(row.column * kColumnStride + row.row)] = level;
                transformSegmentPlain(*levels, 2, *plain);
                LowValues low{};
                low.kind = {mode, step};
                low.*row.value = level;
                std::uint8_t samples[4];
                transformLowPlain(low, samples);
                const int expected[4] = {plain->bytes[0], plain->bytes[1], plain->bytes[8], plain->bytes[9]};
                for (int i = 0; i < 4; ++i) {
                    EXPECT_NEAR(samples[i], expected[i], 1)
                        << int{mode} << ": " << row.row << ", " << row.column;
                }
            }
        }
    }
    for (const int dc : {-256, -255, -1, 0, 1, 100, 255}) {
        levels->values.fill(0);
        levels->values[0] = static_cast<std::int16_t>(dc);
        transformSegmentPlain(*levels, 4, *plain);
        EXPECT_NEAR(transformDc(static_cast<std::int16_t>(dc)), plain->bytes[0], dc & 1) << dc;
    }
}

TEST(DvTransform, LowFastIsAsThePlainOne) {
    const test::InstructionSets sets;
    std::mt19937 random(5);
    for (std::size_t round = 0; round < 4000; ++round) {
        sets.use(sets.all[round % sets.all.size()]);
        std::array<LowValues, 6> values;
        for (LowValues& low : values) {
            const int most = 1 << random() % 9;
            const auto level = [&] {
                return static_cast<std::int16_t>(static_cast<int>(random() % (2 * most)) - most);
            };
            low = {level(), level(), level(), level(), level(), level(), {}};
            low.kind = {static_cast<std::uint8_t>(random() % 2),
                        static_cast<std::uint8_t>(random() % kStepRows)};
            if (&low < &values[4]) low.thirdAcross = low.thirdDown = 0;
        }
        LowSamples fast;
        transformLow(values, fast);
        for (std::size_t i = 0; i < 6; ++i) {
            std::uint8_t plain[4];
            transformLowPlain(values[i], plain);
            for (std::size_t k = 0; k < 4; ++k) {
                const std::size_t at = k / 2 * (i < 4 ? 8 : 4) + i % 4 * 2 + k % 2;
                ASSERT_EQ(i < 4 ? fast.luma[at] : fast.colour[at], plain[k])
                    << "block " << i << " sample " << k;
            }
        }
    }
}

} // namespace
} // namespace qv::dv
