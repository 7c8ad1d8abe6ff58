#include "qvlibs/image/kernels/Rows.h"

#include "qvlibs/image/kernels/InstructionSets_test.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <vector>

using namespace qv;
using Bytes = std::vector<std::uint8_t>;

namespace {

Bytes randomBytes(size_t count, unsigned seed) {
    std::mt19937 random(seed);
    Bytes bytes(count);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}

} // namespace

TEST(Rows, SixteenBitColors) {
    const Bytes words = {0xFF, 0x7F, 0x21, 0x04, 0xFF, 0xFF};
    Bytes out(9);
    rgb16Row24(out.data(), words.data(), 3, kRgb555);
    EXPECT_EQ(out, (Bytes{0xF8, 0xF8, 0xF8, 8, 8, 8, 0xF8, 0xF8, 0xF8}));
    rgb16Row24(out.data(), words.data(), 3, rgb16Layout(0xF800, 0x07E0, 0x001F));
    EXPECT_EQ(out, (Bytes{0xF8, 0xFC, 0x78, 8, 0x84, 0, 0xF8, 0xFC, 0xF8}));
    rgb16Row24(out.data(), words.data(), 3, rgb16Layout(0x7C00, 0x0300, 0x000F));
    EXPECT_EQ(out, (Bytes{0x78, 0xC0, 0xF8, 8, 0, 8, 0x78, 0xC0, 0xF8}))
        << "masks cut what they do not cover";
}

TEST(Rows, TurnsPutCornersWhereTheyBelong) {
    const Bytes src = {1, 0, 0, 2, 0, 0, 3, 0, 0, /**/ 4, 0, 0, 5, 0, 0, 6, 0, 0};
    const struct {
        Turn turn;
        int width, height;
        Bytes blue;
    } rows[] = {{Turn::Clockwise, 2, 3, {4, 1, 5, 2, 6, 3}},
                {Turn::Half, 3, 2, {6, 5, 4, 3, 2, 1}},
                {Turn::CounterClockwise, 2, 3, {3, 6, 2, 5, 1, 4}}};
    for (const auto& row : rows) {
        Bytes out(18), blue;
        turn24({src.data(), 9, 3, 2}, {out.data(), 3 * row.width, row.width, row.height}, row.turn);
        for (size_t i = 0; i < 18; i += 3) blue.push_back(out[i]);
        EXPECT_EQ(blue, row.blue) << static_cast<int>(row.turn);
    }
}

// Blocks of exactly the size that is allowed: a sanitizer sees any byte too many.
TEST(Rows, FastAndPlainAgreeAtEveryLength) {
    const auto palette = randomBytes(1024, 7);
    const auto* entries = reinterpret_cast<const PaletteEntry*>(palette.data());
    using Work = std::function<void(Bytes & dst, const Bytes& a, const Bytes& b, size_t n, bool fast)>;
    const struct {
        const char* name;
        size_t in, out; // bytes a pixel
        Work work;
    } rows[] = {
        {"average", 1, 1,
         [](Bytes& d, const Bytes& a, const Bytes& b, size_t n, bool fast) {
             (fast ? averageRows : plain::averageRows)(d.data(), a.data(), b.data(), n);
         }},
        {"gray", 3, 3,
         [](Bytes& d, const Bytes& a, const Bytes&, size_t n, bool fast) {
             (fast ? grayRow24 : plain::grayRow24)(d.data(), a.data(), n);
         }},
        {"lighten", 1, 1,
         [](Bytes& d, const Bytes& a, const Bytes&, size_t n, bool fast) {
             (fast ? lightenRow : plain::lightenRow)(d.data(), a.data(), n, static_cast<int>(n) - 20);
         }},
        {"palette8", 1, 3,
         [&](Bytes& d, const Bytes& a, const Bytes&, size_t n, bool fast) {
             (fast ? palette8Row24 : plain::palette8Row24)(d.data(), a.data(), n, entries);
         }},
        {"rgb16", 2, 3,
         [](Bytes& d, const Bytes& a, const Bytes&, size_t n, bool fast) {
             const Rgb16Layout layout = n % 2 ? kRgb555 : rgb16Layout(0xF800, 0x07E0, 0x001F);
             (fast ? rgb16Row24 : plain::rgb16Row24)(d.data(), a.data(), n, layout);
         }},
        {"bgrx32", 4, 3,
         [](Bytes& d, const Bytes& a, const Bytes&, size_t n, bool fast) {
             (fast ? bgrx32Row24 : plain::bgrx32Row24)(d.data(), a.data(), n);
         }},
        {"pick", 3, 3,
         [](Bytes& d, const Bytes& a, const Bytes& b, size_t n, bool fast) {
             std::vector<std::uint32_t> columns(n);
             for (size_t i = 0; i < n; ++i) columns[i] = static_cast<std::uint32_t>(b[i] * n / 256);
             (fast ? pickRow24 : plain::pickRow24)(d.data(), a.data(), n, columns.data(), n);
         }},
    };
    const qv::test::InstructionSets sets;
    for (const auto& row : rows) {
        for (size_t n = 0; n < 400; ++n) {
            const Bytes a = randomBytes(row.in * n, static_cast<unsigned>(n)),
                        b = randomBytes(row.in * n, 1000);
            Bytes want(row.out * n), got(row.out * n);
            row.work(want, a, b, n, false);
            for (const std::int64_t set : sets.all) {
                SCOPED_TRACE(testing::Message() << row.name << " of " << n << " on " << hwy::TargetName(set));
                sets.use(set);
                row.work(got, a, b, n, true);
                ASSERT_EQ(want, got);
                if (row.in != row.out || row.name == std::string("pick")) continue;
                Bytes inPlace = a;
                row.work(inPlace, inPlace, b, n, true);
                ASSERT_EQ(want, inPlace) << "in place";
            }
        }
    }
    printf("%zu row loops of every length below 400 agree on %s\n", std::size(rows), sets.names().c_str());
}

TEST(Rows, LighteningAgreesAtEveryLevelAndByte) {
    Bytes all(256), want(256), got(256);
    for (size_t i = 0; i < 256; ++i) all[i] = static_cast<std::uint8_t>(i);
    for (int level = -300; level <= 300; ++level) {
        plain::lightenRow(want.data(), all.data(), 256, level);
        lightenRow(got.data(), all.data(), 256, level);
        ASSERT_EQ(want, got) << level;
    }
}

TEST(Rows, TurnsAgreeAtEverySize) {
    const qv::test::InstructionSets sets;
    std::mt19937 random(5);
    const int rounds = std::getenv("QVLIBS_TEST_FULL") ? 30000 : 600;
    for (int round = 0; round < rounds; ++round) {
        const int width = 1 + static_cast<int>(random() % 90), height = 1 + static_cast<int>(random() % 90);
        const Turn turn = static_cast<Turn>(round % 3);
        const Bytes src = randomBytes(static_cast<size_t>(width * height) * 3, random());
        const bool bottomUp = random() % 2 != 0;
        const ConstPixelView from{bottomUp ? &src[static_cast<size_t>(3 * width * (height - 1))] : src.data(),
                                  bottomUp ? -3 * width : 3 * width, width, height};
        const int dw = turn == Turn::Half ? width : height, dh = turn == Turn::Half ? height : width;
        Bytes want(src.size()), got(src.size());
        plain::turn24(from, {want.data(), 3 * dw, dw, dh}, turn);
        for (const std::int64_t set : sets.all) {
            sets.use(set);
            turn24(from, {got.data(), 3 * dw, dw, dh}, turn);
            ASSERT_EQ(want, got) << width << "x" << height << " turn " << static_cast<int>(turn) << " on "
                                 << hwy::TargetName(set);
        }
    }
    printf("%d turns of random sizes agree on %s\n", rounds, sets.names().c_str());
}
