#include "qvlibs/media/DvAspect.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Frame = std::vector<unsigned char>;

size_t packAt(int sequence) { return static_cast<size_t>(sequence) * 12000 + (sequence % 2 ? 248 : 453); }

// A frame of `fill` with the pack in all sequences.
Frame frameOf(unsigned char fill, int sequences = 12) {
    Frame frame(static_cast<size_t>(sequences) * 12000, fill);
    for (int i = 0; i < sequences; ++i) frame[packAt(i)] = 0x61;
    return frame;
}
unsigned wordAt(const Frame& frame, size_t at) {
    return frame[at] | frame[at + 1] << 8 | frame[at + 2] << 16 | static_cast<unsigned>(frame[at + 3]) << 24;
}

} // namespace

TEST(DvAspect, IsReadFromSystemAndDisplayMode) {
    const struct {
        int system, mode, type;
    } known[] = {{0, 0, 1}, {0, 1, 3}, {0, 2, 2}, {1, 0, 1}, {1, 3, 3}, {1, 5, 3}, {1, 7, 2}};
    for (int system = 0; system < 4; ++system) {
        for (int mode = 0; mode < 8; ++mode) {
            int expected = 0;
            for (const auto& row : known) {
                if (row.system == system && row.mode == mode) expected = row.type;
            }
            Frame frame = frameOf(0);
            frame[48455] = static_cast<unsigned char>(0xF8 | mode); // neighbours of the bits do not count
            frame[48456] = static_cast<unsigned char>(0xFC | system);
            EXPECT_EQ(DEDVGetAspect(frame.data()), expected) << system << "/" << mode;
        }
    }
    Frame missing = frameOf(0);
    missing[48453] = 0x60;
    EXPECT_EQ(DEDVGetAspect(missing.data()), DIB_TYPE_AUTO) << "only the fifth sequence is looked at";
    EXPECT_EQ(DEDVGetAspect(nullptr), DIB_TYPE_AUTO);
}

TEST(DvAspect, WhatIsSetIsRead) {
    for (const int pal : {0, 1}) {
        for (const DIB_TYPE type : {DIB_TYPE_4_3, DIB_TYPE_16_9, DIB_TYPE_LETTERBOX}) {
            Frame frame = frameOf(0, pal ? 12 : 10);
            EXPECT_EQ(DEDVSetAspect(frame.data(), type, pal), 0u);
            EXPECT_EQ(DEDVGetAspect(frame.data()), type) << pal;
        }
        Frame frame = frameOf(0x5A);
        const Frame before = frame;
        for (const int type : {0, 4, 5, -1}) {
            EXPECT_EQ(DEDVSetAspect(frame.data(), static_cast<DIB_TYPE>(type), pal), 1u);
        }
        EXPECT_EQ(frame, before);
        EXPECT_EQ(DEDVSetAspect(nullptr, DIB_TYPE_4_3, pal), 1u);
    }
}

TEST(DvAspect, NtscKeepsTheSystemBit) {
    Frame frame = frameOf(0xFF, 10);
    ASSERT_EQ(DEDVSetAspect(frame.data(), DIB_TYPE_LETTERBOX, 0), 0u);
    EXPECT_EQ(wordAt(frame, 48454), 0xFFFD81FFu);
    EXPECT_EQ(DEDVGetAspect(frame.data()), DIB_TYPE_AUTO);
}

TEST(DvAspect, OneWordGoesIntoEveryPackThatIsThere) {
    Frame frame = frameOf(0, 12);
    frame[packAt(4)] = 0xFF; // the word comes from here all the same
    frame[48454] = 0x9C;
    frame[packAt(7) + 1] = 0x11;
    frame[packAt(10)] = 0xFF;
    ASSERT_EQ(DEDVSetAspect(frame.data(), DIB_TYPE_16_9, 1), 0u);
    for (int i = 0; i < 12; ++i) {
        const bool hasPack = i != 4 && i != 10;
        const unsigned untouched = i == 4 ? 0x9C : 0;
        EXPECT_EQ(wordAt(frame, packAt(i) + 1), hasPack ? 0x1079Cu : untouched) << i;
    }
    Frame ntsc = frameOf(0, 12);
    ASSERT_EQ(DEDVSetAspect(ntsc.data(), DIB_TYPE_16_9, 0), 0u);
    EXPECT_EQ(wordAt(ntsc, packAt(9) + 1), 0x200u);
    EXPECT_EQ(wordAt(ntsc, packAt(10) + 1), 0u) << "behind an NTSC frame";
}
