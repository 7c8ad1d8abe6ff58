#include "tests/support/TestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

using namespace qv::test;
using testing::HasSubstr;

namespace {

RunResult stg(std::vector<std::string> words) {
    words.insert(words.begin(), "stg");
    return runQv(words, {"TZ=UTC"});
}

class Stg : public testing::Test {
protected:
    void SetUp() override {
        writeFile(picture, bmpFile(20, 10));
        writeFile(media, std::string(12345, 'x'));
        std::filesystem::last_write_time(media, std::chrono::file_clock::from_sys(std::chrono::sys_seconds(
                                                    std::chrono::seconds(1135427696))));
    }
    const std::string file = home() / "store.stg", picture = home() / "in.bmp", out = home() / "out.bmp",
                      media = home() / "tape.dv";
};

} // namespace

TEST_F(Stg, PutListGetRemove) {
    ASSERT_EQ(stg({"put", file, "clip", picture, "--media", media}).exitCode, 0);
    EXPECT_EQ(stg({"put", file, "Clip", picture, "--keep"}).exitCode, 1);
    ASSERT_EQ(stg({"put", file, "second", picture}).exitCode, 0);
    const auto listed = stg({"list", file, "--json"});
    ASSERT_EQ(listed.exitCode, 0) << listed.err;
    const auto rows = nlohmann::json::parse(listed.out);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0]["name"], "clip");
    EXPECT_EQ(rows[0]["kind"], "picture");
    EXPECT_EQ(rows[0]["size"], 54 + 600 + 16);
    EXPECT_EQ(rows[0]["mediaTime"], "2005-12-24 12:34:56");
    EXPECT_EQ(rows[0]["mediaSize"], 12345);
    EXPECT_THAT(stg({"list", file}).out, HasSubstr("of 2005-12-24 12:34:56, 12345 bytes"));
    EXPECT_THAT(stg({"list", file, "--all"}).out, HasSubstr("clip/size_low"));
    ASSERT_EQ(stg({"get", file, "CLIP", out}).exitCode, 0);
    EXPECT_EQ(readFile(out).substr(54), readFile(picture).substr(54));
    EXPECT_EQ(stg({"remove", file, "clip"}).exitCode, 0);
    EXPECT_EQ(stg({"remove", file, "clip"}).exitCode, 3);
    EXPECT_EQ(stg({"get", file, "clip", out}).exitCode, 3);
    EXPECT_EQ(stg({"check", file}).exitCode, 0);
}

TEST_F(Stg, SaysWhatIsWrong) {
    ASSERT_EQ(stg({"put", file, "clip", picture}).exitCode, 0);
    const struct {
        std::vector<std::string> words;
        int code;
        const char* says;
    } rows[] = {
        {{"list", home() / "none"}, 3, "could not be found"},
        {{"list", picture}, 4, "no compound file"},
        {{"check", picture}, 4, "no compound file"},
        {{"put", picture, "clip", picture}, 4, "no compound file"},
        {{"put", file, "a/b", picture}, 2, "31 letters"},
        {{"put", file, "clip", home() / "none.bmp"}, 3, "none.bmp"},
        {{"get", file, "clip", home() / "out.nothing"}, 4, "nothing"},
        {{"put", file}, 2, "NAME"},
        {{}, 2, "--help"},
    };
    for (const auto& row : rows) {
        const auto result = stg(row.words);
        SCOPED_TRACE(testing::PrintToString(row.words));
        EXPECT_EQ(result.exitCode, row.code);
        EXPECT_THAT(result.err, HasSubstr(row.says));
    }
    EXPECT_EQ(readFile(picture), bmpFile(20, 10));
    EXPECT_EQ(stg({"put", home() / "new.stg", std::string(32, 'n'), picture}).exitCode, 2);
    EXPECT_FALSE(std::filesystem::exists(home() / "new.stg"));
    // The picture's size says more than there is.
    std::string bytes = readFile(file);
    bytes.replace(bytes.find("BM") + 34, 4, std::string("\xFF\xFF\xFF\x0F", 4));
    writeFile(file, bytes);
    const auto checked = stg({"check", file});
    EXPECT_EQ(checked.exitCode, 5);
    EXPECT_THAT(checked.out, HasSubstr("picture \"clip\": it cannot be read"));
    EXPECT_EQ(stg({"get", file, "clip", out}).exitCode, 5);
}
