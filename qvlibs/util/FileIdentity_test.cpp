#include "qvlibs/util/FileIdentity.h"

#include "qvlibs/platform/FileTimes.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

TEST(FileIdentity, TellsWhatAFileIsKnownBy) {
    const fs::path path = qv::test::home() / ".hidden";
    qv::test::writeFile(path, "");
    fs::resize_file(path, 0x1'2345'6789); // no blocks are written
    const timespec times[2] = {{1'000'000'000, 0}, {3'000'000'000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    fs::permissions(path, fs::perms::owner_read);
    fs::current_path(qv::test::home());
    QVFILESTATUS status;
    ASSERT_EQ(QVTLGetStatus(".//./.hidden", status), 1);
    EXPECT_EQ(status.fullPath.str(), path.string());
    EXPECT_EQ(status.sizeLow, 0x23456789u);
    EXPECT_EQ(status.sizeHigh, 1u);
    EXPECT_EQ(status.lastAccessTime, 1'000'000'000);
    EXPECT_EQ(status.lastWriteTime, static_cast<LONG>(3'000'000'000u)) << "the low 32 bits";
    EXPECT_EQ(status.attributes, QV_FILE_READONLY | QV_FILE_HIDDEN);
    EXPECT_EQ(qv::fileTimes(path)->lastWrite, 3'000'000'000) << "64 bits where dates are checked";
    ASSERT_EQ(QVTLGetStatus("/", status), 1);
    EXPECT_EQ(status.attributes & QV_FILE_DIRECTORY, QV_FILE_DIRECTORY);
}

TEST(FileIdentity, AMissingFileLeavesTheRecordAlone) {
    QVFILESTATUS status;
    status.sizeLow = 7;
    EXPECT_EQ(QVTLGetStatus("/nonexistent/file", status), 0);
    EXPECT_EQ(QVTLGetStatus(nullptr, status), 0);
    EXPECT_EQ(status.sizeLow, 7u);
}

TEST(FileIdentity, MissingDatesTakeTheWriteTime) {
    struct statx found {};
    found.stx_mtime.tv_sec = 30;
    found.stx_atime.tv_sec = 20;
    found.stx_btime.tv_sec = 10;
    const struct {
        unsigned mask;
        std::int64_t creation, access;
    } rows[] = {
        {STATX_BTIME | STATX_ATIME, 10, 20}, {STATX_ATIME, 30, 20}, {STATX_BTIME, 10, 30}, {0, 30, 30}};
    for (const auto& row : rows) {
        found.stx_mask = row.mask;
        EXPECT_EQ(qv::timesOf(found).creation, row.creation);
        EXPECT_EQ(qv::timesOf(found).lastAccess, row.access);
        EXPECT_EQ(qv::timesOf(found).lastWrite, 30);
    }
}
