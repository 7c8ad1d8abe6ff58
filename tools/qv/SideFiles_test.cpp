// qv mtv, estimate and cache.
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/sidefiles/MtvRecord.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

using qv::test::home;

namespace {

qv::test::RunResult qvRun(const std::string& words) {
    std::istringstream in(words);
    return qv::test::runQv({std::istream_iterator<std::string>(in), {}});
}

std::string sideFile(const char* name, const char* link) {
    const std::string path = home() / name;
    MtvAtrTag* record = MTV_AllocMtv(0x10000, "Maker", link, 0);
    record->year = 2005, record->month = 12, record->day = 24;
    EXPECT_EQ(MTV_SaveFile(path.c_str(), record, 0), 0u);
    MTV_FreeMtv(record, 0);
    return path;
}

} // namespace

TEST(MtvCommand, ShowsAndLinks) {
    QVWriteProfileString("Mtv", "VendorID00", "Maker", 0);
    const std::string path = sideFile("clip.mtv", "clip.mpg");
    const auto shown = qvRun("mtv show --json " + path);
    EXPECT_EQ(shown.exitCode, 0) << shown.err;
    EXPECT_NE(shown.out.find("\"link\": \"clip.mpg\""), std::string::npos) << shown.out;
    EXPECT_NE(shown.out.find("\"recorded\": \"2005-12-24T00:00:00\""), std::string::npos);
    EXPECT_NE(shown.out.find("\"vendorSupported\": true"), std::string::npos);
    EXPECT_EQ(qvRun("mtv link " + path + " " + (home() / "new.mpg").string()).exitCode, 0);
    EXPECT_EQ(qvRun("mtv show " + (home() / "new.mpg").string()).exitCode, 0);
    EXPECT_EQ(qvRun("mtv show " + (home() / "clip.mpg").string()).exitCode, 3);
    qv::test::writeFile(path, "short");
    EXPECT_EQ(qvRun("mtv show " + path).exitCode, 5);
    EXPECT_EQ(qvRun("mtv make " + path).exitCode, 1);
    for (const char* words : {"mtv show no.mtv", "mtv make no.mpg", "mtv link no.mtv new.mpg"})
        EXPECT_EQ(qvRun(words).exitCode, 3) << words;
    for (const char* date : {"yesterday", "2005-12-24x", "2005-12-24T12:34:56Z", "2005-13-01"})
        EXPECT_EQ(qvRun(std::string("mtv make a.mpg --date ") + date).exitCode, 2) << date;
    EXPECT_NE(qvRun("mtv vendors").out.find("00  Maker"), std::string::npos);
}

TEST(EstimateCommand, SizesAndSpaces) {
    EXPECT_EQ(qvRun("estimate size dv --length 00:00:10:00").out, "37.3 MB\n");
    EXPECT_EQ(qvRun("estimate size pcm --frames 300").out, "1.7 MB\n");
    for (const char* length : {" --length ten", " --length 05/12/24", ""})
        EXPECT_EQ(qvRun(std::string("estimate size dv") + length).exitCode, 2) << length;
    EXPECT_EQ(qvRun("estimate space cheese").exitCode, 2);
    const auto space = qvRun("estimate space dv --json --quiet " + home().string());
    EXPECT_EQ(space.exitCode, 0) << space.err;
    EXPECT_NE(space.out.find("secondsInFreeSpace"), std::string::npos);
}

TEST(CacheCommand, OnlyTheMainApplicationWrites) {
    const auto folder = qv::test::makeFolder("cache");
    QVWriteProfileString("Common", "ImageTemp", folder.c_str(), 0);
    EXPECT_EQ(qvRun("cache clear").exitCode, 4);
    QVWriteProfileString("Common", "MainApplication", "qv", 0);
    EXPECT_EQ(qvRun("cache clear").exitCode, 0);
    EXPECT_EQ(qv::test::readFile(folder / "QVLibs510.archive").size(), 12u);
    EXPECT_NE(qvRun("cache show --json").out.find("\"saved\": true"), std::string::npos);
}
