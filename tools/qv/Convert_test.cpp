#include "qvlibs/image/QVDib.h"

#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <sstream>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

fs::path picture(const char* name) { return qv::test::home() / name; }

// Four quarters: red, green above blue, white.
void make(const char* name, CSize size) {
    CQVDIB dib;
    const size_t bytes =
        static_cast<size_t>(CQVDIB::GetLineBytes(size.cx, 24)) * static_cast<size_t>(size.cy);
    ASSERT_EQ(dib.Init(size, 24, new unsigned char[bytes]()), 0u);
    for (int y = 0; y < size.cy; ++y) {
        for (int x = 0; x < size.cx; ++x) {
            const bool right = x >= size.cx / 2, low = y >= size.cy / 2;
            dib.SetPixel(x, y, low ? (right ? 0xFFFFFF : 0xFF0000) : (right ? 0x00FF00 : 0x0000FF));
        }
    }
    ASSERT_EQ(dib.Save(picture(name).c_str()), 1);
}

qv::test::RunResult convert(const std::string& words) {
    std::vector<std::string> command{"convert"};
    std::istringstream in(words);
    for (std::string word; in >> word;) {
        command.push_back(word.find(".") != std::string::npos ? picture(word.c_str()).string() : word);
    }
    return qv::test::runQv(command);
}

void read(const char* name, CQVDIB& dib) {
    CFile file;
    ASSERT_EQ(file.Open(picture(name).c_str(), CFile::modeRead), 1);
    ASSERT_EQ(dib.Load(&file), 1);
}

} // namespace

TEST(Convert, EachStepDoesItsWork) {
    make("in.bmp", {80, 60});
    const struct {
        const char* options;
        CSize size;
        int x, y;
        ULONG color;
    } rows[] = {
        {"", {80, 60}, 79, 0, 0x00FF00},
        {"--rotate 90", {60, 80}, 59, 0, 0x0000FF},
        {"--rotate 180", {80, 60}, 0, 0, 0xFFFFFF},
        {"--rotate 270", {60, 80}, 0, 0, 0x00FF00},
        {"--gray", {80, 60}, 0, 0, 0x555555},
        {"--lighten 50", {80, 60}, 0, 59, 0xFF7F7F},
        {"--trim 40,30,79,59", {40, 30}, 0, 0, 0xFFFFFF},
        {"--trim 40,30,79,59 --gray --lighten 100", {40, 30}, 0, 0, 0xFFFFFF},
        {"--size 160x120", {160, 120}, 0, 119, 0xFF0000},
        {"--size 320x180 --to-type 2", {320, 180}, 39, 90, 0},
        {"--size 320x180 --to-type 2 --fit fill", {320, 180}, 0, 0, 0x0000FF},
        {"--size 100x10 --fit stretch", {100, 10}, 99, 9, 0xFFFFFF},
        {"--still 1", {80, 60}, 0, 29, 0x7F007F},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.options);
        const auto result = convert(std::string("in.bmp out.bmp --quiet ") + row.options);
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.out + result.err, "");
        CQVDIB dib;
        read("out.bmp", dib);
        EXPECT_TRUE(dib.GetDimensions() == row.size);
        EXPECT_EQ(dib.GetPixel(row.x, row.y), row.color);
    }
    const auto result = convert("out.bmp out.bmp --size 16x12 --json"); // onto itself
    EXPECT_EQ(result.out.substr(result.out.find("\"width\"")), "\"width\": 16,\n  \"height\": 12\n}\n");
}

TEST(Convert, RefusalsLeaveTheTargetAlone) {
    make("in.bmp", {8, 6});
    qv::test::writeFile(picture("bad.bmp"), "BM, but no more");
    qv::test::writeFile(picture("in.xyz"), "x");
    for (const char* pipe : {"pipe.bmp", "pipe.png"}) ASSERT_EQ(mkfifo(picture(pipe).c_str(), 0600), 0);
    qv::test::writeFile(picture("out.bmp"), "old");
    const struct {
        const char* words;
        int exitCode;
    } rows[] = {
        {"none.bmp out.bmp", 3},
        {"bad.bmp out.bmp", 5},
        {"in.xyz out.bmp", 4},
        {"pipe.bmp out.bmp", 4},
        {"pipe.png out.bmp", 4},
        {"in.bmp out.xyz", 4},
        {"in.bmp out.bmp --size 8", 2},
        {"in.bmp out.bmp --size 8x0", 2},
        {"in.bmp out.bmp --size 8x8x8", 2},
        {"in.bmp out.bmp --size 99999x99999", 2},
        {"in.bmp out.bmp --size 8x8 --from-type 7 --to-type 6",
         1}, // 0.66 of the height of one, but 1.06 of the other
        {"in.bmp out.bmp --size 8x8 --fit round", 2},
        {"in.bmp out.bmp --trim 0,0,8,5", 2},
        {"in.bmp out.bmp --rotate 45", 2},
        {"in.bmp out.bmp --still 3", 2},
        {"in.bmp out.bmp --lighten 101", 2},
        {"in.bmp", 2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.words);
        const auto result = convert(row.words);
        EXPECT_EQ(result.exitCode, row.exitCode) << result.err;
        EXPECT_EQ(result.err.substr(0, 4), "qv: ");
        EXPECT_EQ(qv::test::readFile(picture("out.bmp")), "old");
    }
    EXPECT_EQ(convert("in.bmp /nowhere/out.bmp").exitCode, 1);
}

TEST(Convert, EveryOrientationCanBeTurnedUprightAndWhatThePictureSaysIsKept) {
    QV_NEEDS_PROGRAM("convert");
    QV_NEEDS_PROGRAM("exiv2");
    make("in.bmp", {64, 48});
    // How the upright picture must be stored for each orientation, by ImageMagick's words.
    const char* const undo[] = {"-auto-orient", "-flop",       "-rotate 180", "-flip",
                                "-transpose",   "-rotate 270", "-transverse", "-rotate 90"};
    for (int orientation = 1; orientation <= 8; ++orientation) {
        SCOPED_TRACE(orientation);
        std::vector<std::string> command{"convert", picture("in.bmp")};
        std::istringstream words(undo[orientation - 1]);
        for (std::string word; words >> word;) command.push_back(word);
        command.insert(command.end(), {"-quality", "100", picture("turned.jpg")});
        ASSERT_EQ(qv::test::run(command).exitCode, 0);
        ASSERT_EQ(
            qv::test::run({"exiv2", "-Mset Exif.Image.Orientation " + std::to_string(orientation),
                           "-Mset Exif.Photo.DateTimeOriginal 2005:12:24 12:34:56", picture("turned.jpg")})
                .exitCode,
            0);
        const auto result = convert("turned.jpg upright.jpg --rotate exif --quality 100 --quiet");
        ASSERT_EQ(result.exitCode, 0) << result.err;
        CQVDIB dib;
        ASSERT_EQ(dib.Load(picture("upright.jpg").c_str(), 0), 0u);
        EXPECT_EQ(dib.GetWidth(), 64);
        EXPECT_EQ(dib.GetOrientation(), dib.GetExifFlag()) << "none is left, which counts as upright";
        EXPECT_GT(dib.GetPixel(8, 8) & 0xFF, 200u) << "red";
        EXPECT_GT(dib.GetPixel(56, 8) >> 8 & 0xFF, 200u) << "green";
        EXPECT_GT(dib.GetPixel(8, 40) >> 16 & 0xFF, 200u) << "blue";
        SYSTEMTIME time{};
        EXPECT_EQ(dib.GetDateTimeOriginal(picture("upright.jpg").c_str(), &time), 0);
        EXPECT_EQ(time.wYear, 2005);
    }
    ASSERT_EQ(convert("upright.jpg upright.jpg --gray --quiet").exitCode, 0);
    CQVDIB dib;
    SYSTEMTIME time{};
    EXPECT_EQ(dib.GetDateTimeOriginal(picture("upright.jpg").c_str(), &time), 0) << "onto itself";
    ASSERT_EQ(convert("upright.jpg plain.png --strip --quiet").exitCode, 0);
    EXPECT_LT(dib.GetDateTimeOriginal(picture("plain.png").c_str(), &time), 0);
}
