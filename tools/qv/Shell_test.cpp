// What shells get: completions through the program and through bash, guesses, the manual page.
#include "tests/support/TestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

std::string program() { return qv::test::buildFolder() / "bin" / "qv"; }

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

std::vector<std::string> completions(const std::vector<std::string>& words) {
    std::vector<std::string> command{program(), "complete", "--"};
    command.insert(command.end(), words.begin(), words.end());
    const auto result = qv::test::run(command);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    return linesOf(result.out);
}

TEST(Shell, TheProgramKnowsWhatMayComeNext) {
    ASSERT_EQ(qv::test::run({program(), "settings", "set", "Model0003", "Two words", "1"}).exitCode, 0);
    const struct {
        std::vector<std::string> words;
        std::vector<std::string> expected;
    } rows[] = {
        {{"thu"}, {"thumb"}},
        {{"tc", "la"}, {"label"}},
        {{"tc", "frames", "00:00:00:00", "--mo"}, {"--mode"}},
        {{"tc", "frames", "--mode", "n"}, {"ndf"}},
        {{"settings", "get", ""}, {"Model0003"}},
        {{"settings", "get", "Mo"}, {"Model0003"}},
        {{"settings", "get", "Model0003", "T"}, {"Two words"}},
        {{"settings", "get", "Model0003", "Two words", ""}, {}},
        {{"settings", "export", "Model0003", "M"}, {"Model0003"}},
        {{"thumb", ""}, {}}, // files
        {{"thumb", "-o", ""}, {}},
        {{"nonsense", ""}, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.words));
        EXPECT_EQ(completions(row.words), row.expected);
    }
    EXPECT_THAT(completions({""}), AllOf(Contains("dvlog"), Contains("settings"), Contains("--help")));
    EXPECT_THAT(completions({"thumb", "--"}),
                AllOf(Contains("--frame"), Contains("--json"), Each(StartsWith("--"))));
}

TEST(Shell, BashTakesThem) {
    QV_NEEDS_PROGRAM("bash");
    ASSERT_EQ(qv::test::run({program(), "settings", "set", "Common", "Two words", "1"}).exitCode, 0);
    const std::string script = std::string(". ") + QV_BASH_COMPLETION + "; COMP_WORDS=('" + program() +
                               "' settings get Common T); COMP_CWORD=4; _qv; "
                               "printf '%s\\n' \"${COMPREPLY[@]}\"";
    EXPECT_EQ(qv::test::run({"bash", "-c", script}).out, "Two\\ words\n");
}

TEST(Shell, AMistypedCommandIsGuessed) {
    EXPECT_THAT(qv::test::run({program(), "thunb"}).err, HasSubstr("did you mean thumb?"));
    EXPECT_THAT(qv::test::run({program(), "setings"}).err, HasSubstr("did you mean settings?"));
    EXPECT_THAT(qv::test::run({program(), "xyzzy"}).err, Not(HasSubstr("did you mean")));
}

TEST(Shell, TheManualHasEveryCommandAndIsGoodRoff) {
    const auto manual = qv::test::run({program(), "--manual"});
    ASSERT_EQ(manual.exitCode, 0);
    for (const auto& command : completions({""})) {
        if (command.starts_with("-")) continue;
        EXPECT_THAT(manual.out, HasSubstr(".SS qv " + command + "\n"));
    }
    QV_NEEDS_PROGRAM("groff");
    const auto page = qv::test::home() / "qv.1";
    qv::test::writeFile(page, manual.out);
    const auto shown = qv::test::run({"groff", "-man", "-Tutf8", "-ww", page});
    EXPECT_EQ(shown.exitCode, 0);
    EXPECT_THAT(shown.err, IsEmpty());
}

} // namespace
