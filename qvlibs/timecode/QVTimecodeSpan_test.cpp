#include "qvlibs/timecode/QVTimecodeSpan.h"

#include "qvlibs/framework/Status.h"

#include <gtest/gtest.h>

TEST(TimecodeSpan, ATextThatIsNoTimeIsASuccessfulZero) {
    const struct {
        const char* text;
        int mode;
        ULONG status;
        LONG seconds;
        int frame;
    } rows[] = {
        {"00:10", 31, 0, 0, 0},
        {"00-10-00", 31, 0, 0, 0},
        {"", 31, 0, 0, 0},
        {nullptr, 31, 0, 0, 0},
        {"00:10:00", 31, 0, 600, 0},
        {"23:59:59:29", 31, 0, 86399, 29},
        {"00:00:00:27", 25, 0, 0, 27},
        {"00:00:00:30", 31, 1, 0, 0},
        {"24:00:00:00", 31, 1, 0, 0},
        {"00:60:00:00", 31, 1, 0, 0},
        {"00:00:60:00", 31, 1, 0, 0},
        {"00:00:00:1", 31, 1, 0, 0},
        {"01:02:03:04:05", 31, 0, 3723, 4},
        {"0x:02:03:04", 31, 1, 0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text ? row.text : "(null)");
        CQVTimecodeSpan span(5, 5, 5, 5, 5, row.mode);
        EXPECT_EQ(span.SetAllTime(row.text), row.status);
        EXPECT_EQ(span.GetSpan().GetTotalSeconds(), row.seconds);
        EXPECT_EQ(span.GetFrame(), row.frame);
        EXPECT_EQ(CQVTimecodeSpan(row.text, row.mode).GetSpan().GetTotalSeconds(), row.seconds);
    }
}

TEST(TimecodeSpan, DropFrameCountsLeaveOutWholeDays) {
    const CQVTimecodeSpan span(1, 0, 1, 0, 2, TCMODE_NDF);
    const struct {
        int mode;
        LONG frames;
    } rows[] = {{31, 2593802}, {32, 1800}, {25, 86460 * 25 + 2}, {33, 2593802}, {30, 0}};
    for (const auto& row : rows) EXPECT_EQ(span.TotalFrame(row.mode), row.frames) << row.mode;
    // Products past 32 bits keep their low half.
    EXPECT_EQ(CQVTimecodeSpan(CTimeSpan(0x7FFFFFFF), 0, 31).TotalFrame(31), -30);
}

TEST(TimecodeSpan, CountsSplitByTheRateTruncating) {
    const struct {
        LONG count;
        int mode;
        LONG seconds;
        int frame;
    } rows[] = {{-31, 31, -1, -1}, {1800, 32, 60, 0}, {51, 25, 2, 1}, {59, 31, 1, 29}};
    for (const auto& row : rows) {
        CQVTimecodeSpan span(LONG{7}, row.mode);
        const CQVTimecodeSpan copy = span = row.count;
        for (const CQVTimecodeSpan& each : {span, copy, CQVTimecodeSpan(row.count, row.mode)}) {
            EXPECT_EQ(each.GetSpan().GetTotalSeconds(), row.seconds) << row.count;
            EXPECT_EQ(each.GetFrame(), row.frame) << row.count;
        }
    }
    EXPECT_EQ(CQVTimecodeSpan(1800, 32).TotalFrame(32), 1798); // no drop-frame counting on the way in
}

TEST(TimecodeSpan, AddingFramesCountsThirtyASecondInEveryMode) {
    const struct {
        int mode, frame, added;
        LONG seconds;
        int result;
    } rows[] = {{25, 0, 45, 1, 15}, {31, 29, 1, 1, 0}, {31, 0, -1, 0, -1}, {32, 5, -65, -2, 0}};
    for (const auto& row : rows) {
        CQVTimecodeSpan span(CTimeSpan(0), row.frame, row.mode);
        EXPECT_EQ(&(span += row.added), &span);
        EXPECT_EQ(span.GetSpan().GetTotalSeconds(), row.seconds) << row.added;
        EXPECT_EQ(span.GetFrame(), row.result) << row.added;
    }
}

TEST(TimecodeSpan, AssignmentKeepsTheTargetsMode) {
    CQVTimecodeSpan pal(LONG{0}, TCMODE_PAL);
    const CQVTimecodeSpan second(CTimeSpan(1), 3, TCMODE_NDF);
    const CQVTimecodeSpan result = pal = second;
    EXPECT_EQ(pal.TotalFrame(33), 28);
    EXPECT_EQ(result.TotalFrame(33), 28);
    EXPECT_EQ(CQVTimecodeSpan(second).TotalFrame(33), 33); // but a copy takes it along
}

TEST(TimecodeSpan, PartsAreStoredAndSplitWithoutChecks) {
    const CQVTimecodeSpan asGiven(CTimeSpan(1), 45, 31);
    EXPECT_EQ(asGiven.GetFrame(), 45);
    EXPECT_EQ(asGiven.TotalFrame(31), 75);
    CQVTimecodeSpan span;
    span.SetTime(0, 25, 61, 61, 99);
    EXPECT_EQ(span.GetSpan().GetTotalSeconds(), 93721);
    int days = 0, h = 0, m = 0, s = 0, f = 0;
    span.GetTime(&days, &h, &m, &s, &f);
    EXPECT_TRUE(days == 1 && h == 2 && m == 2 && s == 1 && f == 99);
    CQVTimecodeSpan(CTimeSpan(-3661), 0, 31).GetTime(&days, &h, &m, &s, &f);
    EXPECT_TRUE(days == 0 && h == -1 && m == -1 && s == -1);
}

TEST(TimecodeSpan, OrderIsBySecondsFirst) {
    const CQVTimecodeSpan one(CTimeSpan(1), -29, 31), five(CTimeSpan(0), 5, 31); // one frame, five frames
    EXPECT_TRUE(one > five && five < one);
    EXPECT_FALSE(one < five || five > one || one < one || one > one);
    EXPECT_TRUE(CQVTimecodeSpan(CTimeSpan(1), 1, 31) > CQVTimecodeSpan(CTimeSpan(1), -1, 25));
}

TEST(TimecodeSpan, FormatUsesTheSpansOwnConversions) {
    const struct {
        LONG seconds;
        int frame;
        const char *pattern, *text;
    } rows[] = {
        {93721, 4, nullptr, "02:02:01:04"}, {93721, 4, "%D d %H:%M:%S %% %F", "1 d 02:02:01 % 04"},
        {1, -29, nullptr, "00:00:01:-2"},   {0, 100, "%F", "10"},
        {0, 1000, nullptr, "00:00:00:10"},  {0, 7, "", ""},
    };
    for (const auto& row : rows) {
        EXPECT_STREQ(CQVTimecodeSpan(CTimeSpan(row.seconds), row.frame, 31).Format(row.pattern), row.text);
    }
}

TEST(TimecodeSpan, ArchiveRecordIsTwoWordsWithoutTheMode) {
    CQVTimecodeSpan span(CTimeSpan(93721), -2, TCMODE_NDF);
    CMemFile file;
    {
        CArchive out(&file, CArchive::store);
        span.Serialize(out);
    }
    const std::vector<BYTE> record{0x19, 0x6E, 0x01, 0x00, 0xFE, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(file.Bytes(), record);
    file.Seek(0, CFile::begin);
    CArchive in(&file, CArchive::load);
    CQVTimecodeSpan pal(LONG{0}, TCMODE_PAL);
    pal.Serialize(in);
    EXPECT_EQ(pal.TotalFrame(33), 93721 * 25 - 2);
    EXPECT_THROW(pal.Serialize(in), CArchiveException);
}

TEST(TimecodeSpan, ZeroInTheDefaultModeAtFirst) {
    EXPECT_EQ(CQVTimecodeSpan().TotalFrame(33), 0);
    qv::setDefaultTimecodeMode(TCMODE_PAL);
    EXPECT_EQ(CQVTimecodeSpan(CTimeSpan(1), 0, 33).TotalFrame(33), 25);
    int f = 0, rest = 0;
    CQVTimecodeSpan(51, TCMODE_DEFAULT).GetTime(&rest, &rest, &rest, &rest, &f);
    EXPECT_EQ(f, 1);
}
