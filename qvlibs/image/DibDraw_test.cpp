#include "qvlibs/framework/Surface.h"
#include "qvlibs/image/QVDib.h"

#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstring>

namespace fs = std::filesystem;

namespace {

void make(CQVDIB& dib, CSize size, int bits, int value) {
    const size_t bytes =
        static_cast<size_t>(CQVDIB::GetLineBytes(size.cx, bits)) * static_cast<size_t>(size.cy);
    auto* pixels = new unsigned char[bytes];
    std::memset(pixels, value, bytes);
    ASSERT_EQ(dib.Init(size, bits, pixels), 0u);
}

void readFile(CQVDIB& dib, const fs::path& path) {
    CFile file;
    ASSERT_EQ(file.Open(path.c_str(), CFile::modeRead), 1) << path;
    ASSERT_EQ(dib.Read(&file), 1) << path;
}

// Red, green, blue of all pixels from the top, as we see the picture and as another program sees the file.
std::string ours(CQVDIB& dib) {
    std::string rgb;
    for (int y = 0; y < dib.GetHeight(); ++y) {
        for (int x = 0; x < dib.GetWidth(); ++x) {
            const ULONG color = dib.GetPixel(x, y);
            for (int shift = 0; shift < 24; shift += 8) rgb += static_cast<char>(color >> shift);
        }
    }
    return rgb;
}
std::string theirs(const fs::path& path) {
    const fs::path raw = qv::test::home() / "raw.rgb";
    const auto result =
        qv::test::run({"convert", "bmp:" + path.string(), "-depth", "8", "rgb:" + raw.string()});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return qv::test::readFile(raw);
}

class ShallowSurface : public CDC {
public:
    ShallowSurface() : CDC(4, 4, 8) {}
    int GetDeviceCaps(int index) const override {
        return index == SIZEPALETTE ? 0 : index == NUMCOLORS ? 20 : CDC::GetDeviceCaps(index);
    }
};

} // namespace

TEST(DibDraw, OntoASurface) {
    CQVDIB dib, empty;
    make(dib, {2, 2}, 24, 0x40);
    dib.SetPixel(0, 0, 0x0000FF);
    CDC dc(8, 8);
    EXPECT_EQ(empty.Draw(&dc, 0, 0), 0);
    EXPECT_EQ(empty.Draw(&dc, 0, 0, 4, 4), 0);
    EXPECT_EQ(CQVDIB(CSize(2, 2), 24).Draw(&dc, CPoint(0, 0)), 0); // no pixels
    EXPECT_EQ(dib.Draw(&dc, CPoint(1, 1), CSize(4, 4)), 1);
    EXPECT_EQ(dc.GetPixel(2, 2), 0x0000FFu);
    EXPECT_EQ(dc.GetPixel(3, 2), 0x404040u);
    EXPECT_EQ(dc.GetPixel(5, 5), 0u);
    EXPECT_EQ(dc.SetStretchBltMode(0), BLACKONWHITE); // put back
    EXPECT_EQ(dib.Draw(&dc, CPoint(6, 6)), 1);
    EXPECT_EQ(dc.GetPixel(6, 6), 0x0000FFu);
    EXPECT_EQ(dc.GetPixel(7, 7), 0x404040u);
}

TEST(DibDraw, CentringForgetsTheCorner) {
    CDC dc(320, 240);
    CQVDIB dib;
    make(dib, {100, 50}, 24, 0x0F);
    CBitmap bitmap;
    bitmap.Attach(dib.CreateBitmap(&dc));
    const auto at = [&](int x, int y) { return dc.GetPixel(x, y); };
    EXPECT_EQ(CQVDIB::Draw(&dc, {100, 100, 300, 200}, bitmap.GetSafeHandle(), SRCCOPY, 1), 1);
    EXPECT_TRUE(at(50, 25) && at(149, 74) && !at(49, 25) && !at(50, 24) && !at(150, 74));
    EXPECT_EQ(CQVDIB::Draw(&dc, {200, 100, 300, 200}, bitmap.GetSafeHandle(), SRCCOPY, 0), 1);
    EXPECT_TRUE(at(200, 100) && at(299, 149) && !at(199, 100));
    EXPECT_EQ(CQVDIB::Draw(&dc, {0, 0, 9, 9}, nullptr, SRCCOPY, 0), 0);
    CQVDIB other;
    make(other, {100, 50}, 24, 0xF0);
    CBitmap second;
    second.Attach(other.CreateBitmap(&dc));
    EXPECT_EQ(CQVDIB::DrawBitmap(&dc, {0, 0, 100, 50}, bitmap.GetSafeHandle(), second.GetSafeHandle()), 1);
    EXPECT_EQ(at(0, 0), 0xFFFFFFu); // OR-ed
    EXPECT_EQ(CQVDIB::DrawBitmap(&dc, {0, 0, 100, 50}, nullptr, second.GetSafeHandle()), 0);
    const fs::path path = qv::test::home() / "a.bmp";
    ASSERT_EQ(dib.Save(path.c_str()), 1);
    CDC fresh(100, 50);
    EXPECT_EQ(CQVDIB::DrawFile(&fresh, {0, 0, 100, 50}, path.c_str()), 1);
    EXPECT_EQ(fresh.GetPixel(99, 49), 0x0F0F0Fu);
    EXPECT_EQ(CQVDIB::DrawFile(&fresh, {0, 0, 100, 50}, (path.string() + "x").c_str()), 0);
}

TEST(DibDraw, SectionsShareTheirPixels) {
    CDC dc(8, 8);
    CWnd window;
    CQVDIB dib(CSize(4, 4), 24);
    EXPECT_EQ(dib.CreateSection(static_cast<CDC*>(nullptr)), nullptr);
    EXPECT_EQ(dib.CreateSection(&window), nullptr);
    const HBITMAP section = dib.CreateSection(&dc);
    ASSERT_NE(section, nullptr);
    EXPECT_EQ(dib.CreateSection(&dc), nullptr); // it has pixels now
    EXPECT_EQ(dib.SetPixel(3, 0, 0x123456), 1);
    CBitmap bitmap;
    bitmap.Attach(section);
    {
        CMemDCB memory(&dc, &bitmap);
        EXPECT_EQ(memory.GetPixel(3, 0), 0x123456u);
        memory.SetPixel(0, 3, 0x654321);
    }
    EXPECT_EQ(dib.GetPixel(0, 3), 0x654321u);
    EXPECT_EQ(dib.Compress(&dc, 1), 0);
    bitmap.Detach();
    EXPECT_EQ(CQVDIB().CreateSection(&dc), nullptr);
}

TEST(DibDraw, Palettes) {
    CQVDIB eight, words, plain;
    make(eight, {4, 4}, 8, 0);
    make(words, {4, 4}, 16, 0);
    make(plain, {4, 4}, 24, 0);
    reinterpret_cast<RGBQUAD*>(eight.GetBitmapInfoAddress() + 1)[7] = {1, 2, 3, 0};
    CDC colors(4, 4, 8), true32(4, 4);
    ShallowSurface shallow;
    EXPECT_EQ(eight.UsePalette(&colors, 0), 0u); // none made yet
    EXPECT_EQ(eight.MakePalette(), 1);
    EXPECT_GT(eight.UsePalette(&colors, 0), 200u);
    PALETTEENTRY seven{};
    colors.GetSystemPaletteEntries(7, 1, &seven);
    EXPECT_EQ(seven.peRed, 3);
    EXPECT_EQ(words.MakePalette(), 0); // masks are no colors
    EXPECT_EQ(plain.MakePalette(), 0);
    EXPECT_EQ(CQVDIB().MakePalette(), 0);
    EXPECT_EQ(plain.SetSystemPalette(&true32), 0);
    EXPECT_EQ(eight.SetSystemPalette(&colors), 0);
    EXPECT_EQ(words.SetSystemPalette(&colors), 0);
    EXPECT_EQ(plain.SetSystemPalette(&colors), 1);
    EXPECT_EQ(plain.UsePalette(&colors, 0), 0u); // its own colors: nothing changes
    EXPECT_EQ(plain.SetSystemPalette(&shallow), 1);
}

TEST(DibDraw, CompressKeepsTheColors) {
    QV_NEEDS_PROGRAM("convert");
    const fs::path path = qv::test::home() / "rle.bmp";
    CDC dc(4, 4), colors(4, 4, 8);
    for (const int bits : {4, 8}) {
        SCOPED_TRACE(bits);
        CQVDIB dib;
        make(dib, {37, 11}, bits, 0x35);
        auto* table = reinterpret_cast<RGBQUAD*>(dib.GetBitmapInfoAddress() + 1);
        for (int i = 0; i < 1 << bits; ++i)
            table[i] = {static_cast<BYTE>(i * 3), static_cast<BYTE>(255 - i), static_cast<BYTE>(i), 0};
        for (int i = 0; i < 60; ++i) dib.GetBitsAddress()[i * 3] = static_cast<BYTE>(i * 29);
        const std::string before = ours(dib);
        for (CDC* surface : {&dc, &colors}) {
            ASSERT_EQ(dib.Compress(surface, 1), 1);
            EXPECT_EQ(dib.GetBitmapInfoAddress()->biCompression, bits == 4 ? BI_RLE4 : BI_RLE8);
            EXPECT_EQ(dib.GetSizeImage(), dib.GetBitmapInfoAddress()->biSizeImage);
            ASSERT_EQ(dib.Save(path.c_str()), 1);
            EXPECT_EQ(theirs(path), before);
            ASSERT_EQ(dib.Compress(surface, 0), 1);
            EXPECT_EQ(ours(dib), before);
        }
    }
    CQVDIB plain;
    make(plain, {4, 4}, 24, 0);
    EXPECT_EQ(plain.Compress(&dc, 1), 0);
    EXPECT_EQ(CQVDIB(CSize(4, 4), 8).Compress(&dc, 1), 0); // no pixels
    BITMAPINFOHEADER header{40, 4, 4, 1, 8, BI_RGB, 0, 0, 0, 0, 0};
    unsigned char bits[48] = {};
    plain.Empty();
    ASSERT_EQ(plain.Attach(bits, &header, 1), 1);
    EXPECT_EQ(plain.Compress(&dc, 1), 0); // no table is known
}

TEST(DibDraw, BitmapFilesLookTheSameToOthers) {
    QV_NEEDS_MEDIA(media);
    QV_NEEDS_PROGRAM("convert");
    CDC dc(1, 1);
    for (const char* name :
         {"bmpsuite/g_pal1", "bmpsuite/g_pal4", "bmpsuite/g_pal4rle", "bmpsuite/g_pal8", "bmpsuite/g_rgb24",
          "bmpsuite/g_rgb32", "bmpsuite/q_pal1p1", "bmpsuite/q_pal8offs", "bmpsuite/q_rgb24largepal",
          "pillow/hopper_rle8", "metadata-extractor-images/16color-10x10",
          "metadata-extractor-images/24bpp-10x10", "metadata-extractor-images/256color-10x10",
          "afl/not_kitty", "image-rs/Info_4_Bit"}) {
        SCOPED_TRACE(name);
        const fs::path path = media / "bmp" / (std::string(name) + ".bmp");
        CQVDIB dib;
        readFile(dib, path);
        const std::string judged = theirs(path);
        if (dib.GetBitmapInfoAddress()->biCompression != BI_RGB) {
            ASSERT_EQ(dib.Compress(&dc, 0), 1);
        }
        EXPECT_EQ(ours(dib), judged);
        const fs::path copy = qv::test::home() / "copy.bmp";
        ASSERT_EQ(dib.Save(copy.c_str()), 1);
        if (dib.GetBitCount() <= 24) {
            EXPECT_EQ(theirs(copy), judged); // 32-bit files grow by three masks that are zero
        }
    }
}
