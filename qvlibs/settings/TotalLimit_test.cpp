#include "qvlibs/settings/TotalLimit.h"

#include "qvlibs/settings/ProfileCtrl.h"

#include <gtest/gtest.h>

namespace {

TEST(TotalLimit, IsReadOnce) {
    EXPECT_EQ(qv::totalLimitFrames(0), 729000);
    QVWriteProfileString("Common", "TotalLimitTime", "00:00:01:00", 0);
    EXPECT_EQ(qv::totalLimitFrames(0), 729000);
    EXPECT_EQ(qv::totalLimitFrames(1), 607500);
}

TEST(TotalLimit, ComesFromTheSettings) {
    QVWriteProfileString("Common", "TotalLimitTime", "00:01:00:00", 0);
    EXPECT_EQ(qv::totalLimitFrames(7), 1500);
    EXPECT_EQ(qv::totalLimitFrames(0), 1800);
}

} // namespace
