#include "qvlibs/framework/Status.h"
#include "qvlibs/image/DibTools.h"
#include "qvlibs/image/QVDib.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

namespace {

std::mt19937 random32(3);

// Random pixels and table of any depth; `masks` makes 16 bits 5-6-5 or 5-5-5 with masks, else without.
void fill(CQVDIB& dib, CSize size, int bits, DWORD compression, DWORD greenMask) {
    const size_t bytes =
        static_cast<size_t>(CQVDIB::GetLineBytes(size.cx, bits)) * static_cast<size_t>(size.cy);
    auto* pixels = new unsigned char[bytes];
    std::generate_n(pixels, bytes, [] { return static_cast<unsigned char>(random32()); });
    ASSERT_EQ(dib.Init(size, bits, pixels), 0u);
    BITMAPINFOHEADER* header = dib.GetBitmapInfoAddress();
    header->biCompression = compression;
    auto* table = reinterpret_cast<BYTE*>(header + 1);
    if (bits <= 8) std::generate_n(table, 4u << bits, [] { return static_cast<BYTE>(random32()); });
    if (bits == 16) {
        const DWORD masks[] = {greenMask == 0x07E0 ? 0xF800u : 0x7C00u, greenMask, 0x1F};
        std::memcpy(table, masks, sizeof masks);
    }
}

struct Depth {
    int bits;
    DWORD compression, green;
};
constexpr Depth kDepths[] = {{1, BI_RGB, 0},
                             {4, BI_RGB, 0},
                             {8, BI_RGB, 0},
                             {16, BI_RGB, 0},
                             {16, BI_BITFIELDS, 0x07E0},
                             {16, BI_BITFIELDS, 0x03E0},
                             {24, BI_RGB, 0},
                             {32, BI_RGB, 0},
                             {32, BI_BITFIELDS, 0}};

using Source = std::function<ULONG(int x, int y)>;
void expectPixels(const CQVDIB& dib, CSize size, const Source& color) {
    ASSERT_TRUE(dib.GetDimensions() == size);
    ASSERT_EQ(dib.GetBitCount(), 24);
    for (int y = 0; y < size.cy; ++y) {
        for (int x = 0; x < size.cx; ++x) ASSERT_EQ(dib.GetPixel(x, y), color(x, y)) << x << "," << y;
    }
}

ULONG each(ULONG color, const std::function<int(int)>& channel) {
    ULONG result = 0;
    for (int shift = 0; shift < 24; shift += 8) {
        result |= static_cast<ULONG>(channel(static_cast<int>(color >> shift & 0xFF)) & 0xFF) << shift;
    }
    return result;
}

// A 24-bit picture one pixel wide, from stored rows (the lowest first), as it comes out of a still filter.
std::vector<int> still(std::vector<int> stored, ULONG mode) {
    const int height = static_cast<int>(stored.size());
    CQVDIB dib;
    dib.Init({1, height}, 24, new unsigned char[4 * stored.size()]);
    for (int i = 0; i < height; ++i) {
        dib.SetPixel(0, height - 1 - i, static_cast<ULONG>(stored[static_cast<size_t>(i)]));
    }
    EXPECT_EQ(dib.StillFilter(mode, nullptr), 0u);
    for (int i = 0; i < height; ++i) {
        stored[static_cast<size_t>(i)] = static_cast<int>(dib.GetPixel(0, height - 1 - i));
    }
    return stored;
}

} // namespace

TEST(DibFilters, RowsGiveWhatPixelsGive) {
    for (int round = 0; round < 300; ++round) {
        const Depth depth = kDepths[static_cast<size_t>(round) % std::size(kDepths)];
        const CSize size(1 + static_cast<int>(random32() % 80), 1 + static_cast<int>(random32() % 12));
        SCOPED_TRACE(testing::Message() << depth.bits << " bits " << size.cx << "x" << size.cy);
        CQVDIB source, result;
        fill(source, size, depth.bits, depth.compression, depth.green);

        ASSERT_EQ(source.RecolorFilter(24, &result), 0u);
        expectPixels(result, size, [&](int x, int y) { return source.GetPixel(x, y); });

        const int left = static_cast<int>(random32()) & 7, top = static_cast<int>(random32()) & 3;
        const RECT rect{std::min(left, size.cx - 1), std::min(top, size.cy - 1), size.cx - 1, size.cy - 1};
        ASSERT_EQ(source.TrimmingFilter(rect, &result), 0);
        expectPixels(result, {size.cx - rect.left, size.cy - rect.top},
                     [&](int x, int y) { return source.GetPixel(rect.left + x, rect.top + y); });

        const struct {
            int angle;
            CSize size;
            Source from;
        } turns[] = {
            {0, size, [&](int x, int y) { return source.GetPixel(x, y); }},
            {90, {size.cy, size.cx}, [&](int x, int y) { return source.GetPixel(y, size.cy - 1 - x); }},
            {180, size, [&](int x, int y) { return source.GetPixel(size.cx - 1 - x, size.cy - 1 - y); }},
            {270, {size.cy, size.cx}, [&](int x, int y) { return source.GetPixel(size.cx - 1 - y, x); }},
            {-90, {size.cy, size.cx}, [&](int x, int y) { return source.GetPixel(size.cx - 1 - y, x); }},
        };
        for (const auto& turn : turns) {
            SCOPED_TRACE(turn.angle);
            ASSERT_EQ(source.RotationFilter(turn.angle, 0, &result), 0);
            expectPixels(result, turn.size, turn.from);
        }
        CQVDIB again(source);
        for (int i = 0; i < 4; ++i) ASSERT_EQ(again.RotationFilter(90, 0, nullptr), 0);
        expectPixels(again, size, [&](int x, int y) { return source.GetPixel(x, y); });

        ASSERT_EQ(source.RecolorFilter(24, nullptr), 0u); // in place from here on
        CQVDIB gray(source), light(source);
        const int level = static_cast<int>(random32() % 401) - 150;
        gray.GrayFilter();
        light.DensityFilter(level);
        expectPixels(gray, size, [&](int x, int y) {
            const ULONG color = source.GetPixel(x, y);
            return ((color & 0xFF) + (color >> 8 & 0xFF) + (color >> 16)) / 3 * 0x010101;
        });
        expectPixels(light, size, [&](int x, int y) {
            return each(source.GetPixel(x, y),
                        [&](int c) { return (c * (100 - level) + level * 255) / 100; });
        });
    }
}

TEST(DibFilters, SmallPicturesInFull) {
    CQVDIB dib;
    dib.Init({1, 1}, 24, new unsigned char[4]());
    dib.SetPixel(0, 0, 0x0100FF);
    dib.GrayFilter();
    EXPECT_EQ(dib.GetPixel(0, 0), 0x555555u);
    const struct {
        int level;
        int from, to;
    } rows[] = {
        {50, 0, 127},           {0, 31, 31}, {100, 31, 255}, {200, 0, 254}, {-100, 0, 1}, {-100, 128, 1},
        {0x7FFFFFFF, 255, 255}, {1, 0, 2},   {-1, 0, 254},
    };
    for (const auto& row : rows) {
        dib.SetPixel(0, 0, static_cast<ULONG>(row.from) * 0x010101);
        dib.DensityFilter(row.level);
        EXPECT_EQ(dib.GetPixel(0, 0), static_cast<ULONG>(row.to) * 0x010101) << row.level;
    }
}

TEST(DibFilters, OtherDepthsStayAsTheyAre) {
    CQVDIB dib;
    fill(dib, {5, 5}, 8, BI_RGB, 0);
    const CQVDIB before(dib);
    EXPECT_EQ(dib.GrayFilter(), 0u);
    EXPECT_EQ(dib.DensityFilter(100), 0u);
    EXPECT_EQ(std::memcmp(dib.GetBitsAddress(), before.GetBitsAddress(), 40), 0);
    EXPECT_EQ(CQVDIB().GrayFilter(), 0u);
}

TEST(DibFilters, EachHasItsOwnCodes) {
    CQVDIB empty, dib, result, packed, hollow(CSize(10, 10), 8);
    fill(dib, {10, 10}, 24, BI_RGB, 0);
    fill(packed, {10, 10}, 8, BI_RLE8, 0);
    EXPECT_EQ(empty.RecolorFilter(24, nullptr), 1u);
    EXPECT_EQ(packed.RecolorFilter(24, nullptr), 1u);
    EXPECT_EQ(packed.StillFilter(1, nullptr), 1u); // its rows are no rows
    EXPECT_EQ(hollow.RecolorFilter(24, &result), 1u);
    EXPECT_EQ(hollow.RotationFilter(90, 0, nullptr), QV_E_FAIL);
    EXPECT_EQ(hollow.TrimmingFilter({0, 0, 1, 1}, &result), QV_E_FAIL);
    EXPECT_EQ(dib.RecolorFilter(8, &result), 1u);
    EXPECT_EQ(dib.RecolorFilter(24, nullptr), 0u);
    EXPECT_EQ(empty.RotationFilter(90, 0, nullptr), QV_E_FAIL);
    EXPECT_EQ(packed.RotationFilter(90, 0, nullptr), QV_E_FAIL);
    EXPECT_EQ(dib.RotationFilter(45, 0, nullptr), QV_E_INVALIDARG);
    EXPECT_EQ(empty.StillFilter(0, nullptr), 1u);
    for (ULONG mode = 3; mode < 16; ++mode) EXPECT_EQ(dib.StillFilter(mode | 0x10, nullptr), 1u);
    EXPECT_EQ(QVTLRecolorDIB(&dib, 8), nullptr);
    EXPECT_LT(QV_E_FAIL, 0);
    const struct {
        RECT rect;
        LONG code;
    } trims[] = {
        {{0, 0, 9, 9}, 0},
        {{0, 0, 10, 9}, QV_E_INVALIDARG},
        {{0, 0, 9, 10}, QV_E_INVALIDARG},
        {{-1, 0, 9, 9}, QV_E_INVALIDARG},
        {{0, -1, 9, 9}, QV_E_INVALIDARG},
        {{5, 0, 4, 9}, QV_E_INVALIDARG},
        {{0, 5, 9, 4}, QV_E_INVALIDARG},
        {{3, 3, 3, 3}, 0},
    };
    for (const auto& row : trims) EXPECT_EQ(dib.TrimmingFilter(row.rect, &result), row.code);
    EXPECT_TRUE(result.GetDimensions() == CSize(1, 1));
    EXPECT_EQ(empty.TrimmingFilter({5, 5, 4, 4}, nullptr), QV_E_NOHEADER);
    const struct {
        int orientation;
        LONG code;
        int width;
    } turns[] = {
        {1, 1, 2},
        {3, 0, 2},
        {6, 0, 1},
        {8, 0, 1},
        {0, QV_E_INVALIDARG, 2},
        {2, QV_E_INVALIDARG, 2},
        {7, QV_E_INVALIDARG, 2},
    };
    for (const auto& row : turns) {
        CQVDIB wide;
        fill(wide, {2, 1}, 24, BI_RGB, 0);
        const ULONG left = wide.GetPixel(0, 0);
        EXPECT_EQ(wide.RotationFilter2(row.orientation, nullptr), row.code);
        EXPECT_EQ(wide.GetWidth(), row.width) << row.orientation;
        if (row.orientation == 6) {
            EXPECT_EQ(wide.GetPixel(0, 0), left); // clockwise: the left is on top
        }
    }
}

TEST(DibFilters, TrimKeepsTheMemoryThatFits) {
    CQVDIB dib, result;
    fill(dib, {4, 4}, 24, BI_RGB, 0);
    fill(result, {2, 2}, 24, BI_RGB, 0);
    const auto* const bits = result.GetBitsAddress();
    ASSERT_EQ(dib.TrimmingFilter({1, 1, 2, 2}, &result), 0);
    EXPECT_EQ(result.GetBitsAddress(), bits);
    EXPECT_EQ(result.GetPixel(0, 0), dib.GetPixel(1, 1));
}

TEST(DibFilters, StillsKeepOneField) {
    EXPECT_EQ(still({10, 20, 30, 41}, 0x21), (std::vector<int>{20, 20, 41, 41})); // doubles only
    EXPECT_EQ(still({10, 20, 30, 41}, 0x22), (std::vector<int>{10, 30, 30, 30})); // and moves down by a line
    EXPECT_EQ(still({10, 20, 30, 41}, 0x30), (std::vector<int>{10, 20, 30, 41}));
    EXPECT_EQ(still({10, 20, 30, 41}, 1),
              (std::vector<int>{20, 20, 30, 41})); // row 1 from the top: (20 + 41) / 2
    EXPECT_EQ(still({10, 20, 30, 41}, 0x11), (std::vector<int>{20, 20, 30, 41}));
    EXPECT_EQ(still({10, 20, 30, 41}, 2), (std::vector<int>{10, 20, 30, 30}));
    EXPECT_EQ(still({10, 20, 30, 41, 50}, 1), (std::vector<int>{20, 30, 41, 45, 50}));
    EXPECT_EQ(still({10, 20}, 1), (std::vector<int>{20, 20}));
    EXPECT_EQ(still({10}, 2), (std::vector<int>{10}));
}

TEST(DibFilters, StillFilterChangesTheSourceToo) {
    CQVDIB dib, result;
    fill(dib, {3, 4}, 24, BI_RGB, 0);
    const ULONG lower = dib.GetPixel(0, 2);
    ASSERT_EQ(dib.StillFilter(0x21, &result), 0u);
    EXPECT_EQ(result.GetPixel(0, 3), lower);
    EXPECT_EQ(dib.GetPixel(0, 3), lower);
}
