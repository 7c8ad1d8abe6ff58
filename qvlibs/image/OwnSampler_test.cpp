#include "qvlibs/image/OwnSampler.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

TEST(OwnSampler, PositionsAreCutNotCentred) {
    std::vector<BYTE> source(720), destination(160);
    for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<BYTE>(i % 251);
    const qv::SampledRows from{source.data(), 720, 720, 1}, to{destination.data(), 160, 160, 1};
    qv::sampleNearest(1, from, to, {0, 0, 160, 1});
    EXPECT_EQ(destination[159], 715 % 251);
    EXPECT_EQ(destination[1], 4);
    BYTE three[] = {7, 8, 9}, two[2];
    qv::sampleNearest(1, {three, 3, 3, 1}, {two, 2, 2, 1}, {0, 0, 2, 1});
    EXPECT_EQ(two[0], 7);
    EXPECT_EQ(two[1], 8);
}

TEST(OwnSampler, EmptyPartsWriteNothing) {
    BYTE source[4] = {1, 1, 1, 1}, destination[4] = {};
    for (const RECT part : {RECT{1, 0, 1, 1}, RECT{2, 0, 1, 1}, RECT{0, 1, 1, 1}, RECT{0, 1, 1, 0}}) {
        qv::sampleNearest(1, {source, 4, 4, 1}, {destination, 4, 4, 1}, part);
        EXPECT_EQ(destination[0] + destination[1] + destination[2] + destination[3], 0);
    }
}

TEST(OwnSampler, ColumnsBehindTheRow) {
    BYTE source[] = {1, 2, 3, 4, 5, 6, 7, 8}; // two rows of four
    std::vector<BYTE> picture(4 * 2);         // exactly as large as it is
    qv::sampleNearest(1, {source, 4, 4, 2}, {picture.data(), 4, 4, 2}, {0, 0, 6, 2});
    // Step 43690: columns 0 0 1 1 2 3; the last two of the lower row cover the start of the upper one.
    EXPECT_EQ(picture, (std::vector<BYTE>{1, 1, 2, 2, 3, 4, 6, 6}));
}

TEST(OwnSampler, RowsAgreeWithPixels) {
    std::mt19937 random(7);
    const auto below = [&](unsigned limit) { return static_cast<int>(random() % limit); };
    const int rounds = std::getenv("QVLIBS_TEST_FULL") ? 300000 : 3000;
    for (int round = 0; round < rounds; ++round) {
        const int bytes = 1 + below(5);
        const int width = 1 + below(70), height = 1 + below(20), toWidth = 1 + below(90),
                  toHeight = 1 + below(30);
        const std::int64_t line = (width * bytes + 3) / 4 * 4, toLine = (toWidth * bytes + 3) / 4 * 4;
        std::vector<BYTE> source(static_cast<size_t>(line * height));
        for (BYTE& byte : source) byte = static_cast<BYTE>(random());
        const RECT part{below(40) - 5, below(12) - 2, below(120), below(40)};
        std::vector<BYTE> fast(static_cast<size_t>(toLine * toHeight), 0xEE), slow = fast;
        qv::sampleNearest(bytes, {source.data(), line, width, height},
                          {fast.data(), toLine, toWidth, toHeight}, part);
        qv::plain::sampleNearest(bytes, {source.data(), line, width, height},
                                 {slow.data(), toLine, toWidth, toHeight}, part);
        ASSERT_EQ(fast, slow) << "round " << round;
    }
    printf("%d random geometries sampled row by row as pixel by pixel\n", rounds);
}

TEST(OwnSampler, WideRowsDoNotWrap) {
    const int width = 40000;
    std::vector<BYTE> source(3 * width);
    source[3 * 39999] = 77;
    BYTE destination[3 * width] = {};
    qv::sampleNearest(3, {source.data(), 3 * width, width, 1}, {destination, 3 * width, width, 1},
                      {0, 0, width, 1});
    EXPECT_EQ(destination[3 * 39999], 77);
}
