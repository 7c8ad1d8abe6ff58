#include "qvlibs/media/QVMovie.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/image/QVDib.h"
#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

using namespace qv::test;

namespace {

std::string movieFile(int width, int height, const char* fcc, const std::string& more = {}) {
    const auto path = home() / "movie.fake";
    writeFile(path, "qvfake\nGetVideoFormat.width=" + std::to_string(width) + "\nGetVideoFormat.height=" +
                        std::to_string(height) + "\nGetFccHeader.code=" + fcc + "\n" + more);
    return path.string();
}

std::string calls() {
    std::string all;
    for (const auto& call : scriptedCalls(home() / "movie.fake")) all += call + "\n";
    return all;
}

} // namespace

TEST(QVMovie, ThumbnailFormats) {
    restartWithModules({{"scripted", "scripted.vcp"}});
    const struct {
        int width, height;
        const char* fcc;
        int thumbWidth, thumbHeight;
    } rows[] = {
        {720, 480, "dvsd", 180, 120},   {720, 576, "DVSD", 180, 144}, {720, 480, "MPG2", 180, 120},
        {1920, 1080, "MPG2", 120, 135}, {640, 480, "MJPG", 160, 120}, {704, 479, "MJPG", 176, 119},
        {704, 480, "MJPG", 176, 120},   {160, 145, "MJPG", 160, 72},  {160, 144, "MJPG", 160, 144},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.width) + "x" + std::to_string(row.height) + row.fcc);
        CAVIFile movie(movieFile(row.width, row.height, row.fcc).c_str());
        const BITMAPINFOHEADER* format = movie;
        EXPECT_EQ(format->biWidth, row.thumbWidth);
        EXPECT_EQ(format->biHeight, row.thumbHeight);
        CAVIFile whole(movieFile(row.width, row.height, row.fcc).c_str(), 1);
        format = whole;
        EXPECT_EQ(format->biWidth, row.width);
        // The sanitizers watch that every picture has room.
        std::vector<unsigned char> bits(static_cast<size_t>((row.thumbWidth * 3 + 3) / 4 * 4) *
                                            static_cast<size_t>(row.thumbHeight) +
                                        (row.fcc[0] == 'd' || row.fcc[0] == 'D' ? 720 * 576 * 3 : 0) +
                                        static_cast<size_t>(row.width * row.height * 3));
        EXPECT_EQ(movie.GetNonCompressedStream(3, bits.data(), 0), 1);
        EXPECT_EQ(movie.GetNonCompressedStream(3, bits.data(), 1), 1);
    }
}

TEST(QVMovie, WhichReductionIsAsked) {
    restartWithModules({{"scripted", "scripted.vcp"}});
    std::vector<unsigned char> bits(1244160);
    CAVIFile dv(movieFile(720, 480, "dvsd").c_str());
    dv.GetNonCompressedStream(3, bits.data(), 0);
    EXPECT_NE(calls().find("GetVideoEx(3, set, 0x4)"), std::string::npos);
    dv.GetNonCompressedStream(4, bits.data(), 1); // exact: at full size, then resized
    EXPECT_NE(calls().find("GetVideoEx(4, set, 0x1)"), std::string::npos);
    CAVIFile mpeg(movieFile(720, 480, "MPG2").c_str());
    mpeg.GetNonCompressedStream(5, bits.data(), 1);
    EXPECT_NE(calls().find("GetVideoEx(5, set, 0x2)"), std::string::npos);
}

TEST(QVMovie, AFrameThatCannotBeReadIsTheNextOne) {
    restartWithModules({{"scripted", "scripted.vcp"}});
    std::vector<unsigned char> bits(4096);
    CAVIFile movie(movieFile(16, 8, "MJPG", "GetVideoEx.failing=3\n").c_str());
    EXPECT_EQ(movie.GetNonCompressedStream(3, bits.data(), 0), 1);
    EXPECT_EQ(bits[2], 4);
    CAVIFile broken(movieFile(16, 8, "MJPG", "GetVideoEx=1\n").c_str());
    EXPECT_EQ(broken.GetNonCompressedStream(3, bits.data(), 0), 0);
    BITMAPINFOHEADER header = *static_cast<BITMAPINFOHEADER*>(movie);
    EXPECT_EQ(broken.ResizeFilter(3, &header, bits.data(), DIB_TYPE_SQUARE), static_cast<ULONG>(QV_E_FAIL));
    EXPECT_EQ(movie.ResizeFilter(5, &header, bits.data(), DIB_TYPE_SQUARE), 0u);
    CAVIFile large(movieFile(20000, 20000, "MJPG").c_str(), 1); // above the limit for pictures
    EXPECT_EQ(large.ResizeFilter(3, &header, bits.data(), DIB_TYPE_SQUARE), static_cast<ULONG>(QV_E_FAIL));
}

TEST(QVMovie, CompressionRateIsTheAverage) {
    restartWithModules({{"scripted", "scripted.vcp"}});
    CAVIFile movie(
        movieFile(16, 8, "mpg2", "GetVideoAverageRate=28800\nGetVideoCompressionRate=5000000\n").c_str());
    EXPECT_EQ(movie.GetVideoCompressionRate(), 28800);
    EXPECT_TRUE(movie.IsMPEG2());
    EXPECT_FALSE(movie.IsDVAVI());
}

TEST(QVMovie, CopiesShareOneOpenFile) {
    restartWithModules({{"scripted", "scripted.vcp"}});
    {
        CAVIFile movie(movieFile(16, 8, "MJPG").c_str());
        CAVIFile copy(movie);
        CAVIFile assigned;
        assigned = copy;
        movie.Close();
        EXPECT_STREQ(movie.GetFilePath(), "");
        EXPECT_EQ(static_cast<void*>(movie), nullptr);
        EXPECT_EQ(assigned.GetFccHeader(), makeFourCC('M', 'J', 'P', 'G'));
        EXPECT_EQ(calls().find("CloseR"), std::string::npos);
    }
    EXPECT_EQ(calls().find("CloseR"), calls().rfind("CloseR"));
    EXPECT_NE(calls().find("CloseR"), std::string::npos);
    CAVIFile none("nowhere");
    EXPECT_EQ(none.Open("nowhere", 0, 0), 0);
}

TEST(QVMovie, APictureOutOfAMovie) {
    restartWithModules({{"scripted", "scripted.vcp"}});
    CQVDIB picture;
    const std::string path = movieFile(64, 32, "MJPG", "GetVideoParam.dibType=4\n");
    EXPECT_EQ(picture.ReadDIB(path.c_str(), 9, {32, 32}), 1);
    EXPECT_EQ(picture.GetWidth(), 32);
    EXPECT_EQ(picture.GetHeight(), 32);
    EXPECT_EQ(picture.GetPixel(16, 16) & 0xFF, 9u) << "red is the frame's number";
    EXPECT_EQ(picture.GetPixel(16, 2), 0u) << "fitted, with bars";
    EXPECT_EQ(picture.ReadDIB("nowhere", 0, {32, 32}), 0);
    EXPECT_EQ(picture.ReadDIB(path.c_str(), 0, {-1, 32}), 0);
    EXPECT_EQ(picture.ReadDIB(movieFile(64, 32, "MJPG", "GetVideoParam.dibType=7\n").c_str(), 0, {32, 32}), 0)
        << "its frames are lower than the type says";
}
