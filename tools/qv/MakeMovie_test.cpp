#include "tests/support/TestSupport.h"

#include "qvlibs/image/QVDib.h"
#include "qvlibs/timecode/DvFrameInfo.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace qv::test;
using nlohmann::json;

namespace {

constexpr ULONG kRed = 0x0000FF, kBlue = 0xFF0000, kGreen = 0x00FF00; // 0x00BBGGRR

// A picture whose left half has one colour and its right half another.
std::string picture(const std::string& name, int width, int height, ULONG left, ULONG right) {
    CQVDIB made;
    made.Init({width, height}, 24,
              new unsigned char[static_cast<size_t>((width * 3 + 3) / 4 * 4 * height)]());
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) made.SetPixel(x, y, x < width / 2 ? left : right);
    }
    std::string path = home() / name;
    EXPECT_EQ(made.Save(path.c_str()), 1);
    return path;
}

// A frame of a movie as `qv thumb` shows it.
void frame(const std::string& movie, int number, CQVDIB& out) {
    const std::string path = home() / "frame.bmp";
    const auto made = runQv({"thumb", movie, "-o", path, "--frame", std::to_string(number)});
    EXPECT_EQ(made.exitCode, 0) << made.err;
    EXPECT_EQ(out.AttachMapFile(path.c_str(), 1), 1);
}

// Which of the three colours a pixel is near to, or black; the place is a share of width and height.
char colourAt(CQVDIB& picture, double x, double y) {
    const ULONG pixel =
        picture.GetPixel(static_cast<int>(x * picture.GetWidth()), static_cast<int>(y * picture.GetHeight()));
    const int red = pixel & 255, green = pixel >> 8 & 255, blue = pixel >> 16 & 255;
    if (std::max({red, green, blue}) < 40) return '.';
    return red > 200 ? 'r' : green > 200 ? 'g' : blue > 200 ? 'b' : '?';
}

std::string colours(const std::string& movie, int number) {
    CQVDIB shown;
    frame(movie, number, shown);
    std::string found;
    for (const auto& [x, y] : {std::pair{0.03, 0.45}, {0.35, 0.45}, {0.65, 0.45}, {0.47, 0.2}, {0.47, 0.8}})
        found += colourAt(shown, x, y);
    return found;
}

json jsonOf(const std::vector<std::string>& words) {
    const auto result = runQv(words);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return json::parse(result.out, nullptr, false);
}

size_t filesAtHome() {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(home()), {}));
}

} // namespace

TEST(MakeMovie, PicturesBecomeScenesWithLabelsAndDates) {
    QV_NEEDS_PROGRAM("exiv2");
    const std::string turned = home() / "turned.jpg", mirrored = home() / "mirrored.jpg";
    const std::string plain = picture("plain.bmp", 400, 300, kRed, kBlue);
    const std::string tall = picture("tall.bmp", 300, 900, kGreen, kGreen);
    for (const auto& [path, orientation] : {std::pair{turned, "6"}, {mirrored, "2"}}) {
        ASSERT_EQ(runQv({"convert", plain, path, "--quality", "95"}).exitCode, 0);
        ASSERT_EQ(run({"exiv2", std::string("-Mset Exif.Image.Orientation Short ") + orientation,
                       "-Mset Exif.Photo.DateTimeOriginal Ascii '2005:12:24 18:30:59'", path})
                      .exitCode,
                  0);
    }
    const std::string out = home() / "out.avi";
    for (const bool pal : {true, false}) {
        SCOPED_TRACE(pal ? "PAL" : "NTSC");
        const auto made = jsonOf({"movie", "-o", out, plain, turned, mirrored, tall, "--seconds", "1.5",
                                  "--system", pal ? "pal" : "ntsc", "--json"});
        const int ends[] = {pal ? 38 : 45, pal ? 75 : 90, pal ? 113 : 135, pal ? 150 : 180};
        EXPECT_EQ(made["frames"], ends[3]);
        const auto log = jsonOf({"dvlog", out, "--frames", "--json"});
        ASSERT_EQ(log["scenes"].size(), 4u) << log;
        for (size_t i = 0; i < 4; ++i) {
            const auto entry = made["pictures"][i], scene = log["scenes"][i];
            const bool dated = i == 1 || i == 2;
            EXPECT_EQ(entry["frame"], i == 0 ? 0 : ends[i - 1]);
            EXPECT_EQ(scene["firstFrame"], entry["frame"]);
            EXPECT_EQ(scene["frames"], entry["frames"]);
            EXPECT_EQ(scene["timecode"]["first"], entry["timecode"]);
            EXPECT_EQ(entry.value("recorded", ""), dated ? "2005-12-24 18:30:59" : "");
            EXPECT_EQ(scene["recorded"].is_null(), !dated);
            EXPECT_EQ(dated ? scene["recorded"]["last"] : json("2005-12-24T18:30:59"), "2005-12-24T18:30:59");
        }
        ASSERT_EQ(log["frames"].size(), static_cast<size_t>(ends[3]));
        const auto system = pal ? qv::DvSystem::Pal : qv::DvSystem::Ntsc;
        for (int i = 0; i < ends[3]; ++i) {
            const auto& found = log["frames"][static_cast<size_t>(i)];
            const auto label = qv::dvLabelOf(i, !pal, system);
            char text[16];
            std::snprintf(text, sizeof text, "%02d:%02d:%02d%c%02d", label.hours, label.minutes,
                          label.seconds, pal ? ':' : ';', label.frames);
            EXPECT_EQ(found["timecode"], text);
            EXPECT_EQ(found["confidence"]["timecode"], 1.0);
        }
        EXPECT_EQ(colours(out, ends[0] - 1), "rrbrr") << "left and right";
        EXPECT_EQ(colours(out, ends[0]), ".rrrb") << "turned: above each other, bars beside";
        EXPECT_EQ(colours(out, ends[2] - 1), "bbrbb") << "mirrored";
        EXPECT_EQ(colours(out, ends[3] - 1), "...gg") << "bars";
    }
}

TEST(MakeMovie, WideFilledAndStretched) {
    const std::string tall = picture("tall.bmp", 300, 400, kGreen, kGreen);
    const std::string out = home() / "out.avi";
    const struct {
        std::vector<std::string> options;
        const char* colours;
        double shape;
    } rows[] = {{{"--wide"}, ".gggg", 16 / 9.0},
                {{"--wide", "--fit", "fill"}, "ggggg", 16 / 9.0},
                {{"--fit", "stretch"}, "ggggg", 4 / 3.0}};
    for (const auto& row : rows) {
        std::vector<std::string> words = {"movie", "-o", out, tall, "--seconds", "0.03"};
        words.insert(words.end(), row.options.begin(), row.options.end());
        const auto made = runQv(words);
        EXPECT_EQ(made.exitCode, 0) << made.err;
        EXPECT_EQ(colours(out, 0), row.colours);
        CQVDIB shown;
        frame(out, 0, shown);
        EXPECT_NEAR(static_cast<double>(shown.GetWidth()) / shown.GetHeight(), row.shape, 0.02);
    }
}

TEST(MakeMovie, IsThereWholeOrNotAtAll) {
    const std::string good = picture("good.bmp", 64, 48, kRed, kRed);
    writeFile(home() / "bad.jpg", "no picture");
    const std::string out = home() / "out.avi", bad = home() / "bad.jpg";
    writeFile(out, "the old one");
    const size_t before = filesAtHome();
    const std::string fullDisk = "trap '' XFSZ; ulimit -f 900; exec \"$@\"";
    const struct {
        std::vector<std::string> command;
        int code;
    } rows[] = {{{qvProgram(), "movie", "-o", out, good, bad}, 4},
                {{qvProgram(), "movie", "-o", out, home() / "none.png"}, 3},
                {{qvProgram(), "movie", "-o", home() / "out.mpg", good}, 2},
                {{qvProgram(), "movie", "-o", out, good, "--seconds", "0"}, 2},
                {{qvProgram(), "movie", "-o", home() / "no/folder.avi", good}, 1},
                {{"bash", "-c", fullDisk, "bash", qvProgram(), "movie", "-o", out, good}, 1},
                // In the foreground, or it interrupts twice, and the second time ends the program at once.
                {{"timeout", "--foreground", "--preserve-status", "-s", "INT", "0.3", qvProgram(), "movie",
                  "-q", "-o", out, good, "--seconds", "3000"},
                 130}};
    for (const auto& row : rows) {
        const auto result = run(row.command);
        EXPECT_EQ(result.exitCode, row.code) << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_EQ(readFile(out), "the old one");
        EXPECT_EQ(filesAtHome(), before) << row.code;
    }
    EXPECT_EQ(runQv({"movie", "-o", out, good, "--seconds", "0.1"}).exitCode, 0);
    EXPECT_EQ(filesAtHome(), before);
    EXPECT_EQ(readFile(out).substr(0, 4), "RIFF");
}
