#include "qvlibs/platform/FileUse.h"

#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <thread>

#include <fcntl.h>
#include <unistd.h>

TEST(FileUse, AnOpenFileIsInUseUntilItIsClosed) {
    const auto path = qv::test::home() / "a.mpg";
    EXPECT_TRUE(qv::isFileInUse(path.c_str())) << "cannot be opened";
    qv::test::writeFile(path, "x");
    EXPECT_FALSE(qv::isFileInUse(path.c_str()));
    for (const int mode : {O_WRONLY, O_RDONLY}) {
        const int other = open(path.c_str(), mode);
        EXPECT_TRUE(qv::isFileInUse(path.c_str())) << mode;
        close(other);
        EXPECT_FALSE(qv::isFileInUse(path.c_str())) << mode;
    }
}

TEST(FileUse, OpenersThatComeBetweenDoNotEndTheProcess) {
    const auto path = qv::test::home() / "busy.mpg";
    qv::test::writeFile(path, "x");
    std::thread other([&] {
        for (int i = 0; i < 2000; ++i) close(open(path.c_str(), O_RDONLY));
    });
    for (int i = 0; i < 2000; ++i) static_cast<void>(qv::isFileInUse(path.c_str()));
    other.join();
    EXPECT_FALSE(qv::isFileInUse(path.c_str()));
}
