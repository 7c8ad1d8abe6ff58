#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include "qvlibs/image/QVDib.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

using namespace qv::test;
using testing::HasSubstr;

namespace {

std::filesystem::path out() { return home() / "out.bmp"; }

RunResult thumb(const std::string& movie, const std::vector<std::string>& more = {}) {
    std::vector<std::string> command = {"thumb", movie, "-o", out()};
    command.insert(command.end(), more.begin(), more.end());
    return runQv(command);
}

// A tape of 30 frames: left half red, right half blue, upper right quarter green; frame 20 on is all white.
std::string makeTape(const std::string& name, bool pal, const char* aspect) {
    const std::string path = home() / name;
    const std::string size = pal ? "720x576" : "720x480";
    const std::string picture =
        "color=red:s=" + size + ":r=" + (pal ? "25" : "30000/1001") +
        ",drawbox=x=360:w=360:h=ih:t=fill:color=blue,drawbox=x=360:w=360:h=ih/2:t=fill:"
        "color=green,drawbox=w=iw:h=ih:t=fill:color=white:enable='gte(n,20)',setdar=" +
        aspect;
    const auto made = run({"ffmpeg", "-y", "-v", "error", "-f", "lavfi", "-i", picture, "-frames:v", "30",
                           "-c:v", "dvvideo", "-pix_fmt", pal ? "yuv420p" : "yuv411p", path});
    EXPECT_EQ(made.exitCode, 0) << made.err;
    return path;
}

bool isNear(ULONG colour, ULONG wanted) {
    for (int shift = 0; shift < 24; shift += 8) {
        const int distance =
            static_cast<int>(colour >> shift & 0xFF) - static_cast<int>(wanted >> shift & 0xFF);
        if (distance < -24 || distance > 24) return false;
    }
    return true;
}

constexpr ULONG kRed = 0x0000FF, kGreen = 0x008000, kBlue = 0xFF0000, kWhite = 0xFFFFFF, kBlack = 0;

} // namespace

TEST(Thumb, IsTheFrameInItsShape) {
    QV_NEEDS_PROGRAM("ffmpeg");
    const struct {
        bool pal;
        const char* aspect;
        std::vector<std::string> options;
        int width, height;
        int left, right; // columns of the picture between bars
    } rows[] = {
        {false, "4/3", {}, 640, 480, 0, 640},
        {true, "4/3", {}, 768, 576, 0, 768},
        {false, "16/9", {}, 853, 480, 0, 853},
        {true, "16/9", {}, 1024, 576, 0, 1024},
        {false, "4/3", {"--size", "180x120"}, 180, 120, 0, 180},
        {true, "4/3", {"--size", "180x144"}, 180, 144, 0, 180},
        {false, "4/3", {"--size", "320x180"}, 320, 180, 40, 280},
        {false, "4/3", {"--size", "320x180", "--fit", "stretch"}, 320, 180, 0, 320},
        {false, "4/3", {"--size", "180x120", "--type", "4"}, 180, 120, 10, 170},
        {false, "16/9", {"--size", "320x180"}, 320, 180, 0, 320},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.pal ? "PAL " : "NTSC ") + row.aspect +
                     testing::PrintToString(row.options));
        const auto result = thumb(makeTape("tape.avi", row.pal, row.aspect), row.options);
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.out + result.err, "");
        CQVDIB picture;
        ASSERT_EQ(picture.AttachMapFile(out().c_str(), 1), 1);
        EXPECT_EQ(picture.GetWidth(), row.width);
        EXPECT_EQ(picture.GetHeight(), row.height);
        const int middle = (row.left + row.right) / 2;
        EXPECT_TRUE(isNear(picture.GetPixel(row.left + 4, row.height - 8), kRed));
        EXPECT_TRUE(isNear(picture.GetPixel(middle - 6, row.height / 4), kRed));
        EXPECT_TRUE(isNear(picture.GetPixel(middle + 6, row.height / 4), kGreen)) << "upside down?";
        EXPECT_TRUE(isNear(picture.GetPixel(row.right - 6, row.height - 8), kBlue));
        if (row.left > 0) {
            EXPECT_EQ(picture.GetPixel(row.left - 2, row.height / 2), kBlack);
            EXPECT_EQ(picture.GetPixel(row.right + 1, row.height / 2), kBlack);
        }
    }
}

TEST(Thumb, FramesAreFoundByNumberAndPosition) {
    QV_NEEDS_PROGRAM("ffmpeg");
    const std::string tape = makeTape("tape.avi", false, "4/3");
    const struct {
        std::vector<std::string> options;
        int code;
        bool isWhite;
    } rows[] = {{{"--frame", "19"}, 0, false},       {{"--frame", "20"}, 0, true},
                {{"--at", "00:00:00:19"}, 0, false}, {{"--at", "00:00:00:20"}, 0, true},
                {{"--frame", "30"}, 3, false},       {{"--frame", "-1"}, 3, false},
                {{"--at", "00:00:01:00"}, 3, false}, {{"--at", "00:00:00:30"}, 2, false},
                {{"--at", "soon"}, 2, false},        {{"--size", "0x5"}, 2, false},
                {{"--size", "5x5x"}, 2, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.options));
        std::filesystem::remove(out());
        EXPECT_EQ(thumb(tape, row.options).exitCode, row.code);
        EXPECT_EQ(std::filesystem::exists(out()), row.code == 0);
        if (row.code != 0) continue;
        CQVDIB picture;
        ASSERT_EQ(picture.AttachMapFile(out().c_str(), 1), 1);
        EXPECT_TRUE(isNear(picture.GetPixel(20, 20), row.isWhite ? kWhite : kRed));
    }
}

TEST(Thumb, TitlesAreRenderedAndPicturesResized) {
    const std::string title = home() / "hello.tte";
    writeFile(title, "[Title]\nSize=320x180\nRate=25/1\nFrames=50\nKey=#102030\n"
                     "[Line]\nText=Hello\nHeight=90\nFrom=25\n");
    const auto coloursAt = [&](std::vector<std::string> where) {
        const auto made = thumb(title, where);
        EXPECT_EQ(made.exitCode, 0) << made.err;
        CQVDIB picture;
        EXPECT_EQ(picture.Load(out().c_str(), 0), 0u);
        std::set<ULONG> colours;
        for (int y = 0; y < picture.GetHeight(); ++y) {
            for (int x = 0; x < picture.GetWidth(); ++x) colours.insert(picture.GetPixel(x, y));
        }
        return colours;
    };
    EXPECT_EQ(coloursAt({}), std::set<ULONG>{0x302010}) << "nothing but the key colour yet";
    EXPECT_GT(coloursAt({"--at", "00:00:01:05"}).size(), 2u);
    EXPECT_EQ(thumb(title, {"--frame", "50"}).exitCode, 3);
    EXPECT_EQ(thumb(title, {"--at", "later"}).exitCode, 2);
    ASSERT_EQ(thumb(title, {"--frame", "30", "--size", "100x50"}).exitCode, 0);
    std::filesystem::rename(out(), home() / "small.bmp");
    ASSERT_EQ(thumb(home() / "small.bmp", {"--size", "60x60"}).exitCode, 0) << "a picture, with bars";
    CQVDIB picture;
    ASSERT_EQ(picture.Load(out().c_str(), 0), 0u);
    EXPECT_EQ(picture.GetWidth(), 60);
    EXPECT_EQ(picture.GetPixel(30, 5), 0u);
    EXPECT_EQ(picture.GetPixel(1, 30), 0x302010u);
    EXPECT_EQ(thumb(home() / "small.bmp", {"--frame", "1"}).exitCode, 3);
}

// Beyond 32 bits of frames, 00:00:01:05 would be frame 4.
TEST(Thumb, PositionsThatAreTooFarAreNone) {
    restartWithModules({{"scripted", "s.vcp"}});
    writeFile(home() / "fast.fake", "qvfake\nGetTotalFrames=10\nGetVideoFormat.width=16\n"
                                    "GetVideoRate.rate=4294967295\nGetVideoRate.scale=1\n");
    EXPECT_EQ(thumb(home() / "fast.fake", {"--at", "00:00:00:04"}).exitCode, 0);
    EXPECT_EQ(thumb(home() / "fast.fake", {"--at", "00:00:01:05"}).exitCode, 2);
}

TEST(Thumb, BadInputIsOneLineAndACode) {
    const std::string folder = makeFolder("folder");
    const struct {
        const char* name;
        std::string bytes;
        int code;
    } rows[] = {
        {"empty.avi", "", 5},
        {"text.avi", "Dear diary, today I filmed nothing.\n", 4},
        {"cut.avi", std::string("RIFF\x10\0\0\0AVI LIST", 16), 5},
        {"with space.avi", "x", 4},
        {"with\nnewline.avi", "x", 4},
        {"no\xFF\xFEtext.avi", "x", 4},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.name));
        writeFile(home() / row.name, row.bytes);
        const auto result = thumb(home() / row.name);
        EXPECT_EQ(result.exitCode, row.code) << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
    EXPECT_EQ(thumb(home() / "missing.avi").exitCode, 3);
    EXPECT_EQ(thumb(folder).exitCode, 4);
    EXPECT_FALSE(std::filesystem::exists(out()));
}

TEST(Thumb, OddNamesWorkAndFailedTargetsLeaveNothing) {
    QV_NEEDS_PROGRAM("ffmpeg");
    const std::string tape = makeTape("tape.avi", false, "4/3");
    for (const char* name : {"with space.avi", "with\nnewline.avi", "no\xFF\xFEtext.avi", "-dash.avi"}) {
        std::filesystem::copy_file(tape, home() / name);
        EXPECT_EQ(thumb(home() / name).exitCode, 0) << testing::PrintToString(name);
    }
    const auto noFolder = runQv({"thumb", tape, "-o", home() / "no/such/t.bmp"});
    EXPECT_EQ(noFolder.exitCode, 1);
    EXPECT_EQ(std::count(noFolder.err.begin(), noFolder.err.end(), '\n'), 1) << noFolder.err;
    EXPECT_EQ(runQv({"thumb", tape, "-o", home() / "t.nonsense"}).exitCode, 4);
    EXPECT_FALSE(std::filesystem::exists(home() / "t.nonsense"));
}
