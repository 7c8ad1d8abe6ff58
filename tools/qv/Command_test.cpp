#include "tests/support/TestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(Command, VersionIsOneLine) {
    const auto result = qv::test::runQv({"--version"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "qv 5.1.0\n");
    EXPECT_EQ(result.err, "");
}

TEST(Command, WrongUsageIsOneLineOnStandardErrorAndCodeTwo) {
    for (const std::vector<std::string>& words : {std::vector<std::string>{},
                                                  {"nonsense"},
                                                  {"--nonsense"},
                                                  {"tc"},
                                                  {"tc", "frames"},
                                                  {"tc", "frames", "00:00:00:00", "--mode", "film"},
                                                  {"tc", "label", "12x"}}) {
        const auto result = qv::test::runQv(words);
        SCOPED_TRACE(testing::PrintToString(words));
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, StartsWith("qv: "));
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
}

TEST(Command, HelpOfEveryCommandHasThreeExamples) {
    const auto overview = qv::test::runQv({"--help"});
    EXPECT_EQ(overview.exitCode, 0);
    std::istringstream lines(overview.out.substr(overview.out.find("Subcommands:")));
    std::string line;
    std::getline(lines, line);
    int commands = 0;
    while (std::getline(lines, line) && line.starts_with("  ")) {
        const std::string name = line.substr(2, line.find(' ', 2) - 2);
        if (name.empty()) continue; // the second line of a summary
        SCOPED_TRACE(name);
        ++commands;
        const auto help = qv::test::runQv({name, "--help"});
        EXPECT_EQ(help.exitCode, 0);
        ASSERT_THAT(help.out, HasSubstr("Examples:"));
        const std::string examples = help.out.substr(help.out.find("Examples:"));
        int found = 0;
        for (size_t at = 0; (at = examples.find("  qv " + name, at)) != std::string::npos; ++at) ++found;
        EXPECT_GE(found, 3) << examples;
    }
    EXPECT_GE(commands, 1);
}

TEST(Command, AResultThatCannotBeWrittenIsAFailure) {
    const auto result = qv::test::run({"sh", "-c", qv::test::qvProgram() + " tc label 1 >/dev/full"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("writing the result"));
}

// A program that only computes timecodes must not pay for decoders.
TEST(Command, TimecodesMapNoCodecLibrary) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"--version"}, {"tc", "label", "1"}}) {
        const auto result = qv::test::runQv(words, {"LD_DEBUG=files"});
        EXPECT_EQ(result.exitCode, 0);
        ASSERT_THAT(result.err, HasSubstr("libqvlibs.so"));
        for (const char* library : {"libav", "libsw", "libsndfile", "libass", "libexiv2", "libtiff",
                                    "libjpeg", "libturbojpeg", "libpng", "libgif"}) {
            EXPECT_THAT(result.err, Not(HasSubstr(std::string("file=") + library)));
        }
    }
}
