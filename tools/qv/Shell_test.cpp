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

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

std::vector<std::string> completions(const std::vector<std::string>& words) {
    std::vector<std::string> command{"complete", "--"};
    command.insert(command.end(), words.begin(), words.end());
    const auto result = qv::test::runQv(command);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    return linesOf(result.out);
}

TEST(Shell, TheProgramKnowsWhatMayComeNext) {
    ASSERT_EQ(qv::test::runQv({"settings", "set", "Model0003", "Two words", "1"}).exitCode, 0);
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
    ASSERT_EQ(qv::test::runQv({"settings", "set", "Common", "Two words", "1"}).exitCode, 0);
    const std::string script = std::string(". ") + QV_COMPLETIONS + "/qv.bash; COMP_WORDS=('" +
                               qv::test::qvProgram() +
                               "' settings get Common T); COMP_CWORD=4; _qv; "
                               "printf '%s\\n' \"${COMPREPLY[@]}\"";
    EXPECT_EQ(qv::test::run({"bash", "-c", script}).out, "Two\\ words\n");
}

TEST(Shell, FishTakesThemAndFilesWhereThereAreNone) {
    QV_NEEDS_PROGRAM("fish");
    const auto folder = qv::test::makeFolder("in");
    qv::test::writeFile(folder / "tape.dv", "");
    const std::string script = std::string("source ") + QV_COMPLETIONS + "/qv.fish; cd " + folder.string() +
                               "; complete -C '" + qv::test::qvProgram() + " stg r'; complete -C '" +
                               qv::test::qvProgram() + " stg '; complete -C '" + qv::test::qvProgram() +
                               " info '";
    EXPECT_EQ(qv::test::run({"fish", "--no-config", "-c", script}).out,
              "remove\ncheck\nget\nlist\nput\nremove\ntape.dv\n");
}

TEST(Shell, AMistypedCommandIsGuessed) {
    EXPECT_THAT(qv::test::runQv({"thunb"}).err, HasSubstr("did you mean thumb?"));
    EXPECT_THAT(qv::test::runQv({"setings"}).err, HasSubstr("did you mean settings?"));
    EXPECT_THAT(qv::test::runQv({"xyzzy"}).err, Not(HasSubstr("did you mean")));
}

TEST(Shell, TheManualHasEveryCommandAndIsGoodRoff) {
    const auto manual = qv::test::runQv({"--manual"});
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
