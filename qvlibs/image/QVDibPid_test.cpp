// Picture files through the image class: the shipped codecs, fakes where the border matters.
#include "qvlibs/framework/Messages.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/platform/ModuleData.h"
#include "tests/support/ModuleFolder.h"
#include "tests/support/PeModule.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include <sys/stat.h>

namespace fs = std::filesystem;
using qv::test::home;
using qv::test::readFile;
using qv::test::restartWithModules;
using qv::test::writeFile;

namespace {

std::string shown; // what the message handler received
void takeMessages() {
    shown.clear();
    qv::setMessageHandler([](const char* text, const char* caption, qv::MessageKind) {
        shown += std::string(caption) + ": " + text + "\n";
    });
}

// Red, green, blue and white quarters.
void paint(CQVDIB& picture, int width, int height) {
    picture.Init({width, height}, 24,
                 new unsigned char[static_cast<size_t>(CQVDIB::GetLineBytes(width, 24) * height)]{});
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const bool right = x >= width / 2, low = y >= height / 2;
            picture.SetPixel(x, y, low ? right ? 0xFFFFFF : 0xFF0000 : right ? 0x00FF00 : 0x0000FF);
        }
    }
}

// The quarter colours as letters, row by row.
std::string quarters(const CQVDIB& picture) {
    std::string letters;
    for (const auto& [x, y] : {std::pair{1, 1}, {3, 1}, {1, 3}, {3, 3}}) {
        const ULONG color = picture.GetPixel(x * picture.GetWidth() / 4, y * picture.GetHeight() / 4);
        const bool red = (color & 0xFF) > 128, green = (color >> 8 & 0xFF) > 128,
                   blue = (color >> 16 & 0xFF) > 128;
        letters += red && green && blue ? 'w' : red ? 'r' : green ? 'g' : blue ? 'b' : '?';
    }
    return letters;
}

CStringList extensionsOf(CQVDIB& picture, int index) {
    CStringList list;
    EXPECT_EQ(picture.GetAvailableExtentions(index, list), QV_OK);
    return list;
}

int count(const CStringList& list, const char* text) {
    int found = 0;
    for (POSITION at = list.GetHeadPosition(); at;) found += list.GetNext(at) == text;
    return found;
}

} // namespace

TEST(PictureFiles, EveryShippedFormatGoesRound) {
    CQVDIB picture;
    paint(picture, 64, 48);
    for (const char* name : {"a.bmp", "a.BMP", "a.jpg", "a.png", "a.tif", "a.gif"}) {
        SCOPED_TRACE(name);
        const fs::path path = home() / name;
        EXPECT_EQ(picture.Save(path.c_str(), 0, 0), QV_OK);
        EXPECT_EQ(CQVDIB::IsSupported(path.c_str()), 1);
        CQVDIB back;
        EXPECT_EQ(back.Load(path.c_str(), 0), QV_OK);
        EXPECT_EQ(back.GetWidth(), 64);
        EXPECT_EQ(quarters(back), "rgbw");
        EXPECT_EQ(back.Investigate(path.c_str()), 1);
        BITMAPINFOHEADER header;
        CString text;
        EXPECT_EQ(back.GetInfo(path.c_str(), &header, text), QV_OK);
        EXPECT_EQ(header.biWidth, 64);
        EXPECT_EQ(header.biHeight, 48);
        EXPECT_FALSE(text.IsEmpty());
    }
}

TEST(PictureFiles, OrientationsTurnThePictureUpright) {
    CQVDIB picture;
    paint(picture, 64, 48);
    const fs::path plain = home() / "plain.jpg";
    ASSERT_EQ(picture.Save(plain.c_str(), 100, 1), QV_OK);
    // What is stored shows rgbw; mirrored orientations are left alone and counted as no Exif.
    const struct {
        WORD orientation;
        const char* quarters;
        int width, exif, kept, degrees;
    } rows[] = {
        {1, "rgbw", 64, 1, 1, 0}, {2, "rgbw", 64, 0, 2, 0},   {3, "wbgr", 64, 1, 3, 180},
        {4, "rgbw", 64, 0, 4, 0}, {5, "rgbw", 64, 0, 5, 0},   {6, "brwg", 48, 1, 6, 90},
        {7, "rgbw", 64, 0, 7, 0}, {8, "gwrb", 48, 1, 8, 270},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.orientation);
        const fs::path path = home() / "turned.jpg";
        ASSERT_EQ(picture.SetOrientation(plain.c_str(), path.c_str(), row.orientation, 0), 0);
        CQVDIB back;
        ASSERT_EQ(back.Load(path.c_str(), 0), QV_OK);
        EXPECT_EQ(quarters(back), row.quarters);
        EXPECT_EQ(back.GetWidth(), row.width);
        EXPECT_EQ(back.GetExifFlag(), row.exif);
        EXPECT_EQ(back.GetOrientation(), row.kept);
        int value = 0, degrees = -1;
        EXPECT_EQ(back.GetOrientationInfoEx(path.c_str(), &value, &degrees, 0), 0);
        EXPECT_EQ(degrees, row.degrees);
        CQVDIB small;
        ASSERT_EQ(small.LoadAtLeast(path.c_str(), {12, 9}, 0), QV_OK);
        EXPECT_EQ(small.GetWidth() * 2, row.width) << "half of it is still twice what is wanted";
        EXPECT_EQ(quarters(small), row.quarters);
        // A picture without Exif forgets what was there before.
        ASSERT_EQ(back.Load(plain.c_str(), 0), QV_OK);
        EXPECT_EQ(back.GetExifFlag(), 0);
        EXPECT_EQ(back.GetOrientation(), 0);
    }
}

TEST(PictureFiles, WithoutPlugInsOnlyBmpIsKnown) {
    restartWithModules({});
    CQVDIB picture;
    paint(picture, 8, 8);
    EXPECT_EQ(picture.GetNumOfPlugin(), 1);
    EXPECT_EQ(extensionsOf(picture, 0).GetCount(), 2);
    EXPECT_EQ(extensionsOf(picture, 1).GetCount(), 0);
    EXPECT_EQ(picture.Save((home() / "a.jpg").c_str(), 0, 0), QV_NO_EXPORT);
    EXPECT_EQ(picture.Load((home() / "a.dib").c_str(), 0), QV_NO_EXPORT) << "listed, but not built in";
    EXPECT_EQ(picture.Save((home() / "a.bmp").c_str(), 0, 0), QV_OK);
    EXPECT_EQ(picture.Load((home() / "a.bmp").c_str(), 0), QV_OK);
    EXPECT_EQ(picture.Load((home() / "missing.bmp").c_str(), 0), 0x84070002u);
    EXPECT_EQ(picture.Load(home().c_str(), 0), QV_NO_EXPORT);
    EXPECT_EQ(picture.Save("/no/such/folder/a.bmp", 0, 0), QV_FAILED);
    int exif = 7;
    LONG status = 0;
    EXPECT_EQ(picture.IsExif((home() / "a.bmp").c_str(), &exif), QV_E_FAIL);
    EXPECT_EQ(exif, 0);
    EXPECT_EQ(picture.GetOrientationInfo((home() / "a.bmp").c_str(), &status, 0), 0);
    EXPECT_EQ(status, QV_E_FAIL);
    EXPECT_LT(status, 0);
}

TEST(PictureFiles, LocalSupportIsForPlainBmpOnly) {
    CQVDIB picture;
    paint(picture, 8, 8);
    const fs::path path = home() / "a.bmp";
    ASSERT_EQ(picture.Save(path.c_str(), 0, 0), QV_OK);
    EXPECT_EQ(CQVDIB::IsLocalSupported(path.c_str()), 1);
    std::string bytes = readFile(path);
    for (const char compression : {1, 3}) {
        bytes[30] = compression;
        writeFile(path, bytes);
        EXPECT_EQ(CQVDIB::IsLocalSupported(path.c_str()), 0) << int{compression};
    }
    writeFile(path, bytes.substr(0, 53));
    EXPECT_EQ(CQVDIB::IsLocalSupported(path.c_str()), 0);
    EXPECT_EQ(CQVDIB::IsLocalSupported((home() / "b.png").c_str()), 0);
    ASSERT_EQ(mkfifo((home() / "pipe.bmp").c_str(), 0600), 0);
    EXPECT_EQ(CQVDIB::IsLocalSupported((home() / "pipe.bmp").c_str()), 0) << "it would be waited for";
    EXPECT_EQ(picture.Load((home() / "pipe.bmp").c_str(), 0), QV_NO_EXPORT);
}

// The first plug-in that takes a file is final, and what the level lists.
TEST(PictureFiles, TheFirstPlugInDecidesAndLevelSixListsMoviesTwice) {
    restartWithModules({{"scripted", "a.pcp"}, {"scripted", "b.vcp"}});
    const fs::path path = home() / "x.any";
    writeFile(path, "qvfake\nDecode=0\nEncode=1\nGetStillImageInfo=3\n");
    CQVDIB picture;
    paint(picture, 8, 8);
    EXPECT_EQ(picture.Load(path.c_str(), 0), QV_FAILED);
    EXPECT_EQ(quarters(picture), "rgbw") << "a failed decode leaves the picture";
    takeMessages();
    const auto* before = picture.GetBitsAddress();
    EXPECT_EQ(picture.Save(path.c_str(), 3, 4), QV_OK) << "whatever the codec says, on purpose";
    EXPECT_NE(picture.GetBitsAddress(), before) << "moved into a global block";
    EXPECT_NE(shown.find("cannot be written"), std::string::npos);
    BITMAPINFOHEADER header;
    CString text;
    EXPECT_EQ(picture.GetInfo(path.c_str(), &header, text), QV_FAILED);
    CQVDIB movies;
    EXPECT_EQ(movies.SetPluginLevel(6), QV_OK);
    EXPECT_EQ(movies.GetNumOfPlugin(), 3) << "one movie codec, listed twice on purpose";
    movies.SetPluginLevel(1);
    EXPECT_EQ(movies.GetNumOfPlugin(), 3) << "listed once and for all";
}

TEST(PictureFiles, ExtensionsAreThoseOfEveryPlugIn) {
    CQVDIB picture;
    CStringList all;
    EXPECT_EQ(picture.GetAllAvailableExtentions(all), QV_OK);
    for (const char* extension : {"bmp", "dib", "jpg", "jpeg", "png", "tif", "tiff", "gif"}) {
        EXPECT_EQ(count(all, extension), 1) << extension;
    }
}

TEST(PictureFiles, DatesAreReadAndWritten) {
    CQVDIB picture;
    paint(picture, 16, 16);
    const fs::path path = home() / "dated.jpg";
    ASSERT_EQ(picture.Save(path.c_str(), 0, 0), QV_OK);
    SYSTEMTIME time{};
    EXPECT_LT(picture.GetDateTimeOriginal(path.c_str(), &time), 0);
    EXPECT_EQ(picture.SetDateTimeOriginal(path.c_str(), {2005, 12, 6, 24, 12, 34, 56, 0}), 0);
    EXPECT_EQ(picture.GetDateTimeOriginal(path.c_str(), &time), 0);
    EXPECT_EQ(time.wDay, 24);
    EXPECT_EQ(time.wSecond, 56);
    const fs::path other = home() / "other.png";
    ASSERT_EQ(picture.Save(other.c_str(), 0, 0), QV_OK);
    EXPECT_EQ(picture.CopyProperties(path.c_str(), other.c_str(), 0), 0);
    EXPECT_EQ(picture.GetDateTimeOriginal(other.c_str(), &time), 0);
}

namespace {

// An icon as modules hold it: colours, then the mask; the header counts both heights.
std::string iconBytes(int size, int bits, unsigned char value, bool maskLeftHalf) {
    qv::ByteWriter out;
    out.u32(40);
    out.i32(size);
    out.i32(2 * size);
    out.u16(1);
    out.u16(static_cast<WORD>(bits));
    out.zeros(24);
    for (int i = 0; i < size * CQVDIB::GetLineBytes(size, bits); ++i) out.u8(value);
    for (int y = 0; y < size; ++y) {
        for (int i = 0; i < CQVDIB::GetLineBytes(size, 1); ++i)
            out.u8(maskLeftHalf && i < size / 16 ? 0xFF : 0);
    }
    return {out.data().begin(), out.data().end()};
}

std::string groupBytes(const std::vector<std::array<int, 3>>& entries) {
    qv::ByteWriter out;
    out.u16(0);
    out.u16(1);
    out.u16(static_cast<WORD>(entries.size()));
    for (const auto& [size, bits, id] : entries) {
        out.u8(static_cast<BYTE>(size));
        out.zeros(5);
        out.u16(static_cast<WORD>(bits));
        out.u32(0);
        out.u16(static_cast<WORD>(id));
    }
    return {out.data().begin(), out.data().end()};
}

} // namespace

TEST(Icons, TheBestOfTheGroupIsTakenAndNothingShowsAsWhite) {
    const auto bytes =
        qv::test::peModule({{3, 1, iconBytes(16, 24, 10, true)},
                            {3, 2, iconBytes(32, 24, 20, true)},
                            {3, 3, iconBytes(32, 32, 30, false)},
                            {3, 4, "\x89PNG"},
                            {14, 1, groupBytes({{16, 24, 1}, {32, 24, 2}, {32, 32, 3}, {64, 32, 4}})}},
                           false);
    const fs::path path = home() / "program.exe";
    writeFile(path, {bytes.begin(), bytes.end()});
    const struct {
        int request, width, red;
    } rows[] = {{0, 32, -1}, {16, 16, 10}, {17, 32, -1}, {48, 32, -1}};
    for (const auto& row : rows) {
        CQVDIB icon;
        EXPECT_EQ(icon.GetIconFromBinary(path.c_str(), row.request), 1);
        EXPECT_EQ(icon.GetWidth(), row.width) << row.request;
        EXPECT_EQ(icon.GetOptionFlag(), row.request);
        const ULONG right = icon.GetPixel(row.width - 1, 0);
        // The deep one has alpha 30 of 255 over white: 30 * 30 / 255 + 225.
        EXPECT_EQ(right & 0xFF, static_cast<ULONG>(row.red < 0 ? 229 : row.red)) << row.request;
        if (row.width == 16) {
            EXPECT_EQ(icon.GetPixel(0, 0), 0xFFFFFFu) << "masked";
        }
    }
    CQVDIB none;
    EXPECT_EQ(none.GetIconFromBinary((home() / "missing.exe").c_str(), 32), 0);
    const HINSTANCE module = qv::loadModuleData(path.c_str());
    unsigned char* data = nullptr;
    EXPECT_EQ(CQVDIB::StoreIconData(module, 4, &data), 4u);
    EXPECT_EQ(std::memcmp(data, "\x89PNG", 4), 0);
    delete[] data;
    EXPECT_EQ(CQVDIB::StoreIconData(module, 99, &data), 0u);
    qv::freeModuleData(module);
}
