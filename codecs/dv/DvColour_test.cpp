#include "codecs/dv/DvColour.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <vector>

#include "codecs/dv/DvFromRgb.h"
#include "qvlibs/image/kernels/InstructionSets_test.h"

namespace qv::dv {
namespace {

std::vector<std::uint8_t> noise(std::mt19937& random, int count) {
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(count + kRowPadding));
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}

void compareFast() {
    std::mt19937 random(2);
    for (const int width : {720, 360, 180, 88, 33, 5, 1}) {
        const auto y = noise(random, width);
        const auto cb = noise(random, width);
        const auto cr = noise(random, width);
        const SampleRow row{y.data(), cb.data(), cr.data(), width};
        for (const RgbRange range : {RgbRange::Full, RgbRange::Studio}) {
            const auto bytes = static_cast<std::size_t>(3 * width);
            std::vector<std::uint8_t> plain(bytes + 1, 0xA5);
            std::vector<std::uint8_t> fast(bytes + 1, 0xA5);
            rowToRgbPlain(row, PixelFormat::Bgr24, range, plain.data());
            rowToRgb(row, PixelFormat::Bgr24, range, fast.data());
            EXPECT_EQ(fast[bytes], 0xA5) << "written past the end";
            for (std::size_t i = 0; i < bytes; ++i)
                ASSERT_LE(std::abs(plain[i] - fast[i]), 1) << width << " " << i;
            // Words are made of the levels of the bytes.
            for (const auto& [format, greenBits] :
                 {std::pair{PixelFormat::Rgb565, 6}, {PixelFormat::Rgb555, 5}}) {
                std::vector<std::uint16_t> words(static_cast<std::size_t>(width) + 1, 0xA5A5);
                rowToRgb(row, format, range, reinterpret_cast<std::uint8_t*>(words.data()));
                EXPECT_EQ(words.back(), 0xA5A5) << "written past the end";
                for (std::size_t i = 0; i < static_cast<std::size_t>(width); ++i) {
                    const std::uint8_t* bgr = &fast[3 * i];
                    const int expected =
                        (bgr[2] >> 3) << (5 + greenBits) | (bgr[1] >> (8 - greenBits)) << 5 | bgr[0] >> 3;
                    ASSERT_EQ(words[i], expected) << width << " " << i;
                }
            }
        }
        for (const int factor : {2, 4}) {
            std::vector<std::uint8_t> plain(static_cast<std::size_t>(width * factor + kWideRow));
            std::vector<std::uint8_t> fast(plain.size());
            if (width > 360 / factor * 2) continue;
            widenColourPlain(cb.data(), width, factor, plain.data());
            widenColour(cb.data(), width, factor, fast.data());
            fast.resize(static_cast<std::size_t>(width * factor));
            plain.resize(fast.size());
            EXPECT_EQ(fast, plain) << width << " times " << factor;
            if (factor == 4) continue;
            widenMiddleColourPlain(cb.data(), width, plain.data());
            fast.resize(static_cast<std::size_t>(width * factor + kWideRow));
            widenMiddleColour(cb.data(), width, fast.data());
            fast.resize(plain.size());
            EXPECT_EQ(fast, plain) << width << " from the middle";
        }
    }
}

TEST(DvColour, FastIsAsThePlainOne) {
    const test::InstructionSets sets;
    for (const auto set : sets.all) {
        sets.use(set);
        SCOPED_TRACE(hwy::TargetName(set));
        compareFast();
    }
}

TEST(DvColour, KnownColours) {
    const struct {
        int y, cb, cr;
        std::uint8_t full[3], studio[3]; // blue, green, red
    } rows[] = {
        {16, 128, 128, {0, 0, 0}, {16, 16, 16}},
        {235, 128, 128, {255, 255, 255}, {235, 235, 235}},
        {126, 128, 128, {128, 128, 128}, {126, 126, 126}},
        {81, 90, 240, {0, 0, 254}, {15, 16, 235}},
        {145, 54, 34, {1, 255, 0}, {17, 235, 16}},
        {41, 240, 110, {255, 0, 0}, {235, 16, 16}},
        {0, 128, 128, {0, 0, 0}, {0, 0, 0}},
        {255, 128, 128, {255, 255, 255}, {255, 255, 255}},
    };
    for (const auto& row : rows) {
        const std::vector<std::uint8_t> y(1 + kRowPadding, static_cast<std::uint8_t>(row.y));
        const std::vector<std::uint8_t> cb(1 + kRowPadding, static_cast<std::uint8_t>(row.cb));
        const std::vector<std::uint8_t> cr(1 + kRowPadding, static_cast<std::uint8_t>(row.cr));
        for (const bool studio : {false, true}) {
            std::uint8_t out[3];
            rowToRgb({y.data(), cb.data(), cr.data(), 1}, PixelFormat::Bgr24,
                     studio ? RgbRange::Studio : RgbRange::Full, out);
            for (int i = 0; i < 3; ++i) {
                EXPECT_NEAR(out[i], studio ? row.studio[i] : row.full[i], 1) << row.y << " channel " << i;
            }
        }
    }
}

// Pictures of one colour keep it through both directions, for both systems and ranges.
TEST(DvColour, RgbComesBack) {
    for (const bool pal : {false, true}) {
        for (const RgbRange range : {RgbRange::Full, RgbRange::Studio}) {
            for (const std::uint32_t colour : {0x102030u, 0xEBEBEBu, 0xC04020u, 0x30A0D0u, 0x808080u}) {
                std::vector<std::uint8_t> picture(720 * 576 * 3);
                for (std::size_t i = 0; i < picture.size(); ++i) {
                    picture[i] = static_cast<std::uint8_t>(colour >> (8 * (i % 3)));
                }
                SamplePlanes planes;
                rgbToPlanes({.bits = picture.data(), .pitch = -2160, .range = range}, pal, planes);
                for (auto* plane : {&planes.y, &planes.cb, &planes.cr}) {
                    ASSERT_EQ(std::count(plane->begin(), plane->end(), plane->front()), std::ssize(*plane));
                }
                std::uint8_t out[3];
                rowToRgb({planes.y.data(), planes.cb.data(), planes.cr.data(), 1}, PixelFormat::Bgr24, range,
                         out);
                for (int i = 0; i < 3; ++i)
                    EXPECT_NEAR(out[i], picture[static_cast<std::size_t>(i)], 2) << colour;
            }
        }
    }
}

} // namespace
} // namespace qv::dv
