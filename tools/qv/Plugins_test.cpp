#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

qv::test::RunResult plugins(std::vector<std::string> words) {
    words.insert(words.begin(), "plugins");
    return qv::test::runQv(words);
}

} // namespace

TEST(Plugins, ListsModulesWithWhatTheyExport) {
    qv::test::restartWithModules(
        {{"accept_all", "b.vcp"}, {"scripted", "s.pcp"}, {"stray", "a.acp"}, {"scripted", "p.pbp"}});
    const auto result = plugins({"--json"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto document = nlohmann::json::parse(result.out);
    ASSERT_EQ(document.size(), 4u);
    EXPECT_EQ(document[0]["kind"], "pictures");
    EXPECT_EQ(document[0]["extensions"], (std::vector<std::string>{"fake", "qvf"}));
    EXPECT_GT(document[0]["exports"].size(), 40u);
    EXPECT_EQ(document[1]["exports"], (std::vector<std::string>{"IsSupported", "OpenR", "CloseR"}));
    EXPECT_EQ(document[2]["exports"], (std::vector<std::string>{"IsSupported", "GetMiliseconds"}))
        << "names of its codec library are not its own";
    EXPECT_EQ(document[3]["kind"], "properties");
    const auto text = plugins({"list"});
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_NE(text.out.find("pictures    s.pcp"), std::string::npos) << text.out;
}

TEST(Plugins, CheckNamesWhoTakesAFile) {
    qv::test::restartWithModules(
        {{"accept_all", "b.vcp"}, {"accept_all", "a.vcp"}, {"accept_none", "a.acp"}});
    const auto file = qv::test::home() / "x y";
    qv::test::writeFile(file, "");
    const auto result = plugins({"check", file});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out, "movies      a.vcp\nmovies      b.vcp  (not used: a former one takes it)\n");
    const auto missing = plugins({"check", "/nonexistent"});
    EXPECT_EQ(missing.exitCode, 3);
    EXPECT_EQ(missing.out, "");
    EXPECT_EQ(plugins({"check"}).exitCode, 2);
    EXPECT_EQ(plugins({"nonsense"}).exitCode, 2);
}

TEST(Plugins, NobodyIsAnAnswer) {
    qv::test::restartWithModules({});
    const auto result = plugins({});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "");
    const auto file = qv::test::home() / "x";
    qv::test::writeFile(file, "");
    EXPECT_EQ(plugins({"check", file}).exitCode, 4);
}
