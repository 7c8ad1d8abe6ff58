#include "qvlibs/sidefiles/Estimates.h"

#include "qvlibs/settings/ProfileCtrl.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

namespace {

void onPal() {
    qv::test::restartWith([] { QVWriteProfileInt("Common", "SystemInfo", 1, 0); });
}

} // namespace

TEST(Estimates, SecondsThatFitInFreeSpace) {
    const struct {
        ULONG kind, freeKB, rate;
        LONG seconds;
    } rows[] = {
        {8, 1048576, 0, 282},
        {8, 66, 0, 0},
        {8, 2, 0, 0},
        {8, 0, 0, 0},
        {8, 400000000, 0, 24300},
        {128, 1048576, 6000, 1289},
        {128, 812, 6000, 0},
        {128, 813, 6000, 1},
        {136, 1048576, 6000, 231},
        {128, 1048576, 0xFFFFFFFF, 0},
        {64, 1048576, 0, 0},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(QVTLGetOutputSecondfromFreeSpace(row.kind, row.freeKB, row.rate, 0), row.seconds)
            << row.kind << " " << row.freeKB << " " << row.rate;
    }
    EXPECT_EQ(QVTLGetOutputFramefromFreeSpace(8, 1048576, 0, 0), 282 * 30);
    EXPECT_EQ(QVTLGetMAXFrame(), 729000);
}

TEST(Estimates, SecondsThatFitInFreeSpacePal) {
    onPal();
    EXPECT_EQ(QVTLGetOutputSecondfromFreeSpace(8, 1048576, 0, 0), 282);
    EXPECT_EQ(QVTLGetOutputFramefromFreeSpace(8, 1048576, 0, 0), 282 * 25);
    EXPECT_EQ(QVTLGetMAXFrame(), 607500);
}

// On a drive that is neither FAT nor NTFS.
TEST(Estimates, OneFileCountsNtscSecondsOnBothSystems) {
    onPal();
    const std::string home = qv::test::home();
    if (QVTLGetDiskFormatType(home.c_str()) != DISK_TYPE_OTHER) GTEST_SKIP() << "another kind of drive";
    EXPECT_EQ(QVTLGetOutput1FileMaxSecond(home, 8, 0, 0), 7200);
    EXPECT_EQ(QVTLGetOutput1FileMaxFrame(home, 8, 0, 0), 7200 * 25);
    EXPECT_EQ(QVTLGetOutput1FileMaxSecond(home, 128, 6000, 0), 24300);
    EXPECT_EQ(QVTLGetOutput1FileMaxSecond(home, 16, 0, 0), 0);
    EXPECT_EQ(QVTLGetMaxCaptureSize(home.c_str()), 27000) << "only NTFS gets two hours";
    const struct {
        ULONG kind;
        LONG frames;
        LONG most;
    } rows[] = {{1, 100, 101}, {1, 179999, 180000},      {1, 180000, 180000},        {1, 300000, 180000},
                {0x400, 5, 6}, {0x400, 9999999, 607500}, {0x10000, 9999999, 607500}, {0x80000000, 5, 0},
                {0, 5, 0}};
    for (const auto& row : rows) {
        EXPECT_EQ(QVTLGetMaxFrameSize(home.c_str(), row.kind, row.frames, 6000, 1), row.most)
            << row.kind << " " << row.frames;
    }
}

TEST(Estimates, FileSizes) {
    const struct {
        __int64 frames;
        ULONG kind, rate;
        int pal, audio;
        double size;
    } rows[] = {
        {300, 8, 0, 0, 0, ((300 * 126608.0 + 65548) / 1024 + 2) / 1024 + 1},
        {250, 8, 0, 1, 0, ((250 * 151756.0 + 130084) / 1024 + 2) / 1024 + 1},
        {300, 16, 0, 0, 0, (1764000.0 + 32) / 1024 + 1},
        {300, 64, 0, 0, 0, 300 * 5.93 / 1024 + 1},
        {300, 128, 6000, 0, 0, 10 * 6224 * 133.75 / 1048576 + 1},
        {310, 128, 6000, 0, -5, 310 / 30.0 * 6224 * 133.75 / 1048576 + 1},
        {300, 128, 6000, 0, 384, 10 * 6384 * 133.75 / 1048576 + 1},
        {300, 99, 6000, 0, 0, 1},
    };
    for (const auto& row : rows) {
        EXPECT_DOUBLE_EQ(QVTLGetExchengedFileSize(row.frames, row.kind, row.rate, row.pal, row.audio),
                         row.size)
            << row.kind;
    }
}

TEST(Estimates, AsfCodes) {
    const struct {
        __int64 frames;
        ULONG code;
        __int64 size;
        ULONG rate;
    } rows[] = {{2997, 0x1011, 10800, 768},         {2500, 0x1211, 10800, 768},
                {2997, 0x4022, 2400, 96},           {2997, 0x1012, 6000, 0},
                {2997, 0x2011, 8400, 576},          {100, 0, 0, 0},
                {INT64_MAX, 0x1211, INT64_MAX, 768}};
    for (const auto& row : rows) {
        EXPECT_EQ(QVTLGetExchengedASFFileSize(row.frames, row.code), row.size) << row.code;
        EXPECT_EQ(QVTLGetAsfBitrate(row.code), row.rate) << row.code;
    }
}

TEST(DiskType, FamiliesAreTakenFromTheNameOfTheFileSystem) {
    EXPECT_EQ(QVTLGetDiskFormatType("/proc/self"), DISK_TYPE_OTHER);
    EXPECT_EQ(QVTLGetDiskFormatType(nullptr), QVTLGetDiskFormatType("."));
}
