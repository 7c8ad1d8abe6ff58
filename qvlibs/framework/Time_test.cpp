#include "qvlibs/framework/Time.h"

#include "qvlibs/framework/Trace.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

void useZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
}

} // namespace

TEST(Time, LocalTimeGoesRoundInSeveralZones) {
    for (const char* zone : {"UTC", "Europe/Berlin", "Asia/Tokyo", "America/New_York"}) {
        useZone(zone);
        const CTime time(2005, 12, 24, 12, 34, 56);
        EXPECT_EQ(time.Format("%Y-%m-%d %H:%M:%S"), "2005-12-24 12:34:56") << zone;
        EXPECT_EQ(time.GetMonth(), 12) << zone;
        EXPECT_EQ(CTime(2005, 2, 31, 0, 0, 0).Format("%m/%d"), "03/03") << "days carry over";
        EXPECT_DOUBLE_EQ(COleDateTime(CTime(1971, 1, 1, 0, 0, 0)), 25934.0) << zone;
        EXPECT_DOUBLE_EQ(COleDateTime(CTime(2005, 12, 24, 18, 0, 0)), 38710.75) << zone;
    }
}

TEST(Time, CountsAre32BitsWideAndWrap) {
    useZone("UTC");
    const CTime last(0x7FFFFFFF);
    EXPECT_EQ((last + CTimeSpan(1)).GetTime(), static_cast<LONG>(0x80000000u));
    EXPECT_EQ(CTime(1969, 12, 31, 23, 59, 59).GetTime(), CTime::kInvalid);
    EXPECT_EQ(CTime(1901, 12, 13, 20, 45, 52).GetTime(), static_cast<LONG>(0x80000000u));
}

TEST(Time, FormatGrowsAndTakesAnEmptyPattern) {
    useZone("UTC");
    EXPECT_EQ(CTime(0).Format(""), "");
    std::string longPattern(1000, 'x');
    EXPECT_EQ(CTime(0).Format((longPattern + "%Y").c_str()), longPattern + "1970");
}

TEST(TimeSpan, FormatSplitsWithTruncationTowardZero) {
    EXPECT_EQ(CTimeSpan(93784).Format("%D %H:%M:%S %% %x"), "1 02:03:04 % %x");
    EXPECT_EQ(CTimeSpan(-3661).Format("%H:%M:%S"), "-1:-1:-1");
    EXPECT_EQ(CTimeSpan(5).Format("%"), "%");
}

TEST(Trace, ScopesReachTheSinkOnlyWhileItIsSet) {
    static std::string seen;
    { QVTL_TRACE(); }
    qv::setTraceSink([](std::string_view text) { seen += text; });
    {
        QV_TRACE("CClass");
        qvTrace << "thinking ["
                << "a.avi"
                << "]\n";
    }
    qv::setTraceSink(nullptr);
    { QVTL_TRACE(); }
    EXPECT_NE(seen.find("enter CClass::TestBody Time_test.cpp:"), std::string::npos) << seen;
    EXPECT_NE(seen.find("\nthinking [a.avi]\n"), std::string::npos) << seen;
    EXPECT_EQ(seen.find("QVTL"), std::string::npos);
}
