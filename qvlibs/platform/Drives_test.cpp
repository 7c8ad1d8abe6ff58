#include "qvlibs/platform/Drives.h"

#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

TEST(Drives, AreAskedThroughTheNearestFolderThatExists) {
    const auto folder = qv::test::home();
    const std::string type = qv::fileSystemName(folder);
    EXPECT_NE(type, "");
    EXPECT_EQ(qv::fileSystemName(folder / "no" / "such" / "file.avi"), type);
    EXPECT_EQ(qv::fileSystemName("/proc/self/status"), "proc");
    EXPECT_NE(qv::fileSystemName("relative name"), "");
    const auto free = qv::freeKilobytes(folder / "not there");
    ASSERT_TRUE(free);
    if (qv::test::hasProgram("df")) {
        const auto said = qv::test::run({"df", "-k", "--output=avail", folder.string()}).out;
        EXPECT_NEAR(static_cast<double>(*free), std::stod(said.substr(said.find('\n'))), 1e6);
    }
}
