#include "qvlibs/settings/ProfileCtrl.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

qv::test::RunResult tc(const std::string& words) {
    std::vector<std::string> command{"tc"};
    std::istringstream in(words);
    for (std::string word; in >> word;) command.push_back(word);
    return qv::test::runQv(command);
}

} // namespace

TEST(Tc, AnswersInEveryMode) {
    const struct {
        const char* words;
        const char* answer;
    } rows[] = {
        {"frames 00:01:00:02 --mode df", "1800"},
        {"frames 00:01:00;02 --mode df", "1800"},
        {"frames 00:01:00:02 --mode ndf", "1802"},
        {"frames 00:01:00:02", "1802"},
        {"frames 01:00:00 --mode pal", "90000"},
        {"label 17982 --mode df", "00:10:00:00"},
        {"label 0", "00:00:00:00"},
        {"label 2159999 --mode pal", "23:59:59:24"},
        {"add 00:00:59:29 1 --mode df", "00:01:00:02"},
        {"--mode df add 00:01:00:02 -1", "00:00:59:29"},
        {"diff 10:00:00:00 09:59:58:12", "48"},
        {"diff 00:00:00:00 00:00:00:24 --mode pal", "-24"},
    };
    for (const auto& row : rows) {
        const auto result = tc(row.words);
        SCOPED_TRACE(row.words);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.out, std::string(row.answer) + "\n");
    }
}

TEST(Tc, RefusesWhatIsNoLabelAndWhatLeavesTheDay) {
    const struct {
        const char* words;
        int exitCode;
    } rows[] = {
        {"frames 00:00:00:30", 2},
        {"frames 00:00:00:25 --mode pal", 2},
        {"frames 24:00:00:00", 2},
        {"frames 00:00:00:0", 2},
        {"frames 05/12/24", 2}, // a date is a timecode's text, but no label
        {"frames 00:01:00:01 --mode df", 2},
        {"diff 00:00:00:00 00:01:00:00 --mode df", 2},
        {"label -1", 1},
        {"label 2589408 --mode df", 1},
        {"label 99999999999", 2},
        {"add 23:59:59:29 1 --mode ndf", 1},
        {"add 00:00:00:10 2147483647 --mode ndf", 1},
    };
    for (const auto& row : rows) {
        const auto result = tc(row.words);
        SCOPED_TRACE(row.words);
        EXPECT_EQ(result.exitCode, row.exitCode);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err.substr(0, 4), "qv: ");
    }
}

TEST(Tc, JsonNamesTheMode) {
    EXPECT_EQ(tc("label 1800 --mode df --json").out,
              "{\n  \"mode\": \"df\",\n  \"frames\": 1800,\n  \"label\": \"00:01:00:02\"\n}\n");
    EXPECT_EQ(tc("frames 00:00:01:00 --json").out, "{\n  \"mode\": \"ndf\",\n  \"frames\": 30\n}\n");
}

TEST(Tc, TheSystemOfTheSettingsIsTheDefaultMode) {
    QVWriteProfileInt("Common", "SystemInfo", 3, 0); // bit 0 is PAL
    EXPECT_EQ(tc("frames 00:00:01:00").out, "25\n");
    QVWriteProfileInt("Common", "SystemInfo", 2, 0);
    EXPECT_EQ(tc("frames 00:00:01:00").out, "30\n");
    QVRemoveProfileKey("Common", "SystemInfo");
    EXPECT_EQ(tc("frames 00:00:01:00").out, "30\n");
}
