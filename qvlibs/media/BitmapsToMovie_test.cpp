#include "qvlibs/image/QVDib.h"
#include "qvlibs/media/MovieWriter.h"
#include "qvlibs/media/Qvavitools.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace qv::test;

namespace {

using Words = CList<ULONG, ULONG>;

int progressCalls = 0;
ULONG countCalls(ULONG, void*, void*) { return static_cast<ULONG>(++progressCalls); }

CString picture(const char* name, int width, int height, ULONG colour) {
    CQVDIB made;
    made.Init({width, height}, 24,
              new unsigned char[static_cast<size_t>((width * 3 + 3) / 4 * 4 * height)]());
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) made.SetPixel(x, y, colour);
    }
    CString path((home() / name).c_str());
    EXPECT_EQ(made.Save(path), 1);
    return path;
}

void useModules(bool pal) {
    restartWithModules({{"dv.vcp"}, {"dvcodec.so"}, {"dvcodec-libav.so"}}, [pal](const auto&) {
        if (pal) QVWriteProfileInt("Common", "SystemInfo", 1, 0);
    });
}

// Whether the middle of a frame has that colour, give or take what the codec costs.
bool shows(void* movie, LONG frame, ULONG colour) {
    const BITMAPINFOHEADER* lent = QVTLAVIGetNonCompressedStream(movie, frame, 1);
    if (!lent) return false;
    const auto* pixel = reinterpret_cast<const unsigned char*>(lent + 1) + lent->biHeight / 2 * 2160 + 1080;
    for (const int channel : {0, 1, 2}) { // blue comes first in the row and last in the colour
        if (std::abs(pixel[channel] - static_cast<int>(colour >> (16 - 8 * channel) & 255)) > 6) return false;
    }
    return true;
}

constexpr ULONG kRed = 0x0000FF, kBlue = 0xFF0000, kGreen = 0x00C000;

void checkMovieOf(bool pal) {
    CStringList files;
    files.AddTail(picture("red.bmp", 40, 30, kRed));
    files.AddTail((home() / "missing.bmp").c_str());
    files.AddTail(picture("green.bmp", 720, pal ? 576 : 480, kGreen));
    Words words, options;
    words.AddTail(0x0000'0800u);
    words.AddTail(0x0000'0001u);
    options.AddTail(0); // stretch; the lists end before the files do
    CString output((home() / "out.avi").c_str());
    QVTLCreateAVIFromBitmaps(&files, output, countCalls, &words, &options, DIB_TYPE_AUTO);
    EXPECT_EQ(progressCalls, 0);
    void* const movie = QVTLAVIFileOpen(output, 0);
    ASSERT_TRUE(movie);
    EXPECT_EQ(QVTLAVIGetTotalFrames(movie), 3);
    const ULONG colours[] = {kRed, kBlue, kGreen};
    for (LONG i = 0; i < 3; ++i) EXPECT_TRUE(shows(movie, i, colours[i])) << i;

    const size_t size = pal ? 144000 : 120000;
    std::vector<unsigned char> placed(size), plain(size);
    ASSERT_EQ(QVTLAVIGetCompressedStream(movie, 0, placed.data()), 0u);
    ASSERT_EQ(QVTLAVIGetCompressedStream(movie, 1, plain.data()), 0u);
    const unsigned char word[] = {0, 8, 0, 0}, other[] = {1, 0, 0, 0};
    for (size_t at = 0; at < size; at += 12000) {
        const size_t place = at + (at % 24000 == 0 ? 454 : 249);
        EXPECT_TRUE(std::equal(word, word + 4, placed.data() + place)) << place;
        EXPECT_FALSE(std::equal(other, other + 4, plain.data() + place)) << place;
    }
    QVTLAVIFileClose(movie);
}

} // namespace

TEST(BitmapsToMovie, OneFrameEach) {
    useModules(false);
    checkMovieOf(false);
}

TEST(BitmapsToMovie, OneFrameEachInPal) {
    useModules(true);
    checkMovieOf(true);
}

TEST(BitmapsToMovie, WithATypePicturesAreNotResized) {
    useModules(false);
    CStringList files;
    files.AddTail(picture("small.bmp", 100, 100, kGreen));
    files.AddTail(picture("whole.bmp", 720, 480, kGreen));
    CString output((home() / "out.avi").c_str());
    QVTLCreateAVIFromBitmaps(&files, output, nullptr, nullptr, nullptr, DIB_TYPE_16_9);
    void* const movie = QVTLAVIFileOpen(output, 0);
    ASSERT_TRUE(movie);
    EXPECT_TRUE(shows(movie, 0, kBlue)) << "no frame can be made of it";
    EXPECT_TRUE(shows(movie, 1, kGreen));
    DIB_TYPE type = DIB_TYPE_AUTO;
    EXPECT_EQ(QVTLAVIGetDIBType(movie, type, 1), 0u);
    EXPECT_EQ(type, DIB_TYPE_16_9);
    QVTLAVIFileClose(movie);
}

TEST(BitmapsToMovie, AnEmptyFileIsWrittenAgain) {
    restartWithModules({{"scripted", "scripted.vcp"}});
    const auto path = home() / "out.fake";
    CString output(path.c_str());
    CStringList files;
    files.AddTail("missing 1");
    files.AddTail("missing 2");
    writeFile(path.string() + ".script", "qvfake\nCloseW.empty=2\n");
    QVTLCreateAVIFromBitmaps(&files, output, nullptr, nullptr, nullptr, DIB_TYPE_4_3);
    std::vector<std::string> wanted;
    for (int round = 0; round < 3; ++round) {
        wanted.insert(wanted.end(),
                      {"OpenW(0)", "WriteDif2(set, 1, null, 0)", "WriteDif2(set, 1, null, 0)", "CloseW()"});
    }
    EXPECT_EQ(scriptedCalls(path), wanted);
    EXPECT_EQ(readFile(path), "movie");
}

TEST(BitmapsToMovie, AFailedWriteEndsTheMovieButItIsClosed) {
    restartWithModules({{"scripted", "scripted.vcp"}});
    const auto path = home() / "out.fake";
    CString output(path.c_str());
    CStringList files;
    for (int i = 0; i < 3; ++i) files.AddTail("missing");
    writeFile(path.string() + ".script", "qvfake\nWriteDif2=5\n");
    QVTLCreateAVIFromBitmaps(&files, output, nullptr, nullptr, nullptr, DIB_TYPE_AUTO);
    EXPECT_EQ(scriptedCalls(path),
              (std::vector<std::string>{"OpenW(0)", "WriteDif2(set, 0, null, 0)", "CloseW()"}));
    CString nobodys((home() / "out.xyz").c_str());
    QVTLCreateAVIFromBitmaps(&files, nobodys, nullptr, nullptr, nullptr, DIB_TYPE_AUTO);
    EXPECT_FALSE(std::filesystem::exists(home() / "out.xyz"));
}
