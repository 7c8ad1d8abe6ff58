#include "qvlibs/timecode/QVTimecode.h"

#include "qvlibs/framework/Status.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

void setZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
}

void setOrder(const char* locale) { setenv("LC_ALL", locale, 1); } // none of them need be installed

std::string full(const CQVTimecode& tc) {
    const char* text = tc.Format("%Y-%m-%d %H:%M:%S:%F");
    return text ? text : "(null)";
}

constexpr const char* kZones[] = {"UTC", "Europe/Berlin", "America/New_York", "Asia/Tokyo"};

// A value of every zone's own: most cases must not depend on where they run.
class Timecode : public testing::Test {
protected:
    Timecode() { setZone("UTC"); }
};

} // namespace

TEST_F(Timecode, EveryLabelOfTheDayGoesRoundInEveryMode) {
    for (const char* zone : {"UTC", "Europe/Berlin"}) {
        setZone(zone);
        const struct {
            int mode, rate;
            LONG day;
        } rows[] = {{TCMODE_PAL, 25, 2160000}, {TCMODE_NDF, 30, 2592000}, {TCMODE_DF, 30, 2589408}};
        for (const auto& row : rows) {
            SCOPED_TRACE(std::string(zone) + " " + std::to_string(row.mode));
            CQVTimecode tc(LONG{0}, row.mode);
            int h = 0, m = 0, s = 0, f = 0;
            for (LONG n = 0; n < row.day; ++n) {
                ASSERT_EQ(tc.SetTime(n, row.mode), QV_OK);
                ASSERT_EQ(tc.TotalFrame(row.mode), n);
                // The next label by walking the clock.
                int gotH = 0, gotM = 0, gotS = 0, gotF = 0;
                tc.GetTime(&gotH, &gotM, &gotS, &gotF);
                ASSERT_TRUE(gotH == h && gotM == m && gotS == s && gotF == f) << n;
                if (++f == row.rate) f = 0, ++s;
                if (s == 60) s = 0, ++m;
                if (m == 60) m = 0, ++h;
                if (row.mode == TCMODE_DF && s == 0 && f == 0 && m % 10 != 0) f = 2;
            }
        }
    }
}

TEST_F(Timecode, AgreesWithTheTablesOfOtherLibraries) {
    QV_NEEDS_MEDIA(media);
    const auto labels = qv::test::readTable(media / "timecode/labels.tsv");
    for (size_t i = 1; i < labels.size(); ++i) {
        const LONG count = std::stoi(labels[i][0]);
        const struct {
            size_t column;
            int mode;
        } columns[] = {{1, TCMODE_DF}, {2, TCMODE_NDF}, {3, TCMODE_PAL}};
        for (const auto& row : columns) {
            std::string label = labels[i][row.column];
            if (label.empty()) continue;
            EXPECT_EQ(CQVTimecode(label.c_str(), row.mode).TotalFrame(row.mode), count) << label;
            if (label[8] == ';') label[8] = ':';
            EXPECT_STREQ(CQVTimecode(count, row.mode).Format(nullptr), label.c_str());
        }
    }
    const auto sums = qv::test::readTable(media / "timecode/arithmetic.tsv");
    for (size_t i = 1; i < sums.size(); ++i) {
        const auto& sum = sums[i];
        const int mode = sum[0] == "pal" ? TCMODE_PAL : sum[0] == "ntsc_drop" ? TCMODE_DF : TCMODE_NDF;
        const CQVTimecode start(sum[1].c_str(), mode), end(sum[3].c_str(), mode);
        EXPECT_EQ(end.TotalFrame(mode) - start.TotalFrame(mode), std::stoi(sum[2])) << sum[1];
    }
    EXPECT_GT(labels.size() + sums.size(), 1900u);
}

TEST_F(Timecode, TextSetsWhatItHolds) {
    const struct {
        const char* text;
        int mode;
        ULONG status;
        const char* value;
    } rows[] = {
        {"12:34:56:29", 31, 0, "1971-01-01 12:34:56:29"},
        {"12:34:56:29", 25, 1, "1971-01-01 00:00:00:00"},
        {"12:34:56:24", 25, 0, "1971-01-01 12:34:56:24"},
        {"12:34:56:25", 25, 1, "1971-01-01 00:00:00:00"},
        {"12:34:56:30", 32, 1, "1971-01-01 00:00:00:00"},
        {"12:34:56", 31, 0, "1971-01-01 12:34:56:00"},
        {"12:34:56:10 and more", 31, 0, "1971-01-01 12:34:56:10"},
        {"12:34-56.10", 31, 0, "1971-01-01 12:34:56:10"}, // only the first separator counts
        {"12:34:56:2", 31, 1, "1971-01-01 00:00:00:00"},
        {"24:00:00:00", 31, 1, "1971-01-01 00:00:00:00"},
        {"12:60:00:00", 31, 1, "1971-01-01 00:00:00:00"},
        {"1234", 31, 1, "1971-01-01 00:00:00:00"},
        {"12-34-56", 31, 1, "1971-01-01 00:00:00:00"},
        {"\xB2\xB3:34:56:10", 31, 1, "1971-01-01 00:00:00:00"},
        {"05/12/24 12:34:56:10", 31, 0, "2005-12-24 12:34:56:10"},
        {"05/12/24 12:34:56:10:99", 31, 0, "2005-12-24 12:34:56:10"},
        {"99/12/31", 31, 0, "1999-12-31 00:00:00:00"},
        {"05/12/24 12:34", 31, 0, "2005-12-24 12:34:00:00"},
        {"05/12/24x12.34:56:10", 31, 0, "2005-12-24 00:00:00:00"},
        {"70/01/01", 31, 1, "1971-01-01 00:00:00:00"}, // 2070
        {"71/06/01", 31, 0, "1971-06-01 00:00:00:00"},
        {"37/06/01", 31, 0, "2037-06-01 00:00:00:00"},
        {"38/06/01", 31, 1, "1971-01-01 00:00:00:00"},
        {"05/13/24", 31, 1, "1971-01-01 00:00:00:00"},
        // A date that was read stays although its time is bad.
        {"05/12/24 1", 31, 1, "2005-12-24 00:00:00:00"},
        {"05/12/24 99:00:00:00", 31, 1, "2005-12-24 00:00:00:00"},
        {nullptr, 31, 1, "1971-01-01 00:00:00:00"},
    };
    for (const char* zone : kZones) {
        setZone(zone);
        for (const auto& row : rows) {
            SCOPED_TRACE(std::string(zone) + " " + (row.text ? row.text : "(null)"));
            CQVTimecode tc(2001, 2, 3, 4, 5, 6, 7, row.mode);
            EXPECT_EQ(tc.SetAllTime(row.text), row.status);
            EXPECT_EQ(full(tc), row.value);
            EXPECT_EQ(full(CQVTimecode(row.text, row.mode)), row.value);
        }
    }
}

TEST_F(Timecode, TheRateItselfPassesAsAFrame) {
    const struct {
        int mode, frame, check, valid;
    } rows[] = {{31, 29, 1, 1}, {31, 30, 1, 0}, {31, 31, 0, 0}, {32, 30, 1, 0},
                {25, 24, 1, 1}, {25, 25, 1, 0}, {25, 26, 0, 0}, {31, -1, 0, 0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.mode) + " " + std::to_string(row.frame));
        CQVTimecode tc(LONG{0}, row.mode);
        EXPECT_EQ(tc.CheckTime(1971, 1, 1, 0, 0, 0, row.frame), row.check);
        EXPECT_EQ(tc.IsValidTime(0, 0, 0, row.frame, row.mode), row.valid);
        EXPECT_EQ(tc.IsValidTime(0, 0, 0, row.frame, TCMODE_DEFAULT), row.valid);
        EXPECT_EQ(tc.SetTime(0, 0, 0, row.frame), row.check ? QV_OK : QV_FAILED);
        EXPECT_EQ(tc.GetFrame(), row.check ? row.frame : 0);
    }
    EXPECT_EQ(CQVTimecode(LONG{0}, 25).IsValidTime(0, 0, 0, 27, 31), 1);
}

TEST_F(Timecode, RangesOfDateAndTime) {
    const CQVTimecode tc(LONG{0}, 31);
    const struct {
        int Y, M, D, h, m, s, check;
    } rows[] = {{1970, 1, 1, 0, 0, 0, 1},  {1969, 12, 31, 0, 0, 0, 0}, {2037, 12, 31, 23, 59, 59, 1},
                {2038, 1, 1, 0, 0, 0, 0},  {2005, 0, 1, 0, 0, 0, 0},   {2005, 13, 1, 0, 0, 0, 0},
                {2005, 1, 0, 0, 0, 0, 0},  {2005, 1, 32, 0, 0, 0, 0},  {2005, 1, 1, 24, 0, 0, 0},
                {2005, 1, 1, 0, 60, 0, 0}, {2005, 1, 1, 0, 0, 60, 0},  {2005, 1, 1, -1, 0, 0, 0}};
    for (const auto& row : rows) {
        EXPECT_EQ(tc.CheckTime(row.Y, row.M, row.D, row.h, row.m, row.s, 0), row.check)
            << row.Y << ' ' << row.M << ' ' << row.D << ' ' << row.h;
    }
}

TEST_F(Timecode, DaysPastTheMonthCarryOver) {
    CQVTimecode tc;
    EXPECT_EQ(tc.SetAllTime(2005, 2, 31, 0, 0, 0, 0), QV_OK);
    EXPECT_EQ(full(tc), "2005-03-03 00:00:00:00");
}

TEST_F(Timecode, CountsConvertByTheModeGivenAndDoNotStoreIt) {
    CQVTimecode tc(2005, 12, 24, 1, 2, 3, 4, TCMODE_PAL);
    EXPECT_EQ(tc.SetTime(30, TCMODE_NDF), QV_OK);
    EXPECT_EQ(full(tc), "1971-01-01 00:00:01:00"); // the date is reset
    EXPECT_EQ(tc.TotalFrame(TCMODE_DEFAULT), 25);
    EXPECT_EQ(tc.SetTime(0, 30), QV_FAILED);
    EXPECT_EQ(tc.TotalFrame(30), 0);
}

TEST_F(Timecode, ACountPastTheDayIsDoneAndLeavesTheValue) {
    CQVTimecode tc("12:34:56:10", TCMODE_NDF);
    for (const LONG count : {LONG{2592000}, LONG{-1}, LONG{-2147483647 - 1}, LONG{2147483647}}) {
        EXPECT_EQ(tc.SetTime(count, TCMODE_NDF), QV_OK);
        EXPECT_STREQ(tc.Format(nullptr), "12:34:56:10");
    }
    EXPECT_EQ(tc.SetTime(-1, TCMODE_DF), QV_OK);
    EXPECT_STREQ(tc.Format(nullptr), "12:34:56:10");
    EXPECT_EQ(full(CQVTimecode(2592000, 31)), "1971-01-01 00:00:00:00");
}

TEST_F(Timecode, ASkippedLabelIsCountedAllTheSame) {
    EXPECT_EQ(CQVTimecode("00:01:00:00", TCMODE_DF).TotalFrame(TCMODE_DF), 1798);
    EXPECT_EQ(CQVTimecode("23:59:59:29", TCMODE_DF).TotalFrame(TCMODE_DF), 2589407);
}

TEST_F(Timecode, SettersKeepTheOtherHalf) {
    CQVTimecode tc(2005, 12, 24, 12, 34, 56, 10, TCMODE_NDF);
    EXPECT_EQ(tc.SetDate(1999, 1, 2), QV_OK);
    EXPECT_EQ(full(tc), "1999-01-02 12:34:56:10");
    EXPECT_EQ(tc.SetTime(1, 2, 3, 4), QV_OK);
    EXPECT_EQ(full(tc), "1999-01-02 01:02:03:04");
    EXPECT_EQ(tc.SetDate(2038, 1, 2), QV_FAILED);
    EXPECT_EQ(tc.SetTime(24, 0, 0, 0), QV_FAILED);
    EXPECT_EQ(full(tc), "1999-01-02 01:02:03:04");
    int Y = 0, M = 0, D = 0, h = 0, m = 0, s = 0, f = 0;
    tc.GetAllTime(&Y, &M, &D, &h, &m, &s, &f);
    EXPECT_EQ(std::to_string(Y) + "/" + std::to_string(M) + "/" + std::to_string(D), "1999/1/2");
    EXPECT_TRUE(h == 1 && m == 2 && s == 3 && f == 4);
    EXPECT_TRUE(tc.GetYear() == 1999 && tc.GetMonth() == 1 && tc.GetDay() == 2 && tc.GetHour() == 1 &&
                tc.GetMinute() == 2 && tc.GetSecond() == 3);
    EXPECT_EQ(double{COleDateTime(CQVTimecode(1971, 1, 1, 12, 0, 0, 5, 31))}, 25934.5);
    const std::time_t before = std::time(nullptr);
    tc.SetCurrentTime();
    EXPECT_GE(CTime(tc).GetTime(), before);
    EXPECT_EQ(tc.GetFrame(), 0);
}

TEST_F(Timecode, MillisecondsCountThirtyFramesInEveryMode) {
    CQVTimecode pal("00:00:01:12", TCMODE_PAL);
    EXPECT_EQ(pal.GetMilliseconds(), 1400u); // 12 of 30, not of 25
    CQVTimecode tc(2005, 12, 24, 0, 0, 0, 0, TCMODE_NDF);
    EXPECT_EQ(tc.SetMilliseconds(45296333), QV_OK);
    EXPECT_EQ(full(tc), "2005-12-24 12:34:56:09"); // not the way back of the next line
    EXPECT_EQ(CQVTimecode("00:00:00:10", TCMODE_NDF).GetMilliseconds(), 333u);
    EXPECT_EQ(pal.SetMilliseconds(900), QV_FAILED); // frame 27
    EXPECT_STREQ(pal.Format(nullptr), "00:00:01:12");
    EXPECT_EQ(tc.SetMilliseconds(86400000), QV_FAILED);
    EXPECT_EQ(tc.SetMilliseconds(0xFFFFFFFF), QV_FAILED);
}

TEST_F(Timecode, MinutesOfDropFrameAreAMixedQuantity) {
    const CQVTimecode tc("01:01:10:05", TCMODE_NDF);
    const struct {
        int mode;
        LONG minutes;
    } rows[] = {{25, 61}, {31, 61}, {33, 61}, {32, 60 * 61 - 2 * (54 + 1)}, {30, 0}};
    for (const auto& row : rows) EXPECT_EQ(tc.TotalMinits(row.mode), row.minutes) << row.mode;
}

TEST_F(Timecode, TheTwoNormalisationRulesDiffer) {
    const CQVTimecode second("00:00:01:00", TCMODE_NDF);
    EXPECT_EQ(full(second - 30), "1971-01-01 00:00:00:00");
    // Adding minus a second leaves frame 30: the count is right, the label shows the rate.
    EXPECT_EQ(full(second + -30), "1970-12-31 23:59:59:30");
    EXPECT_LT(second + -30, second - 30);
    EXPECT_EQ(full(second - CQVTimecodeSpan(CTimeSpan(0), 30, 31)), "1970-12-31 23:59:59:30");
    EXPECT_EQ(full(second + CQVTimecodeSpan(CTimeSpan(0), -30, 31)), "1970-12-31 23:59:59:30");
    EXPECT_EQ(full(second + -31), "1970-12-31 23:59:59:29");
    EXPECT_EQ(full(second - 31), "1970-12-31 23:59:59:29");
    EXPECT_EQ(full(second - 1), "1971-01-01 00:00:00:29");
    EXPECT_EQ(full(second - -31), "1971-01-01 00:00:02:01");
    EXPECT_EQ(full(CQVTimecode("00:00:01:00", TCMODE_PAL) - 26), "1970-12-31 23:59:59:24");
    EXPECT_EQ(full(CQVTimecode("00:00:01:00", TCMODE_PAL) + 26), "1971-01-01 00:00:02:01");
}

TEST_F(Timecode, SumsCarryThroughTheCalendarUnchecked) {
    EXPECT_EQ(full(CQVTimecode("23:59:59:29", 31) + 1), "1971-01-02 00:00:00:00");
    CQVTimecode tc(2037, 12, 31, 23, 59, 59, 29, 32);
    tc += CQVTimecodeSpan(1, 0, 0, 0, 1, 32);
    EXPECT_EQ(full(tc), "2038-01-02 00:00:00:00");
    EXPECT_EQ(tc.SetTime(1, 1, 1, 1), QV_FAILED); // out of a setter's range, but a value all the same
    tc -= CQVTimecodeSpan(1, 0, 0, 0, 1, 32);
    EXPECT_EQ(full(tc), "2037-12-31 23:59:59:29");
}

TEST_F(Timecode, SumsCountCalendarSecondsAcrossDaylightSaving) {
    setZone("Europe/Berlin");
    EXPECT_EQ(full(CQVTimecode(2005, 3, 27, 1, 59, 59, 29, 31) + 1), "2005-03-27 03:00:00:00");
}

TEST_F(Timecode, DifferencesKeepANegativeFrame) {
    const CQVTimecode a("00:00:01:00", 31), b("00:00:00:29", 31);
    const CQVTimecodeSpan span = a - b;
    EXPECT_EQ(span.GetSpan().GetTotalSeconds(), 1);
    EXPECT_EQ(span.GetFrame(), -29);
    EXPECT_EQ(span.TotalFrame(31), 1);
    const CQVTimecode c(CTime(a), 40, 31);
    EXPECT_EQ((c - b).TotalFrame(31), 41);
    EXPECT_EQ((c - CQVTimecode(CTime(b), 5, 31)).GetSpan().GetTotalSeconds(), 2); // 35 frames are normalised
}

TEST_F(Timecode, PostfixStepsGiveTheChangedObject) {
    CQVTimecode tc;
    EXPECT_EQ((tc++).GetFrame(), 1);
    EXPECT_EQ(&(tc++), &tc);
    EXPECT_EQ((tc--).GetFrame(), 1);
}

TEST_F(Timecode, ComparisonsLookAtTimeThenFrameAndNeverAtTheMode) {
    const CQVTimecode pal("00:00:01:00", 25), ntsc("00:00:01:00", 31), later("00:00:01:01", 31);
    EXPECT_TRUE(pal == ntsc && !(pal != ntsc) && pal <= ntsc && pal >= ntsc);
    EXPECT_TRUE(ntsc < later && later > ntsc && ntsc <= later && later >= ntsc && ntsc != later);
    EXPECT_FALSE(later < ntsc || ntsc > later || later <= ntsc || ntsc >= later || ntsc == later);
    EXPECT_TRUE(CQVTimecode(CTime(1), -5, 31) < CQVTimecode(CTime(1), 0, 31));
    EXPECT_TRUE(CQVTimecode(CTime(-1), 9, 31) < CQVTimecode(CTime(0), 0, 31));
}

TEST_F(Timecode, CopiesTakeTheModeAlong) {
    const CQVTimecode pal("00:00:01:00", TCMODE_PAL);
    CQVTimecode copy(pal), assigned(LONG{0}, TCMODE_NDF);
    assigned = pal;
    EXPECT_EQ(copy.TotalFrame(33), 25);
    EXPECT_EQ(assigned.TotalFrame(33), 25);
}

TEST_F(Timecode, APointedToModeIsStoredAsItIs) {
    int mode = TCMODE_DEFAULT;
    CQVTimecode tc(&mode);
    EXPECT_EQ(tc.SetTime(0, 0, 1, 30), QV_OK); // 30 frames a second
    EXPECT_EQ(tc.TotalFrame(33), 0);           // 33 is no mode to count in
    EXPECT_EQ(CQVTimecode(30, 33).TotalFrame(33), 30);
}

TEST_F(Timecode, TheLibraryDefaultIsNtscUntilSet) {
    EXPECT_EQ(CQVTimecode("00:00:01:00", 33).TotalFrame(33), 30);
    qv::setDefaultTimecodeMode(TCMODE_PAL);
    EXPECT_EQ(CQVTimecode("00:00:01:00", 33).TotalFrame(33), 25);
    EXPECT_EQ(CQVTimecode().CheckTime(1971, 1, 1, 0, 0, 0, 26), 0);
}

TEST_F(Timecode, FormatReplacesTheFirstFrameFieldWithTwoCharacters) {
    const CQVTimecode odd(CTime(1971, 1, 1, 1, 2, 3), 123, 31), five("00:00:00:05", 31);
    EXPECT_STREQ(odd.Format(nullptr), "01:02:03:12");
    // What is left is strftime's own: an ISO date.
    EXPECT_STREQ(five.Format("%F %F"), "05 1971-01-01");
    EXPECT_STREQ(five.Format(""), "");
    EXPECT_STREQ(five.Format("%Y"), "1971");
}

TEST_F(Timecode, FormatRefusesFramesOutsideThreeDigits) {
    EXPECT_EQ(CQVTimecode(CTime(5), 1000, 31).Format(nullptr), nullptr);
    EXPECT_EQ(CQVTimecode(CTime(5), -1, 31).Format("%H"), nullptr);
    EXPECT_STREQ(CQVTimecode(CTime(5), 999, 31).Format("%F"), "99");
}

TEST_F(Timecode, FormattedTextBelongsToItsObject) {
    const CQVTimecode a("00:00:01:00", 31), b("00:00:02:00", 31);
    const char* first = a.Format(nullptr);
    b.Format(nullptr);
    EXPECT_STREQ(first, "00:00:01:00");
}

TEST_F(Timecode, DatesFollowTheUsersOrder) {
    const CQVTimecode none, frame(CTime(1971, 1, 1, 0, 0, 0), 1, 31), some(2005, 12, 24, 12, 34, 56, 7, 31);
    const struct {
        const char* locale;
        const char *dashes, *text, *noYear, *prefix;
    } rows[] = {
        {"en_US.UTF-8", "--/--/---- --:--:--", "12/24/2005 12:34:56", "12/24 12:34", "12242005_1234"},
        {"de_DE.UTF-8", "--/--/---- --:--:--", "24/12/2005 12:34:56", "24/12 12:34", "24122005_1234"},
        {"ja_JP.UTF-8", "----/--/-- --:--:--", "2005/12/24 12:34:56", "12/24 12:34", "20051224_1234"},
        {"C", "--/--/---- --:--:--", "12/24/2005 12:34:56", "12/24 12:34", "12242005_1234"},
        {"xx_YY", "--/--/---- --:--:--", "24/12/2005 12:34:56", "24/12 12:34", "24122005_1234"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.locale);
        setOrder(row.locale);
        EXPECT_STREQ(none.DateFormat(1, 1, 1, 1), row.dashes);
        EXPECT_STREQ(some.DateFormat(1, 1, 1, 1), row.text);
        EXPECT_STREQ(some.DateFormat(1, 1, 0, 0), row.noYear);
        EXPECT_STREQ(some.PrefixDateFormat(), row.prefix);
    }
    setOrder("de_DE");
    EXPECT_STREQ(frame.DateFormat(1, 1, 1, 1),
                 "01/01/1971 00:00:00"); // frame 1: no longer the value without date
    EXPECT_STREQ(none.DateFormat(0, 1, 0, 0), "--:--");
    EXPECT_STREQ(none.DateFormat(1, 0, 0, 0), "--/--");
    EXPECT_STREQ(none.DateFormat(0, 0, 1, 1), "");
    EXPECT_STREQ(none.PrefixDateFormat(), "01011971_0000"); // no dashes in file names
}

TEST_F(Timecode, TheFirstLocaleVariableThatIsSetDecides) {
    const CQVTimecode some(2005, 12, 24, 0, 0, 0, 0, 31);
    unsetenv("LC_ALL");
    setenv("LC_TIME", "ja_JP", 1);
    setenv("LANG", "de_DE", 1);
    EXPECT_STREQ(some.DateFormat(1, 0, 0, 1), "2005/12/24");
    setenv("LC_TIME", "", 1);
    EXPECT_STREQ(some.DateFormat(1, 0, 0, 1), "24/12/2005");
    unsetenv("LANG");
    EXPECT_STREQ(some.DateFormat(1, 0, 0, 1), "12/24/2005");
}

TEST_F(Timecode, NonDropValuesAreRelabelled) {
    const struct {
        const char *from, *to;
    } rows[] = {{"00:00:59:29", "00:00:59:29"}, {"00:10:00:00", "00:10:00:18"},
                {"01:00:00:00", "01:00:03:18"}, {"00:01:59:28", "00:02:00:02"},
                {"17:00:00:00", "17:01:01:08"}, {"23:59:59:29", "23:59:59:29"}};
    for (const auto& row : rows) {
        CQVTimecode tc(row.from, TCMODE_NDF);
        tc.SetDate(2005, 12, 24);
        const bool refused = std::string(row.from) == "23:59:59:29"; // hour 24: stays, with its date
        EXPECT_EQ(&tc.NonDrop2Drop(), &tc);
        EXPECT_EQ(full(tc), std::string(refused ? "2005-12-24 " : "1971-01-01 ") + row.to) << row.from;
    }
    CQVTimecode pal(2005, 12, 24, 1, 0, 0, 0, TCMODE_PAL);
    EXPECT_EQ(full(pal.NonDrop2Drop()), "2005-12-24 01:00:00:00");
}

TEST_F(Timecode, TheInvalidTimeCountsAsMidnightInMode31Only) {
    const CQVTimecode tc = CQVTimecode(CTime(0), 0, 31) - 1; // one frame before 1970
    EXPECT_EQ(CTime(tc).GetTime(), CTime::kInvalid);
    EXPECT_EQ(tc.TotalFrame(31), 29);
    EXPECT_EQ(tc.TotalFrame(25), 86399 * 25 + 29);
}

namespace {

std::string stored(CQVTimecode tc) {
    CMemFile file;
    CArchive out(&file, CArchive::store);
    tc.Serialize(out);
    out.Close();
    return {file.Bytes().begin(), file.Bytes().end()};
}

void load(CQVTimecode& tc, const std::string& bytes) {
    CMemFile file(bytes.data(), bytes.size());
    CArchive in(&file, CArchive::load);
    tc.Serialize(in);
}

} // namespace

TEST_F(Timecode, ArchiveRecordIsFourWords) {
    const std::string record("\x70\x40\xAD\x43" // 2005-12-24 12:34:56 UTC
                             "\x0A\0\0\0"
                             "\x01\x56\x34\x12"
                             "\x24\x12\x05\x20",
                             16);
    EXPECT_EQ(stored(CQVTimecode(2005, 12, 24, 12, 34, 56, 10, 31)), record);
    // The BCD words hold in any zone, and the reader keeps its mode.
    for (const char* zone : kZones) {
        setZone(zone);
        CQVTimecode tc("00:00:00:00", TCMODE_PAL);
        load(tc, record);
        EXPECT_EQ(full(tc), "2005-12-24 12:34:56:10") << zone;
        EXPECT_EQ(tc.TotalFrame(33), (12 * 3600 + 34 * 60 + 56) * 25 + 10);
        EXPECT_EQ(stored(tc).substr(4), record.substr(4));
    }
}

TEST_F(Timecode, ArchiveMarkerDecidesWhatHolds) {
    std::string record = stored(CQVTimecode(2005, 12, 24, 12, 34, 56, 10, 31));
    record[0] = 0x71;
    record[8] = 0;
    CQVTimecode tc;
    load(tc, record);
    EXPECT_EQ(full(tc), "2005-12-24 12:34:57:10");
    record[8] = 2;
    try {
        load(tc, record);
        FAIL() << "a record of another version was taken";
    } catch (const CArchiveException& refused) {
        EXPECT_EQ(refused.m_cause, 7);
        EXPECT_STREQ(refused.m_strFileName, "CQVTimecode");
    }
    for (size_t size = 0; size < record.size(); ++size) {
        EXPECT_THROW(load(tc, record.substr(0, size)), CArchiveException) << size;
    }
}

TEST_F(Timecode, BothValuesAreMadeByName) {
    for (const char* name : {"CQVTimecode", "CQVTimecodeSpan"}) {
        const CRuntimeClass* type = CRuntimeClass::FromName(name);
        ASSERT_NE(type, nullptr) << name;
        const std::unique_ptr<CObject> made(type->CreateObject());
        EXPECT_STREQ(made->GetRuntimeClass()->m_lpszClassName, name);
    }
}
