#include "qvlibs/timecode/DvMetadata.h"

#include "qvlibs/settings/ProfileCtrl.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <array>

namespace {

using Pack = std::array<BYTE, 5>;

void onPal() {
    qv::test::restartWith([] { QVWriteProfileInt("Common", "SystemInfo", 1, 0); });
    ASSERT_EQ(QVIsPal(), 1);
}

// A frame without any pack; always as long as a PAL one.
struct Frame {
    std::vector<BYTE> bytes = std::vector<BYTE>(144000, 0xFF);

    Frame& put(int at, const Pack& pack) {
        std::copy(pack.begin(), pack.end(), bytes.begin() + at);
        return *this;
    }
    Frame& timecodes(std::initializer_list<Pack> packs) { // one a sequence
        int at = 110;
        for (const Pack& pack : packs) put(std::exchange(at, at + 12000), pack);
        return *this;
    }
    ULONG decode(CQVTimecode* timecode, CQVTimecode* recorded) {
        return QVTLDIF2Timecode(bytes.data(), timecode, recorded, nullptr, nullptr, nullptr, nullptr,
                                nullptr);
    }
};

constexpr Pack kNone{0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
constexpr Pack timecode(BYTE h, BYTE m, BYTE s, BYTE f) { return {0x13, f, s, m, h}; }
constexpr Pack kA = timecode(0x00, 0x00, 0x10, 0x05), kB = timecode(0x00, 0x00, 0x10, 0x06),
               kC = timecode(0x01, 0x02, 0x03, 0x04), kD = timecode(0x23, 0x59, 0x59, 0x24);
constexpr Pack kDate{0x62, 0xFF, 0xC8, 0xE7, 0x24}; // 2024-07-08
constexpr Pack kTime{0x63, 0xFF, 0xD8, 0xD5, 0xD9}; // 19:55:58, no frame
constexpr const char* kOld = "1999-09-09 09:09:09:09";

CQVTimecode old() { return {1999, 9, 9, 9, 9, 9, 9, TCMODE_NDF}; }
std::string full(const CQVTimecode& tc) { return tc.Format("%Y-%m-%d %H:%M:%S:%F"); }

// What the timecode packs of the sequences read as; "" when none is taken.
std::string readTimecode(std::initializer_list<Pack> packs) {
    Frame frame;
    frame.timecodes(packs);
    CQVTimecode tc(2001, 2, 3, 9, 9, 9, 9, TCMODE_NDF);
    if (frame.decode(&tc, nullptr) & 1) return {};
    EXPECT_EQ(tc.GetYear(), 2001); // the date stays
    return tc.Format(nullptr);
}

} // namespace

TEST(DvMetadata, TwoSightingsMakeATimecodeTrusted) {
    EXPECT_EQ(readTimecode({kA, kB, kB, kB, kB, kB, kB, kB, kB, kB}), "00:00:10:06");
    EXPECT_EQ(readTimecode({kA, kB, kA}), "00:00:10:05");
    EXPECT_EQ(readTimecode({kA, kB, kC, kB, kD, kD}), "00:00:10:06");
    EXPECT_EQ(readTimecode({kA, kB, kC, kA, kD}), "23:59:59:24"); // the first A was forgotten
    EXPECT_EQ(readTimecode({kA, kB, kC, kD}), "23:59:59:24");     // none twice: the last
    EXPECT_EQ(readTimecode({kNone, kNone, kA, kNone, kA, kB, kB}), "00:00:10:05");
    EXPECT_EQ(readTimecode({kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kA}),
              "00:00:10:05");
    EXPECT_EQ(readTimecode({}), "");
    // Colour-frame, drop-frame and unused bits do not make a reading another one.
    EXPECT_EQ(readTimecode({timecode(0x01, 0x02, 0x03, 0x04), timecode(0xC1, 0x82, 0x83, 0xC4), kD, kA}),
              "01:02:03:04");
    // In NTSC the eleventh and twelfth sequence are no part of the frame.
    EXPECT_EQ(readTimecode({kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kA, kA}),
              "");
}

TEST(DvMetadata, TheTwelfthMissEndsTheSearch) {
    onPal();
    EXPECT_EQ(readTimecode({kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kA}),
              "00:00:10:05"); // eleven misses
    EXPECT_EQ(
        readTimecode({kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone}),
        "");
}

TEST(DvMetadata, TimecodesOutOfRangeAreRefused) {
    const struct {
        Pack pack;
        const char* read;
    } rows[] = {
        {timecode(0x23, 0x59, 0x59, 0x29), "23:59:59:29"},
        {timecode(0x24, 0x00, 0x00, 0x00), ""},
        {timecode(0x00, 0x60, 0x00, 0x00), ""},
        {timecode(0x00, 0x00, 0x60, 0x00), ""},
        {timecode(0x00, 0x00, 0x00, 0x30), ""},
        {timecode(0x1F, 0x00, 0x00, 0x00), ""}, // hour 25
        {timecode(0x00, 0x0A, 0x00, 0x00), "00:10:00:00"},
    };
    for (const auto& row : rows) EXPECT_EQ(readTimecode({row.pack}), row.read);
    // The value's own mode counts as well.
    Frame frame;
    frame.timecodes({timecode(0x00, 0x00, 0x00, 0x27)});
    CQVTimecode pal(LONG{0}, TCMODE_PAL);
    EXPECT_EQ(frame.decode(&pal, nullptr), 0x803u);
}

TEST(DvMetadata, PalFramesEndAtTwentyFour) {
    onPal();
    EXPECT_EQ(readTimecode({timecode(0x10, 0x09, 0x59, 0x24)}), "10:09:59:24");
    EXPECT_EQ(readTimecode({timecode(0x10, 0x09, 0x59, 0x27)}), "");
}

TEST(DvMetadata, DateAndTimeHaveTwoSources) {
    const Pack otherDate{0x62, 0xFF, 0xD2, 0xEC, 0x05}, otherTime{0x63, 0xFF, 0x56, 0x34, 0x12};
    struct Put {
        int at;
        Pack pack;
    };
    const struct {
        std::vector<Put> packs;
        const char* recorded;
    } rows[] = {
        {{{458, kDate}, {463, kTime}}, "2024-07-08 19:55:58:00"},
        {{{60118, kDate}, {60126, kTime}}, "2024-07-08 19:55:58:00"},
        {{{458, kDate}, {463, kTime}, {60118, otherDate}, {60126, otherTime}}, "2024-07-08 19:55:58:00"},
        {{{458, kTime}, {463, kDate}, {60118, otherDate}, {60126, otherTime}}, "2005-12-12 12:34:56:00"},
        {{{458, otherDate}, {24458, kDate}, {48458, kDate}}, "2024-07-08 09:09:09:09"}, // seen twice
        {{{458, otherDate}}, "2005-12-12 09:09:09:09"}, // the other half stays
        {{{60126, otherTime}}, "1999-09-09 12:34:56:00"},
        {{{60118, otherDate}, {84118, kDate}, {108118, kDate}}, "2024-07-08 09:09:09:09"},
    };
    for (const auto& row : rows) {
        Frame frame;
        for (const Put& put : row.packs) frame.put(put.at, put.pack);
        CQVTimecode recorded = old();
        frame.decode(nullptr, &recorded);
        EXPECT_EQ(full(recorded), row.recorded);
    }
}

// The recording date of a frame whose subcode source holds days 1, 2, 3 and 1 again, the last behind an NTSC frame.
std::string readDayBehind() {
    Frame frame;
    int at = 60118;
    for (const BYTE day : {0x01, 0x02, 0x03, 0x01})
        frame.put(std::exchange(at, at + 24000), {0x62, 0xFF, day, 0x05, 0x10});
    CQVTimecode recorded = old();
    frame.decode(nullptr, &recorded);
    return recorded.Format("%Y-%m-%d");
}

TEST(DvMetadata, NtscDatesEndWithTheTenthSequence) { EXPECT_EQ(readDayBehind(), "2010-05-03"); }

TEST(DvMetadata, PalDatesEndWithTheTwelfthSequence) {
    onPal();
    EXPECT_EQ(readDayBehind(), "2010-05-01");
}

TEST(DvMetadata, ASourceIsSearchedOnlyFromAFirstHit) {
    for (const int at : {24458, 48458, 84118}) {
        Frame frame;
        CQVTimecode recorded = old();
        EXPECT_EQ(frame.put(at, kDate).put(at + 48000, kDate).decode(nullptr, &recorded), 0x803u);
        EXPECT_EQ(full(recorded), "1971-01-01 00:00:00:00") << at;
    }
}

TEST(DvMetadata, RecordingTimeMayHaveFrames) {
    const struct {
        BYTE frames;
        const char* recorded;
    } rows[] = {{0x3F, "12:30:00:00"},
                {0xFF, "12:30:00:00"},
                {0x17, "12:30:00:17"},
                {0xD7, "12:30:00:17"},
                {0x35, "09:09:09:09"}}; // 35 frames: the setter refuses
    for (const auto& row : rows) {
        Frame frame;
        frame.put(463, {0x63, row.frames, 0x00, 0x30, 0x12});
        CQVTimecode recorded = old();
        frame.decode(nullptr, &recorded);
        EXPECT_STREQ(recorded.Format(nullptr), row.recorded) << int{row.frames};
    }
}

TEST(DvMetadata, AnImpossibleDateCountsAsFound) {
    const struct {
        BYTE day, month, year;
        const char* recorded;
    } rows[] = {
        {0x01, 0x01, 0x37, "2037-01-01"}, {0x01, 0x01, 0x38, "1999-09-09"}, {0x01, 0x01, 0x89, "1999-09-09"},
        {0x01, 0x01, 0x90, "1990-01-01"}, {0x01, 0x13, 0x05, "1999-09-09"}, {0xFF, 0xFF, 0xFF, "1999-09-09"},
        {0x31, 0x12, 0x99, "1999-12-31"}, {0xF1, 0xF2, 0x03, "2003-12-31"}, // unused bits set
    };
    for (const auto& row : rows) {
        Frame frame;
        frame.put(458, {0x62, 0xFF, row.day, row.month, row.year}).put(463, kTime).timecodes({kA, kA});
        CQVTimecode tc, recorded = old();
        EXPECT_EQ(frame.decode(&tc, &recorded), 0u);
        EXPECT_STREQ(recorded.Format("%Y-%m-%d"), row.recorded) << std::hex << int{row.year};
    }
}

TEST(DvMetadata, ResultSaysWhatIsMissing) {
    const Pack zero = timecode(0, 0, 0, 0);
    const struct {
        Pack timecode, date, time;
        ULONG result;
    } rows[] = {
        {kA, kDate, kTime, 0},        {kNone, kDate, kTime, 0x801}, {kA, kNone, kTime, 0x802},
        {kA, kDate, kNone, 0x802},    {kA, kNone, kNone, 0x802},    {kNone, kNone, kTime, 0x803},
        {kNone, kNone, kNone, 0x803}, {zero, kDate, kTime, 0},      {zero, kNone, kTime, 0x803},
        {zero, kDate, kNone, 0x803},
    };
    for (const auto& row : rows) {
        Frame frame;
        frame.timecodes({row.timecode}).put(458, row.date).put(463, row.time);
        CQVTimecode tc, recorded;
        EXPECT_EQ(frame.decode(&tc, &recorded), row.result);
        EXPECT_EQ(frame.decode(nullptr, &recorded),
                  row.result | (row.date == kDate && row.time == kTime ? 0x801 : 0x803));
        EXPECT_EQ(frame.decode(&tc, nullptr), row.timecode == kA ? 0x802u : 0x803u);
    }
    CQVTimecode tc = old(), recorded = old();
    ULONG word = 7;
    EXPECT_EQ(QVTLDIF2Timecode(nullptr, &tc, &recorded, &word, &word, &word, &word, &word), 1u);
    EXPECT_TRUE(word == 7 && full(tc) == kOld && full(recorded) == kOld);
}

TEST(DvMetadata, TrackNumberAndSourceBytes) {
    Frame frame;
    frame.put(83, {0xE5, 0x6F, 0, 0, 0}).put(91, {0xC3, 0x4D, 0, 0, 0}).put(99, {0xA1, 0x2B, 0, 0, 0});
    ULONG track = 0, vaux = 1, vauxControl = 2, aaux = 3, aauxControl = 4;
    const auto decode = [&] {
        QVTLDIF2Timecode(frame.bytes.data(), nullptr, nullptr, &track, &vaux, &vauxControl, &aaux,
                         &aauxControl);
    };
    decode();
    EXPECT_EQ(track, 0x123456u);
    EXPECT_TRUE(vaux == 0 && vauxControl == 0 && aaux == 0 && aauxControl == 0);
    frame.put(48448, {0x60, 0x11, 9, 9, 9}).put(48453, {0x61, 0x22, 9, 9, 9});
    frame.put(12483, {0x50, 0x33, 9, 9, 9}).put(13763, {0x51, 0xFF, 9, 9, 9});
    decode();
    EXPECT_TRUE(vaux == 0x11 && vauxControl == 0x22 && aaux == 0x33 && aauxControl == 0xFF);
}

TEST(DvMetadata, SystemIsReadOnce) {
    EXPECT_EQ(QVIsPal(), 0);
    QVWriteProfileInt("Common", "SystemInfo", 1, 0);
    EXPECT_EQ(QVIsPal(), 0);
}

TEST(DvMetadata, OnlyBitZeroMeansPal) {
    qv::test::restartWith([] { QVWriteProfileInt("Common", "SystemInfo", 2, 0); });
    EXPECT_EQ(QVIsPal(), 0);
}

TEST(DvMetadata, AllBitsAreReadAnew) {
    qv::test::restartWith([] { QVWriteProfileInt("Common", "SystemInfo", -1, 0); });
    EXPECT_EQ(QVIsPal(), 1);
    QVWriteProfileInt("Common", "SystemInfo", 2, 0);
    EXPECT_EQ(QVIsPal(), 0);
}

namespace {

const struct {
    const char* label;
    int skipped;
    const char *forward, *backward;
} kLabels[] = {
    {"00:01:00:00", 1, "00:01:00:02", "00:00:59:29"},
    {"00:01:00:01", 1, "00:01:00:02", "00:00:59:29"},
    {"00:01:00:02", 0, nullptr, nullptr},
    {"00:10:00:00", 0, nullptr, nullptr},
    {"01:00:00:01", 0, nullptr, nullptr},
    {"00:01:01:00", 0, nullptr, nullptr},
    {"10:59:00:01", 1, "10:59:00:02", "10:58:59:29"},
};

} // namespace

TEST(DvMetadata, SkippedLabelsAreSteppedOver) {
    for (const auto& row : kLabels) {
        SCOPED_TRACE(row.label);
        for (const int direction : {1, 0, -1, 2}) { // all but 1 go back
            CQVTimecode tc(row.label, TCMODE_DF);
            EXPECT_EQ(QVTLIsDropFrame(tc), row.skipped);
            EXPECT_EQ(QVTLMoveDropFrame(tc, direction), row.skipped);
            EXPECT_STREQ(tc.Format(nullptr), !row.skipped     ? row.label
                                             : direction == 1 ? row.forward
                                                              : row.backward);
        }
    }
    CQVTimecode pal("00:01:00:00", TCMODE_PAL);
    EXPECT_EQ(QVTLIsDropFrame(pal), 1); // the value's mode does not count
}

TEST(DvMetadata, PalSkipsNoLabels) {
    onPal();
    for (const auto& row : kLabels) {
        CQVTimecode tc(row.label, TCMODE_DF);
        EXPECT_EQ(QVTLMoveDropFrame(tc, 1), 0);
    }
}

namespace {

// Every frame of the raw files of one system, against what other programs read from them.
int checkRealFrames(const std::filesystem::path& folder, const std::string& system) {
    int frames = 0;
    for (auto& field : qv::test::readTable(folder / "expected_frames.tsv")) {
        if (field[3] != system || !field[0].ends_with(".dv")) continue;
        SCOPED_TRACE(field[0] + " " + field[1]);
        ++frames;
        const std::string file = qv::test::readFile(folder / field[0]);
        const size_t size = std::stoul(field[2]);
        std::vector<BYTE> frame(file.begin() + static_cast<std::ptrdiff_t>(std::stoul(field[1]) * size),
                                file.begin() +
                                    static_cast<std::ptrdiff_t>((std::stoul(field[1]) + 1) * size));
        CQVTimecode tc(LONG{0}, system == "625/50" ? TCMODE_PAL : TCMODE_DF), recorded;
        ULONG aspect = 0;
        const ULONG result =
            QVTLDIF2Timecode(frame.data(), &tc, &recorded, nullptr, nullptr, &aspect, nullptr, nullptr);
        field[4][8] = ':';
        EXPECT_EQ(tc.Format(nullptr), field[4]);
        EXPECT_EQ(result, field[6].empty() ? 0x803u : 0u); // timecode zero where there is no date
        EXPECT_EQ(std::string(recorded.Format("%Y-%m-%d %H:%M:%S")) + ".000",
                  field[6].empty() ? "1971-01-01 00:00:00.000" : field[6]);
    }
    return frames;
}

} // namespace

TEST(DvMetadata, RealNtscFramesAgreeWithOtherReaders) {
    QV_NEEDS_MEDIA(media);
    EXPECT_GE(checkRealFrames(media / "dv", "525/60"), 7);
}

TEST(DvMetadata, RealPalFramesAgreeWithOtherReaders) {
    QV_NEEDS_MEDIA(media);
    onPal();
    EXPECT_GE(checkRealFrames(media / "dv", "625/50"), 3);
}
