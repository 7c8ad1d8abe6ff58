#include "qvlibs/timecode/DvFrameInfo.h"

#include "qvlibs/timecode/DvPacks.h"
#include "tests/support/TapeMaker.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <sstream>

using qv::DvSystem;
using qv::DvUnknown;
using qv::test::makeFrame;

namespace {

qv::test::TapeFrame sample() {
    qv::test::TapeFrame frame;
    frame.label = {1, 2, 3, 4, true};
    frame.clock = 1135427696; // 2005-12-24 12:34:56
    return frame;
}

std::string text(const qv::DvFrameInfo& info) {
    char line[64] = "";
    if (info.timecode) {
        const auto& l = *info.timecode;
        std::snprintf(line, sizeof line, "%02d:%02d:%02d%c%02d ", l.hours, l.minutes, l.seconds,
                      l.dropFrame || info.system == DvSystem::Ntsc ? ';' : ':', l.frames);
    }
    std::string all = line;
    if (info.date && info.time) {
        std::snprintf(line, sizeof line, "%04d-%02d-%02d %02d:%02d:%02d", info.date->year, info.date->month,
                      info.date->day, info.time->hours, info.time->minutes, info.time->seconds);
        all += line;
    }
    return all;
}

} // namespace

TEST(DvFrameInfo, EveryFieldComesBack) {
    for (const DvSystem system : {DvSystem::Ntsc, DvSystem::Pal}) {
        auto frame = sample();
        frame.system = system;
        frame.label->dropFrame = system == DvSystem::Ntsc;
        frame.aspect = qv::DvAspect::Wide;
        frame.audio = {32000, 4, 12};
        frame.start = true;
        const auto info = qv::readDvFrame(makeFrame(frame));
        ASSERT_TRUE(info);
        EXPECT_EQ(info->system, system);
        EXPECT_EQ(info->blocks, system == DvSystem::Pal ? 1800 : 1500);
        EXPECT_EQ(info->missing + info->damagedVideo + info->damagedAudio, 0);
        EXPECT_EQ(*info->timecode, *frame.label);
        EXPECT_EQ(qv::dvClockSeconds(*info->date, *info->time), *frame.clock);
        EXPECT_EQ(*info->aspect, qv::DvAspect::Wide);
        EXPECT_EQ(*info->audio, frame.audio);
        EXPECT_TRUE(*info->recordingStart);
        EXPECT_FALSE(*info->recordingEnd);
        for (const float sure : {info->timecode.confidence, info->date.confidence, info->audio.confidence})
            EXPECT_EQ(sure, 1.0F);
    }
}

TEST(DvFrameInfo, CopiesOutvoteDamage) {
    auto frame = sample();
    frame.corruptPacks = 0.6;
    for (unsigned seed = 1; seed <= 50; ++seed) {
        const auto info = qv::readDvFrame(makeFrame(frame, seed));
        EXPECT_EQ(*info->timecode.value, *frame.label);
        EXPECT_EQ(qv::dvClockSeconds(*info->date.value, *info->time.value), *frame.clock);
        EXPECT_LT(info->timecode.confidence, 0.7F);
        EXPECT_GT(info->timecode.confidence, 0.2F);
    }
}

TEST(DvFrameInfo, WhatIsNotKnownSaysWhy) {
    auto frame = sample();
    frame.clock.reset();
    frame.withoutLabel = true;
    auto info = qv::readDvFrame(makeFrame(frame));
    EXPECT_EQ(info->timecode.unknown, DvUnknown::Absent);
    EXPECT_EQ(info->date.unknown, DvUnknown::Empty);
    EXPECT_EQ(info->time.unknown, DvUnknown::Empty);

    frame = sample();
    auto bytes = makeFrame(frame);
    const auto everyLabel = [&](auto change) { // in every subcode place that holds one
        int copy = 0;
        for (size_t at = 80; at + 5 < bytes.size(); ++at) {
            const size_t place = at % 12000;
            if (place >= 80 && place < 240 && (place % 80 - 6) % 8 == 0 && bytes[at] == 0x13)
                change(&bytes[at + 1], copy++);
        }
        EXPECT_EQ(copy, 100);
    };
    everyLabel([](BYTE* data, int) { data[3] = 0x24; });
    EXPECT_EQ(qv::readDvFrame(bytes)->timecode.unknown, DvUnknown::Impossible);
    everyLabel([](BYTE* data, int copy) { data[3] = copy % 2 ? 0x11 : 0x12; });
    EXPECT_EQ(qv::readDvFrame(bytes)->timecode.unknown, DvUnknown::Disputed);
    everyLabel([](BYTE* data, int copy) { data[3] = copy % 20 ? 0x11 : 0x12; });
    EXPECT_EQ(qv::readDvFrame(bytes)->timecode->hours, 11);
    EXPECT_FLOAT_EQ(qv::readDvFrame(bytes)->timecode.confidence, 0.95F);
}

TEST(DvFrameInfo, DamagedBlocksAreCounted) {
    auto frame = sample();
    frame.nullBlocks = -1;
    auto info = qv::readDvFrame(makeFrame(frame));
    EXPECT_EQ(info->missing, 1500);
    EXPECT_EQ(text(*info), "");
    auto bytes = makeFrame(sample());
    bytes[80 * 7 + 3] = 0xA5;  // a concealed picture block
    bytes[80 * 11 + 2] = 0x77; // one out of its place
    const BYTE lost16[] = {0x80, 0, 0x80, 0, 0x80, 0, 0x80, 0},
               lost12[] = {0x80, 0x80, 0, 0x80, 0x80, 0, 0x80, 0x80};
    std::copy(lost16, lost16 + 8, &bytes[80 * 6 + 8]);
    std::copy(lost12, lost12 + 8, &bytes[80 * 22 + 8]);
    info = qv::readDvFrame(bytes);
    EXPECT_EQ(info->damagedVideo, 1);
    EXPECT_EQ(info->missing, 1);
    EXPECT_EQ(info->damagedAudio, 2);
}

TEST(DvFrameInfo, OnlyWholeFramesAreRead) {
    const auto bytes = makeFrame(sample());
    EXPECT_FALSE(qv::readDvFrame({}));
    EXPECT_FALSE(qv::readDvFrame(std::span(bytes).first(119999)));
    EXPECT_EQ(qv::dvSystemOf(bytes), DvSystem::Ntsc);
    EXPECT_FALSE(qv::dvSystemOf(std::vector<BYTE>(120000)));
    EXPECT_TRUE(qv::startsDvFrame(bytes));
    EXPECT_FALSE(qv::startsDvFrame(std::span(bytes).subspan(12000)));
}

TEST(DvFrameInfo, CountsAndLabelsOfADayAreOneToOne) {
    const struct {
        DvSystem system;
        bool drop;
    } rows[] = {{DvSystem::Pal, false}, {DvSystem::Ntsc, false}, {DvSystem::Ntsc, true}};
    for (const auto& row : rows) {
        const LONG day = qv::dvLabelsOfDay(row.drop, row.system);
        for (LONG n = 0; n < day; ++n) {
            const auto label = qv::dvLabelOf(n, row.drop, row.system);
            ASSERT_EQ(qv::dvLabelCount(label, row.system), n);
            ASSERT_FALSE(row.drop && label.minutes % 10 && label.seconds == 0 && label.frames < 2) << n;
        }
        EXPECT_EQ(qv::dvLabelOf(-1, row.drop, row.system), qv::dvLabelOf(day - 1, row.drop, row.system));
        EXPECT_EQ(qv::dvLabelOf(day, row.drop, row.system), qv::dvLabelOf(0, row.drop, row.system));
    }
}

TEST(DvFrameInfo, TenMillionRandomPacksGiveNothingImpossible) {
    std::mt19937 random(3);
    const auto inRange = [](int value, int low, int high) { return value >= low && value <= high; };
    int values = 0;
    for (int i = 0; i < 10'000'000; ++i) {
        const DWORD word = random();
        const DvSystem system = i % 2 ? DvSystem::Pal : DvSystem::Ntsc;
        if (const auto label = qv::readLabelPack(word, system)) {
            ++values;
            ASSERT_TRUE(inRange(label->hours, 0, 23) && inRange(label->minutes, 0, 59) &&
                        inRange(label->seconds, 0, 59));
            ASSERT_TRUE(inRange(label->frames, 0, system == DvSystem::Pal ? 24 : 29));
            ASSERT_EQ(qv::dvLabelOf(qv::dvLabelCount(*label, system), label->dropFrame, system), *label);
        }
        if (const auto clock = qv::readClockPack(word)) {
            ASSERT_TRUE(inRange(clock->hours, 0, 23) && inRange(clock->minutes, 0, 59) &&
                        inRange(clock->seconds, 0, 59));
        }
        if (const auto date = qv::readDatePack(word)) {
            ++values;
            std::tm civil{};
            civil.tm_year = date->year - 1900;
            civil.tm_mon = date->month - 1;
            civil.tm_mday = date->day;
            const std::time_t seconds = timegm(&civil); // normalises what is no date
            ASSERT_TRUE(civil.tm_mon == date->month - 1 && civil.tm_mday == date->day &&
                        inRange(date->year, 1990, 2089));
            ASSERT_EQ(seconds, qv::dvClockSeconds(*date, {0, 0, 0}));
        }
        if (const auto audio = qv::readAudioModePack(word)) {
            ASSERT_TRUE(audio->rate == 48000 || audio->rate == 44100 || audio->rate == 32000);
            ASSERT_TRUE(audio->channels == 2 || audio->channels == 4);
        }
    }
    EXPECT_GT(values, 1'000'000);
}

TEST(DvFrameInfo, AgreesWithTheVectorsOfAnotherLibrary) {
    QV_NEEDS_MEDIA(media);
    const auto rows = qv::test::readTable(media / "dv/pack_vectors.tsv");
    EXPECT_EQ(rows.size(), 1u + 22);
    for (size_t i = 1; i < rows.size(); ++i) {
        const std::string &name = rows[i][0], &packText = rows[i][1], &system = rows[i][2],
                          &result = rows[i][3], &value = rows[i][4];
        std::istringstream bytes(packText);
        unsigned header = 0, byte = 0;
        bytes >> std::hex >> header;
        DWORD word = 0;
        for (int shift = 0; shift < 32; shift += 8) {
            bytes >> byte;
            word |= byte << shift;
        }
        SCOPED_TRACE(name + " " + packText);
        const bool accepted = result == "accepted" && value != "no date";
        if (header == 0x62) {
            // A wrong day of the week is no reason here; years 75 to 89 are 20xx.
            if (name == "weekday_mismatch") continue;
            const auto date = qv::readDatePack(word);
            EXPECT_EQ(date.has_value(), accepted);
            if (!date) continue;
            char shown[16];
            std::snprintf(shown, sizeof shown, "%04d-%02d-%02d", date->year, date->month, date->day);
            EXPECT_EQ(shown, value);
        } else if (header == 0x13) {
            const auto label = qv::readLabelPack(word, system == "PAL" ? DvSystem::Pal : DvSystem::Ntsc);
            EXPECT_EQ(label.has_value(), accepted);
            if (!label) continue;
            char shown[16];
            std::snprintf(shown, sizeof shown, "%02d:%02d:%02d:%02d", label->hours, label->minutes,
                          label->seconds, label->frames);
            EXPECT_EQ(shown, value.substr(0, 11));
        } else if (header == 0x63) {
            EXPECT_EQ(qv::readClockPack(word).has_value(), accepted);
        }
    }
}

TEST(DvFrameInfo, RealFramesAgreeWithOtherReaders) {
    QV_NEEDS_MEDIA(media);
    int frames = 0;
    for (const auto& field : qv::test::readTable(media / "dv/expected_frames.tsv")) {
        if (!field[0].ends_with(".dv")) continue;
        SCOPED_TRACE(field[0] + " " + field[1]);
        ++frames;
        const std::string file = qv::test::readFile(media / "dv" / field[0]);
        const size_t size = std::stoul(field[2]);
        const std::string one = file.substr(std::stoul(field[1]) * size, size);
        const auto info = qv::readDvFrame({reinterpret_cast<const BYTE*>(one.data()), one.size()});
        ASSERT_TRUE(info);
        EXPECT_EQ(text(*info), field[4] + " " + (field[6].empty() ? "" : field[6].substr(0, 19)));
        EXPECT_EQ(info->missing, 0);
        const std::string aspect = *info->aspect == qv::DvAspect::Wide ? "16:9" : "4:3";
        EXPECT_TRUE(field[8].empty() || field[8] == aspect);
        EXPECT_EQ(bool{info->audio}, !field[11].empty());
        if (info->audio) {
            EXPECT_EQ(std::to_string(info->audio->channels) + " " + std::to_string(info->audio->rate) + " " +
                          std::to_string(info->audio->bits),
                      field[10] + " " + field[11] + " " + field[12]);
        }
    }
    EXPECT_EQ(frames, 10);
}
