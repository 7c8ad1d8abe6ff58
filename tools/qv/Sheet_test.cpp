#include "tests/support/TestSupport.h"

#include "qvlibs/image/QVDib.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace qv::test;

namespace {

// A tape of 60 frames, each of a gray that is its number.
std::string makeTape() {
    const std::string path = home() / "tape.avi";
    const auto made = run({"ffmpeg", "-y", "-v", "error", "-f", "lavfi", "-i",
                           "color=black:s=720x480:r=30000/1001,geq=lum='30+3*N':cb=128:cr=128", "-frames:v",
                           "60", "-c:v", "dvvideo", "-pix_fmt", "yuv411p", path});
    EXPECT_EQ(made.exitCode, 0) << made.err;
    return path;
}

} // namespace

TEST(Sheet, TilesAreEvenlySpacedAndLabelled) {
    QV_NEEDS_PROGRAM("ffmpeg");
    const std::string tape = makeTape();
    const std::string out = home() / "sheet.bmp";
    const auto made =
        runQv({"sheet", tape, "-o", out, "--columns", "3", "--rows", "2", "--tile", "88x66", "--json"});
    ASSERT_EQ(made.exitCode, 0) << made.err;
    const auto result = nlohmann::json::parse(made.out);
    ASSERT_EQ(result["tiles"].size(), 6u);
    CQVDIB page;
    ASSERT_EQ(page.AttachMapFile(out.c_str(), 1), 1);
    EXPECT_EQ(page.GetWidth(), result["width"].get<int>());
    EXPECT_EQ(page.GetHeight(), result["height"].get<int>());
    const int step = (page.GetHeight() - 4) / 2;
    for (int i = 0; i < 6; ++i) {
        SCOPED_TRACE(i);
        const int frame = result["tiles"][static_cast<size_t>(i)]["frame"];
        EXPECT_EQ(frame, (2 * i + 1) * 60 / 12);
        EXPECT_THAT(result["tiles"][static_cast<size_t>(i)]["label"].get<std::string>(),
                    testing::StartsWith("00:00:0"));
        const int x = 4 + i % 3 * 92, y = 4 + i / 3 * step;
        const int gray = static_cast<int>((30 + 3 * frame - 16) * 255 / 219.0);
        EXPECT_NEAR(static_cast<int>(page.GetPixel(x + 44, y + 33) & 0xFF), gray, 8);
        int white = 0; // dots of the label
        for (int dot = 0; dot < 88 * 9; ++dot)
            white += page.GetPixel(x + dot % 88, y + 67 + dot / 88) == 0xFFFFFF;
        EXPECT_GT(white, 50);
    }
    const std::string first = readFile(out);
    runQv({"sheet", tape, "-o", out, "--columns", "3", "--rows", "2", "--tile", "88x66"});
    EXPECT_TRUE(readFile(out) == first) << "the same movie gives the same sheet";
}

TEST(Sheet, TitlesHaveTheirOwnRate) {
    writeFile(home() / "hello.tte", "[Title]\nRate=25/1\nFrames=100\n[Line]\nText=Hello\n");
    const auto made = runQv({"sheet", home() / "hello.tte", "-o", home() / "sheet.bmp", "--json", "--columns",
                             "2", "--rows", "1"});
    ASSERT_EQ(made.exitCode, 0) << made.err;
    const auto tiles = nlohmann::json::parse(made.out)["tiles"];
    EXPECT_EQ(tiles[0]["label"], "00:00:01:00");
    EXPECT_EQ(tiles[1]["label"], "00:00:03:00");
    EXPECT_TRUE(tiles[1]["shown"]);
}

TEST(Sheet, BadInputIsOneLineAndLeavesNothing) {
    writeFile(home() / "text.avi", "no movie");
    const std::string out = home() / "sheet.bmp";
    for (const auto& row : {std::pair<std::vector<std::string>, int>{{"text.avi"}, 4},
                            {{"none.avi"}, 3},
                            {{"text.avi", "--columns", "0"}, 2},
                            {{"text.avi", "--tile", "x"}, 2}}) {
        std::vector<std::string> words = {"sheet", "-o", out, home() / row.first[0]};
        words.insert(words.end(), row.first.begin() + 1, row.first.end());
        const auto result = runQv(words);
        EXPECT_EQ(result.exitCode, row.second) << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_FALSE(std::filesystem::exists(out));
    }
}
