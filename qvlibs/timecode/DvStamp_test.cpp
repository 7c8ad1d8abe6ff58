#include "qvlibs/timecode/DvStamp.h"

#include "qvlibs/timecode/DvMetadata.h"
#include "tests/support/TapeMaker.h"

#include <gtest/gtest.h>

using qv::DvStamp;
using qv::DvSystem;
using qv::test::makeFrame;

TEST(DvStamp, AStampedFrameIsTheOneThatARecorderMakes) {
    for (const DvSystem system : {DvSystem::Ntsc, DvSystem::Pal}) {
        qv::test::TapeFrame frame;
        frame.system = system;
        auto bytes = makeFrame(frame);
        frame.label = {23, 59, 48, 19, system == DvSystem::Ntsc};
        frame.clock = 951827696; // 2000-02-29 12:34:56
        frame.start = true;
        const auto wanted = makeFrame(frame);
        EXPECT_NE(bytes, wanted);
        DvStamp stamp;
        stamp.label = frame.label;
        stamp.recorded = {{2000, 2, 29}, {12, 34, 56}};
        stamp.recordingStart = true;
        ASSERT_TRUE(qv::stampDvFrame(bytes, stamp));
        EXPECT_EQ(bytes, wanted);
        ASSERT_TRUE(qv::stampDvFrame(bytes, DvStamp{}));
        EXPECT_EQ(bytes, wanted) << "what is not given stays";
    }
}

TEST(DvStamp, DeckControlReadsItToo) {
    auto bytes = makeFrame(qv::test::TapeFrame{});
    DvStamp stamp;
    stamp.label = {1, 2, 3, 4, false};
    stamp.recorded = {{2005, 12, 24}, {18, 30, 0}};
    ASSERT_TRUE(qv::stampDvFrame(bytes, stamp));
    CQVTimecode timecode, recorded;
    EXPECT_EQ(
        QVTLDIF2Timecode(bytes.data(), &timecode, &recorded, nullptr, nullptr, nullptr, nullptr, nullptr),
        0u);
    EXPECT_EQ(timecode.Format(nullptr), std::string("01:02:03:04"));
    EXPECT_EQ(recorded.Format("%Y-%m-%d %H:%M:%S"), std::string("2005-12-24 18:30:00"));
}

TEST(DvStamp, WhatNoPackCanHoldIsRefused) {
    auto ntsc = makeFrame(qv::test::TapeFrame{});
    qv::test::TapeFrame frame;
    frame.system = DvSystem::Pal;
    auto pal = makeFrame(frame);
    const auto refused = [](std::vector<BYTE>& bytes, const DvStamp& stamp) {
        const auto before = bytes;
        return !qv::stampDvFrame(bytes, stamp) && bytes == before;
    };
    DvStamp skipped, frame25, dropInPal, february30, year2090, hour24, sound;
    skipped.label = {0, 1, 0, 0, true};
    frame25.label = {0, 0, 0, 25, false};
    dropInPal.label = {0, 0, 0, 0, true};
    february30.recorded = {{2005, 2, 30}, {0, 0, 0}};
    year2090.recorded = {{2090, 1, 1}, {0, 0, 0}};
    hour24.recorded = {{2005, 1, 1}, {24, 0, 0}};
    sound.soundSamples = 1896;
    for (const auto* stamp : {&skipped, &february30, &year2090, &hour24, &sound})
        EXPECT_TRUE(refused(ntsc, *stamp));
    for (const auto* stamp : {&frame25, &dropInPal}) EXPECT_TRUE(refused(pal, *stamp));
    EXPECT_TRUE(qv::stampDvFrame(ntsc, frame25));
    EXPECT_TRUE(qv::stampDvFrame(pal, sound));
    pal.pop_back();
    EXPECT_TRUE(refused(pal, {}));
}
