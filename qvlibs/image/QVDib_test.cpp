#include "qvlibs/image/PixelLimit.h"
#include "qvlibs/image/QVDib.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

unsigned char* pixels(size_t size, int value) {
    auto* block = new unsigned char[size];
    std::memset(block, value, size);
    return block;
}

BITMAPINFOHEADER* makeHeader(int width, int height, WORD bitCount) {
    auto* header = reinterpret_cast<BITMAPINFOHEADER*>(new unsigned char[40 + 4 * 256]());
    *header = {40, width, height, 1, bitCount, BI_RGB, 0, 0, 0, 0, 0};
    return header;
}

} // namespace

TEST(Dib, LinesArePaddedToFourBytes) {
    const struct {
        int width, bits, bytes;
    } rows[] = {
        {0, 24, 0}, {1, 24, 4}, {3, 8, 4}, {4, 8, 4}, {5, 8, 8},
        {32, 1, 4}, {33, 1, 8}, {7, 4, 4}, {9, 4, 8}, {720, 24, 2160},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(CQVDIB::GetLineBytes(row.width, row.bits), row.bytes) << row.width << " x " << row.bits;
    }
    EXPECT_EQ(CQVDIB().GetLineBytes(), 0);
}

TEST(Dib, InitFillsTheHeaderAndMakesNoPixels) {
    const struct {
        int bits;
        int colors;
        DWORD compression, size;
    } rows[] = {
        {1, 2, BI_RGB, 40},         {4, 16, BI_RGB, 80},  {8, 256, BI_RGB, 120},
        {16, 3, BI_BITFIELDS, 200}, {24, 0, BI_RGB, 320}, {32, 3, BI_BITFIELDS, 400},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.bits);
        const CQVDIB dib(CSize(10, 10), row.bits);
        EXPECT_EQ(dib.GetBitsAddress(), nullptr);
        EXPECT_EQ(dib.IsEmpty(), 0);
        EXPECT_EQ(dib.GetSizeImage(), row.size);
        EXPECT_EQ(dib.GetSizeHeader(), 40u + 4u * static_cast<unsigned>(row.colors));
        const BITMAPINFOHEADER& header = *dib.GetBitmapInfoAddress();
        EXPECT_EQ(header.biCompression, row.compression);
        EXPECT_EQ(header.biClrUsed, static_cast<DWORD>(row.colors));
        EXPECT_EQ(header.biClrImportant, header.biClrUsed);
        EXPECT_EQ(header.biSizeImage, row.size);
    }
    DWORD masks[3];
    const CQVDIB words(CSize(1, 1), 16), quads(CSize(1, 1), 32);
    std::memcpy(masks, words.GetBitmapInfoAddress() + 1, sizeof masks);
    EXPECT_TRUE(masks[0] == 0xF800 && masks[1] == 0x07E0 && masks[2] == 0x001F);
    std::memcpy(masks, quads.GetBitmapInfoAddress() + 1, sizeof masks);
    EXPECT_TRUE(masks[0] == 0xFF0000 && masks[1] == 0xFF00 && masks[2] == 0xFF);
}

TEST(Dib, SizesAreRefusedBeforeMemoryIsTaken) {
    const struct {
        int width, height, bits;
        ULONG result;
    } rows[] = {
        {0, 0, 24, 0},         {1, -1, 24, 1},        {-1, 1, 24, 1},       {0x7FFFFFFF, 0x7FFFFFFF, 32, 1},
        {16384, 16384, 32, 0}, {16384, 16385, 32, 1}, {10, 10, 0x10000, 1}, {10, 10, -1, 1},
    };
    for (const auto& row : rows) {
        CQVDIB dib(CSize(1, 1), 8);
        EXPECT_EQ(dib.Init({row.width, row.height}, row.bits, nullptr), row.result)
            << row.width << "," << row.height;
        EXPECT_EQ(dib.IsEmpty(), row.result ? 1 : 0);
    }
    qv::setPixelLimit(399);
    CQVDIB small;
    EXPECT_EQ(small.Init({10, 10}, 32, pixels(400, 0)), 1u); // the block is freed: it was handed over
    EXPECT_EQ(small.Init({10, 9}, 32, nullptr), 0u);
}

TEST(Dib, ColorsOfEveryDepth) {
    // One row of 8 pixels each; the table's entries are told apart by their number.
    const struct {
        int bits;
        DWORD compression;
        DWORD green;
        std::vector<int> bytes;
        int x;
        ULONG color;
    } rows[] = {
        {1, BI_RGB, 0, {0x40}, 1, 0x010101},
        {1, BI_RGB, 0, {0x40}, 0, 0},
        {4, BI_RGB, 0, {0x5A}, 0, 0x050505},
        {4, BI_RGB, 0, {0x5A}, 1, 0x0A0A0A},
        {8, BI_RGB, 0, {0, 0xC8}, 1, 0xC8C8C8},
        {16, BI_RGB, 0, {0xFF, 0x7F}, 0, 0xF8F8F8},
        {16, BI_RGB, 0, {0x00, 0x7C}, 0, 0x0000F8},
        {16, BI_BITFIELDS, 0x07E0, {0xFF, 0xFF}, 0, 0xF8FCF8},
        {16, BI_BITFIELDS, 0x07E0, {0x00, 0xF8}, 0, 0x0000F8},
        {16, BI_BITFIELDS, 0x03E0, {0xFF, 0x7F}, 0, 0xF8F8F8},
        {16, BI_BITFIELDS, 0x03E0, {0xE0, 0x03}, 0, 0x00F800},
        {24, BI_RGB, 0, {1, 2, 3, 0x10, 0x20, 0x30}, 1, 0x102030},
        {32, BI_RGB, 0, {0x10, 0x20, 0x30, 0xFF}, 0, 0x102030},
        {24, BI_RLE8, 0, {1, 2, 3}, 0, 0},
        {2, BI_RGB, 0, {0xFF}, 0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.bits << " bits, x " << row.x);
        CQVDIB dib;
        ASSERT_EQ(dib.Init({8, 1}, row.bits, pixels(32, 0)), 0u);
        for (size_t i = 0; i < row.bytes.size(); ++i) {
            dib.GetBitsAddress()[i] = static_cast<unsigned char>(row.bytes[i]);
        }
        dib.GetBitmapInfoAddress()->biCompression = row.compression;
        auto* table = reinterpret_cast<RGBQUAD*>(dib.GetBitmapInfoAddress() + 1);
        for (int i = 0; row.bits <= 8 && i < 1 << row.bits && row.bits != 2; ++i) {
            const BYTE level = static_cast<BYTE>(i);
            table[i] = {level, level, level, 0};
        }
        if (row.bits == 16) {
            const DWORD masks[] = {row.green == 0x07E0 ? 0xF800u : 0x7C00u, row.green, 0x1F};
            std::memcpy(table, masks, sizeof masks);
        }
        EXPECT_EQ(dib.GetPixel(row.x, 0), row.color);
    }
}

TEST(Dib, RowsCountFromTheTopAndStayInsideThePixels) {
    CQVDIB dib;
    dib.Init({1, 3}, 24, pixels(12, 0));
    EXPECT_EQ(dib.SetPixel(0, 0, 0x0000FF), 1);
    EXPECT_EQ(dib.GetBitsAddress()[8], 0x00); // the last stored row: B, G, R
    EXPECT_EQ(dib.GetBitsAddress()[10], 0xFF);
    EXPECT_EQ(dib.GetPixel(0, 0), 0xFFu);
    const struct {
        int x, y;
    } outside[] = {{0, -1}, {0, 3}, {-1, 0}, {2, 0}, {0x7FFFFFFF, 0}, {0, -0x7FFFFFFF}};
    for (const auto& at : outside) {
        EXPECT_EQ(dib.SetPixel(at.x, at.y, 0xFFFFFF), 0) << at.x << "," << at.y;
        EXPECT_EQ(dib.GetPixel(at.x, at.y), 0u) << at.x << "," << at.y;
    }
    CQVDIB gray;
    gray.Init({4, 1}, 8, pixels(4, 0));
    EXPECT_EQ(gray.SetPixel(0, 0, 0xFFFFFF), 0);
}

TEST(Dib, CopyKeepsTheDestinationWhenThereIsNothingToCopy) {
    CQVDIB source(CSize(4, 4), 24), mine;
    mine.Init({2, 2}, 24, pixels(16, 7));
    EXPECT_EQ(mine.Copy(source), 1u);
    EXPECT_EQ(mine.GetWidth(), 2);
    EXPECT_EQ(mine.Copy(mine), 0u);
    EXPECT_EQ(mine.GetPixel(1, 1), 0x070707u);
    const CQVDIB second(mine);
    EXPECT_EQ(second.GetPixel(1, 1), 0x070707u);
    EXPECT_NE(second.GetBitsAddress(), mine.GetBitsAddress());
}

TEST(Dib, CopyOfAShortTableFillsUpWithBlack) {
    auto* packed = new unsigned char[40 + 4 * 16 + 16];
    std::memset(packed, 9, 40 + 4 * 16 + 16);
    const BITMAPINFOHEADER header{40, 4, 4, 1, 8, BI_RGB, 0, 0, 0, 16, 0};
    std::memcpy(packed, &header, 40);
    CQVDIB source, copy;
    ASSERT_EQ(source.AttachMemory(packed, 1, nullptr), 1);
    ASSERT_EQ(copy.Copy(source), 0u);
    EXPECT_EQ(copy.GetBitmapInfoAddress()->biClrUsed, 256u);
    const auto* table = reinterpret_cast<RGBQUAD*>(copy.GetBitmapInfoAddress() + 1);
    EXPECT_EQ(table[15].rgbGreen, 9);
    EXPECT_EQ(table[16].rgbGreen, 0);
    EXPECT_EQ(copy.GetPixel(3, 3), 0x090909u);
}

TEST(Dib, SetExternalDibCountsTwentyFourBits) {
    unsigned char bits[64] = {};
    BITMAPINFOHEADER header{40, 10, 2, 1, 8, BI_RGB, 0, 0, 0, 0, 0};
    CQVDIB dib;
    ASSERT_EQ(dib.Attach(bits, &header, 1), 1);
    EXPECT_EQ(dib.GetSizeImage(), 64u); // 24 would be the rows
    EXPECT_EQ(dib.GetPixel(0, 0), 0u);  // no table is known
    EXPECT_EQ(dib.Attach(bits, &header, 1), 0);
}

TEST(Dib, DetachHandsOverOrCopies) {
    CQVDIB dib;
    ASSERT_EQ(dib.Attach(pixels(16, 5), makeHeader(2, 2, 24), 0), 1);
    unsigned char copy[16] = {};
    BITMAPINFOHEADER header{};
    EXPECT_EQ(dib.Detach(copy, &header), 1);
    EXPECT_EQ(dib.IsEmpty(), 1);
    EXPECT_EQ(copy[15], 5);
    EXPECT_EQ(header.biWidth, 2);

    ASSERT_EQ(dib.Attach(pixels(16, 5), makeHeader(2, 2, 24), 0), 1);
    unsigned char* const bits = dib.GetBitsAddress();
    BITMAPINFOHEADER* const kept = dib.GetBitmapInfoAddress();
    EXPECT_EQ(dib.Detach(nullptr, nullptr), 1);
    EXPECT_EQ(dib.IsEmpty(), 1);
    EXPECT_EQ(bits[0] + kept->biWidth, 7); // still there, and ours to free
    delete[] bits;
    delete[] reinterpret_cast<unsigned char*>(kept);
}

TEST(Dib, MovesIntoAMemoryBlockOnce) {
    CQVDIB dib;
    EXPECT_EQ(dib.RemapToGlobalMemoryAddress(), 1u);
    dib.Init({5, 2}, 8, pixels(16, 3));
    reinterpret_cast<RGBQUAD*>(dib.GetBitmapInfoAddress() + 1)[3] = {1, 2, 3, 0};
    ASSERT_EQ(dib.RemapToGlobalMemoryAddress(), 0u);
    EXPECT_EQ(dib.GetPixel(4, 1), 0x010203u);
    EXPECT_EQ(dib.GetBitsAddress(), reinterpret_cast<unsigned char*>(dib.GetBitmapInfoAddress()) + 40 + 1024);
    const unsigned char* const bits = dib.GetBitsAddress();
    EXPECT_EQ(dib.RemapToGlobalMemoryAddress(), 0u);
    EXPECT_EQ(dib.GetBitsAddress(), bits);
}

TEST(Dib, BlocksThatAreTooSmallAreNotAdopted) {
    const HGLOBAL block = GlobalAlloc(GHND, 40 + 15);
    auto* header = static_cast<BITMAPINFOHEADER*>(GlobalLock(block));
    *header = {40, 2, 2, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    CQVDIB dib;
    EXPECT_EQ(dib.AttachMemory(header, 1, block), 0); // one byte short
    header->biHeight = 1;
    EXPECT_EQ(dib.AttachMemory(header, 0, block), 1);
    header->biBitCount = 32; // counts three masks, which the block does not hold
    EXPECT_EQ(dib.AttachMemory(header, 0, block), 0);
    EXPECT_EQ(dib.IsEmpty(), 1);
    EXPECT_EQ(GlobalFree(block), nullptr); // was never freed on the way
}

TEST(Dib, CanBeMadeByName) {
    const CRuntimeClass* type = CRuntimeClass::FromName("CQVDIB");
    ASSERT_NE(type, nullptr);
    CObject* object = type->CreateObject();
    EXPECT_EQ(object->IsKindOf(&CQVDIB::classCQVDIB), 1);
    delete object;
}
