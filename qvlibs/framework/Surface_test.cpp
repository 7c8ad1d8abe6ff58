#include "qvlibs/framework/Surface.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

struct Rows {
    Rows(int width, int height, int bitCount)
        : header{40, width, height, 1, static_cast<WORD>(bitCount), BI_RGB, 0, 0, 0, 0, 0},
          bits(static_cast<size_t>(qv::dibLineBytes(width, bitCount) * height)) {}
    qv::DibView view() const { return {&header, table, bits}; }
    BITMAPINFOHEADER header;
    std::vector<RGBQUAD> table;
    std::vector<BYTE> bits;
};

} // namespace

TEST(Surface, StretchesWithoutMixing) {
    Rows picture(2, 2, 24);
    picture.bits = {1, 1, 1, 2, 2, 2, 0, 0, 3, 3, 3, 4, 4, 4, 0, 0}; // 3 4 above 1 2
    CDC dc(6, 4, 24);
    EXPECT_EQ(dc.StretchDIBits(1, 0, 4, 4, picture.view(), SRCCOPY), 2);
    const int expected[4][6] = {
        {0, 3, 3, 4, 4, 0}, {0, 3, 3, 4, 4, 0}, {0, 1, 1, 2, 2, 0}, {0, 1, 1, 2, 2, 0}};
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 6; ++x) EXPECT_EQ(dc.GetPixel(x, y), expected[y][x] * 0x010101u) << x << "," << y;
    }
    dc.StretchDIBits(6, 4, -6, -4, picture.view(), SRCCOPY); // mirrored both ways
    EXPECT_EQ(dc.GetPixel(0, 0), 0x020202u);
    EXPECT_EQ(dc.GetPixel(5, 3), 0x030303u);
    dc.StretchDIBits(-0x7FFFFFFF, -0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF, picture.view(),
                     SRCCOPY); // all of it outside
    EXPECT_EQ(dc.GetPixel(0, 0), 0x020202u);
    picture.header.biWidth = picture.header.biHeight = 0x7FFFFFFF; // far more than the bits
    EXPECT_EQ(dc.StretchDIBits(0, 0, 6, 4, picture.view(), SRCCOPY), 0x7FFFFFFF);
    EXPECT_EQ(dc.GetPixel(0, 0), 0u);
    EXPECT_EQ(dc.StretchDIBits(0, 0, 4, 4, {}, SRCCOPY), 0);
    EXPECT_EQ(dc.StretchDIBits(0, 0, 4, 4, picture.view(), 0x42), 0);
}

TEST(Surface, SectionsAreSharedAtEveryDepth) {
    for (const int bits : {1, 4, 8, 16, 24, 32}) {
        SCOPED_TRACE(bits);
        Rows like(9, 3, bits);
        if (bits <= 8) like.table = {{0, 0, 0, 0}, {0xF8, 0xF8, 0xF8, 0}};
        unsigned char* pixels = nullptr;
        CBitmap bitmap;
        bitmap.Attach(CreateDIBSection(like.header, like.table, &pixels));
        ASSERT_NE(pixels, nullptr);
        CDC screen(4, 4);
        CMemDCB memory(&screen, &bitmap);
        memory.SetPixel(7, 0, 0xFAFBFD);
        const ULONG stored = bits <= 16 ? 0xF8F8F8 : 0xFAFBFD;
        EXPECT_EQ(memory.GetPixel(7, 0), stored);
        EXPECT_EQ(qv::dibPixel({&like.header, like.table, {pixels, like.bits.size()}}, 7, 0), stored);
        EXPECT_EQ(memory.GetPixel(6, 0), 0u);
        EXPECT_EQ(memory.GetPixel(8, 0), 0u);
        std::fill_n(pixels, like.bits.size(), BYTE{0});
        EXPECT_EQ(memory.GetPixel(7, 0), 0u);
        EXPECT_EQ(screen.BitBlt(0, 0, 9, 9, memory, 0, 0, SRCCOPY), 1);
    }
    unsigned char* none = nullptr;
    EXPECT_EQ(CreateDIBSection({40, 0x7FFFFFFF, 0x7FFFFFFF, 1, 32, BI_RGB, 0, 0, 0, 0, 0}, {}, &none),
              nullptr);
    EXPECT_EQ(CreateDIBSection({40, 4, -4, 1, 32, BI_RGB, 0, 0, 0, 0, 0}, {}, &none), nullptr);
    EXPECT_EQ(CreateDIBSection({40, 4, 4, 1, 8, BI_RLE8, 0, 0, 0, 0, 0}, {}, &none), nullptr);
}

TEST(Surface, PaintingIsAnOr) {
    CDC to(3, 1), from(3, 1);
    to.SetPixel(1, 0, 0x0F0F0F);
    from.SetPixel(1, 0, 0xF00080);
    EXPECT_EQ(to.BitBlt(0, 0, 3, 1, from, 0, 0, SRCPAINT), 1);
    EXPECT_EQ(to.GetPixel(1, 0), 0xFF0F8Fu);
    EXPECT_EQ(to.BitBlt(0, 0, 3, 1, from, 0, 0, SRCCOPY), 1);
    EXPECT_EQ(to.GetPixel(1, 0), 0xF00080u);
    EXPECT_EQ(to.BitBlt(2, 0, 3, 1, from, 1, 0, SRCCOPY), 1); // cut at the edge
    EXPECT_EQ(to.GetPixel(2, 0), 0xF00080u);
}

TEST(Surface, PalettesAreRealizedInTheForeground) {
    CDC dc(4, 4, 8), plain(4, 4);
    EXPECT_EQ(dc.GetDeviceCaps(RASTERCAPS) & RC_PALETTE, RC_PALETTE);
    EXPECT_EQ(plain.GetDeviceCaps(RASTERCAPS) & RC_PALETTE, 0);
    const PALETTEENTRY entries[] = {{1, 2, 3, 0}, {4, 5, 6, 0}};
    const HPALETTE palette = CreatePalette(entries, 2);
    dc.SelectPalette(palette, 1);
    EXPECT_EQ(dc.RealizePalette(), 0u);
    EXPECT_EQ(dc.SelectPalette(palette, 0), palette);
    EXPECT_EQ(dc.RealizePalette(), 2u);
    EXPECT_EQ(dc.RealizePalette(), 0u);
    PALETTEENTRY read[3] = {};
    EXPECT_EQ(dc.GetSystemPaletteEntries(1, 2, read), 2u);
    EXPECT_EQ(read[0].peGreen, 5);
    EXPECT_EQ(dc.GetSystemPaletteEntries(255, 3, read), 1u);
    EXPECT_EQ(plain.GetSystemPaletteEntries(0, 3, read), 0u);
    dc.SetPixel(0, 0, 0x060504);
    EXPECT_EQ(dc.GetPixel(0, 0), 0x060504u);
    dc.SetPixel(0, 0, 0x070504);
    EXPECT_EQ(dc.GetPixel(0, 0), 0x060504u); // the nearest
    EXPECT_EQ(CreatePalette(entries, 0), nullptr);
    DeleteObject(palette);
}
