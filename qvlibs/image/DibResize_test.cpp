#include "qvlibs/image/Canvas.h"
#include "qvlibs/image/DibTools.h"
#include "qvlibs/image/QVDib.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

namespace {

// Left half one color, right half another.
void halves(CQVDIB& dib, CSize size, ULONG left, ULONG right) {
    const size_t bytes =
        static_cast<size_t>(CQVDIB::GetLineBytes(size.cx, 24)) * static_cast<size_t>(size.cy);
    ASSERT_EQ(dib.Init(size, 24, new unsigned char[bytes]()), 0u);
    for (int y = 0; y < size.cy; ++y) {
        for (int x = 0; x < size.cx; ++x) dib.SetPixel(x, y, x < size.cx / 2 ? left : right);
    }
}

bool same(const CQVDIB& a, const CQVDIB& b) {
    return a.GetDimensions() == b.GetDimensions() && a.GetSizeImage() == b.GetSizeImage() &&
           std::memcmp(a.GetBitsAddress(), b.GetBitsAddress(), a.GetSizeImage()) == 0;
}

} // namespace

TEST(DibResize, ResizeFilterIgnoresTheMethod) {
    CQVDIB source, smooth;
    halves(source, {72, 48}, 0xFF0000, 0x0000FF);
    ASSERT_EQ(
        source.ResizeFilter({33, 21}, &smooth, 1, DIB_TYPE_SQUARE, DIB_TYPE_SQUARE, RESIZE_METHOD_SMOOTH),
        0u);
    for (const int method : {0, 1, 2, 5, 7, 12}) {
        CQVDIB other;
        ASSERT_EQ(source.ResizeFilter({33, 21}, &other, 2, DIB_TYPE_SQUARE, DIB_TYPE_SQUARE,
                                      static_cast<RESIZE_METHOD>(method)),
                  0u);
        EXPECT_TRUE(same(other, smooth)) << method; // and option 2 fits like 1
    }
    EXPECT_NE(smooth.GetPixel(16, 10), 0xFF0000u); // blended where the halves meet
    EXPECT_NE(smooth.GetPixel(16, 10), 0x0000FFu);
}

TEST(DibResize, BarsAreBlackAndTheSourceMayBecomeTheResult) {
    CQVDIB source, result;
    halves(source, {720, 480}, 0x112233, 0x112233);
    ASSERT_EQ(
        source.ResizeFilter({320, 180}, &result, 1, DIB_TYPE_AUTO, DIB_TYPE_16_9, RESIZE_METHOD_DEFAULT), 0u);
    EXPECT_EQ(result.GetPixel(39, 90), 0u);
    EXPECT_EQ(result.GetPixel(40, 90), 0x112233u);
    EXPECT_EQ(result.GetPixel(279, 0), 0x112233u);
    EXPECT_EQ(result.GetPixel(280, 0), 0u);
    ASSERT_EQ(
        source.ResizeFilter({320, 180}, nullptr, 1, DIB_TYPE_AUTO, DIB_TYPE_16_9, RESIZE_METHOD_DEFAULT), 0u);
    EXPECT_TRUE(same(source, result));
}

TEST(DibResize, Refusals) {
    CQVDIB empty, source, result, four;
    halves(source, {8, 8}, 1, 2);
    four.Init({8, 8}, 4, new unsigned char[32]());
    const auto resize = [&](CQVDIB& from, CSize size, int type) {
        halves(result, {2, 2}, 3, 3);
        return from.ResizeFilter(size, &result, 1, static_cast<DIB_TYPE>(type), DIB_TYPE_SQUARE,
                                 RESIZE_METHOD_DEFAULT);
    };
    EXPECT_EQ(resize(empty, {0, 0}, 4), 0u); // before anything is looked at
    EXPECT_EQ(result.GetWidth(), 2);
    EXPECT_EQ(resize(empty, {4, 4}, 4), 1u);
    EXPECT_EQ(result.GetWidth(), 2);
    EXPECT_EQ(resize(four, {4, 4}, 4), 1u);
    EXPECT_EQ(result.IsEmpty(), 1); // a given destination is emptied
    EXPECT_EQ(resize(source, {4, 0}, 4), 1u);
    EXPECT_EQ(resize(source, {4, -4}, 4), 1u);
    EXPECT_EQ(resize(source, {40000, 40000}, 4), 1u);
    EXPECT_EQ(resize(source, {4, 4}, 7), 0u); // 8x8: 0.8 of the height
    halves(source, {16, 8}, 1, 2);
    EXPECT_EQ(resize(source, {4, 4}, 7), 1u); // 16x8: 1.6 of it
    EXPECT_EQ(source.GetWidth(), 16);
}

TEST(DibResize, OtherDepthsKeepTheirColors) {
    for (const int bits : {8, 16, 32}) {
        SCOPED_TRACE(bits);
        CQVDIB source, result;
        const size_t bytes = static_cast<size_t>(CQVDIB::GetLineBytes(4, bits)) * 2;
        auto* pixels = new unsigned char[bytes];
        std::memset(pixels, 0x11, bytes);
        ASSERT_EQ(source.Init({4, 2}, bits, pixels), 0u);
        source.GetBitmapInfoAddress()->biCompression = BI_RGB; // 16 bits: 5-5-5, whatever the masks say
        if (bits == 8) reinterpret_cast<RGBQUAD*>(source.GetBitmapInfoAddress() + 1)[0x11] = {1, 2, 3, 0};
        const ULONG color = source.GetPixel(0, 0);
        ASSERT_EQ(
            source.ResizeFilter({8, 8}, &result, 1, DIB_TYPE_SQUARE, DIB_TYPE_SQUARE, RESIZE_METHOD_DEFAULT),
            0u);
        EXPECT_EQ(result.GetBitCount(), bits);
        EXPECT_EQ(result.GetPixel(4, 4), color);
        EXPECT_NE(result.GetPixel(4, 1), color); // a bar
        ASSERT_EQ(
            source.ResizeFilter({8, 4}, nullptr, 0, DIB_TYPE_SQUARE, DIB_TYPE_SQUARE, RESIZE_METHOD_DEFAULT),
            0u);
        EXPECT_EQ(source.GetPixel(7, 3), color);
    }
}

// The own sampler is reached with other depths: a crop to fill does not apply there.
TEST(DibResize, OwnSamplerNeverCrops) {
    CQVDIB source, result;
    source.Init({4, 2}, 32, new unsigned char[32]());
    source.GetBitsAddress()[0] = 9; // the leftmost pixel of the lowest row
    ASSERT_EQ(
        source.ResizeFilter({2, 2}, &result, -1, DIB_TYPE_SQUARE, DIB_TYPE_SQUARE, RESIZE_METHOD_DEFAULT),
        0u);
    EXPECT_EQ(result.GetPixel(0, 1), 0x090000u);
    CQVDIB cropped, colored;
    ASSERT_EQ(source.RecolorFilter(24, &colored), 0u);
    ASSERT_EQ(
        colored.ResizeFilter({2, 2}, &cropped, -1, DIB_TYPE_SQUARE, DIB_TYPE_SQUARE, RESIZE_METHOD_DEFAULT),
        0u);
    EXPECT_EQ(cropped.GetPixel(0, 1), 0u);
}

TEST(DibResize, FixedTableFillsWhatItIsGiven) {
    CQVDIB source, result, eight;
    halves(source, {720, 480}, 0x445566, 0x445566);
    halves(result, {160, 120}, 0, 0);
    EXPECT_EQ(source.ResizeFilter2(&result, 1), 0u);
    EXPECT_EQ(result.GetPixel(0, 0), 0x445566u);
    EXPECT_EQ(result.GetPixel(159, 119), 0x445566u);
    halves(source, {800, 600}, 0x445566, 0x445566);
    halves(result, {320, 180}, 0x777777, 0x777777);
    EXPECT_EQ(source.ResizeFilter2(&result, 1), 0u);
    EXPECT_EQ(result.GetPixel(39, 0), 0u);
    EXPECT_EQ(result.GetPixel(40, 0), 0x445566u);
    halves(result, {90, 60}, 0, 0);
    EXPECT_EQ(source.ResizeFilter2(&result, 1), 1u); // padded rows
    eight.Init({160, 120}, 8, new unsigned char[160 * 120]());
    EXPECT_EQ(source.ResizeFilter2(&eight, 1), 1u); // another depth
    EXPECT_EQ(source.ResizeFilter2(nullptr, 1), 1u);
    // A band as wide as the source reaches beyond the rows of the destination, and the last of it beyond the
    // picture.
    CQVDIB wide;
    wide.Init({200, 50}, 8, new unsigned char[200 * 50]());
    std::memset(wide.GetBitsAddress(), 5, 200 * 50);
    EXPECT_EQ(wide.ResizeFilter2(&eight, 4), 0u);
    EXPECT_EQ(eight.GetBitsAddress()[160 * 120 - 1], 5);
    wide.GetBitmapInfoAddress()->biCompression = BI_RLE8;
    EXPECT_EQ(wide.ResizeFilter2(&eight, 4), 1u);
}

TEST(DibResize, TheSmoothFilterMovesTheSource) {
    CQVDIB source, result;
    halves(source, {800, 600}, 0x445566, 0x445566);
    const auto* const bits = source.GetBitsAddress();
    ASSERT_EQ(source.ResizeFilterLeadTool({320, 180}, &result, 1, 0), 0u);
    EXPECT_NE(source.GetBitsAddress(), bits);
    EXPECT_EQ(source.GetPixel(799, 0), 0x445566u);
    EXPECT_EQ(result.GetPixel(39, 0), 0u);
    EXPECT_EQ(result.GetPixel(279, 179), 0x445566u);
    // A band wider than the destination is cut at its edge.
    ASSERT_EQ(source.ResizeFilterLeadTool({400, 300}, &result, 4, 0), 0u);
    EXPECT_EQ(result.GetPixel(399, 299), 0x445566u);
    ASSERT_EQ(source.ResizeFilterLeadTool({400, 300}, nullptr, 10, 0), 0u);
    EXPECT_TRUE(source.GetDimensions() == CSize(400, 300));
    EXPECT_EQ(source.ResizeFilterLeadTool({0, 0}, &result, 1, 0), 0u);
    EXPECT_EQ(source.ResizeFilterLeadTool({90, 60}, &result, 1, 0), 1u);
    EXPECT_EQ(CQVDIB().ResizeFilterLeadTool({4, 4}, &result, 1, 0), 1u);
}

TEST(DibResize, MethodsOfDirectResize) {
    CQVDIB source;
    halves(source, {64, 32}, 0x0000FF, 0xFF0000);
    const auto resize = [&](int method, int flag) {
        std::vector<unsigned char> to(48 * 20);
        EXPECT_EQ(CQVDIB::DirectResize(static_cast<RESIZE_METHOD>(method), source.GetBitsAddress(), {64, 32},
                                       {0, 0, 64, 32}, to.data(), {16, 20}, {0, 4, 16, 16}, flag),
                  0u);
        return to;
    };
    for (const int placed : {0, 1, 2, 6, 9, -1}) EXPECT_EQ(resize(placed, 1), resize(5, 1)) << placed;
    EXPECT_NE(resize(5, 0), resize(5, 1));
    EXPECT_EQ(resize(7, 1), resize(8, 1));
    EXPECT_NE(resize(7, 0), resize(7, 1));
    EXPECT_EQ(resize(3, 0), resize(4, 1)); // the flag is not used
    EXPECT_EQ(resize(3, 0), resize(8, 1)); // the same kernel, on new memory
    EXPECT_EQ(CQVDIB::DirectResize(RESIZE_METHOD_SCALER, nullptr, {64, 32}, {0, 0, 64, 32}, nullptr, {16, 20},
                                   {0, 0, 16, 20}, 0),
              1u);
}

TEST(DibResize, FreeFunctionsMakeImages) {
    CQVDIB source, empty;
    halves(source, {800, 600}, 0x445566, 0x445566);
    const std::unique_ptr<CQVDIB> made(QVTLResizeDIB(&source, {720, 480}, 1));
    ASSERT_TRUE(made); // 4:3 by its size: no bars
    EXPECT_EQ(made->GetPixel(0, 0), 0x445566u);
    EXPECT_EQ(made->GetPixel(719, 479), 0x445566u);
    EXPECT_EQ(QVTLResizeDIB(&empty, {720, 480}, 1), nullptr);
    EXPECT_EQ(QVTLResizeDIB(nullptr, {720, 480}, 1), nullptr);
    const std::unique_ptr<CQVDIB> wide(
        QVTLResizeDIBEx(&source, {720, 480}, 1, DIB_TYPE_SQUARE, DIB_TYPE_16_9, RESIZE_METHOD_DEFAULT));
    EXPECT_EQ(wide->GetPixel(89, 0), 0u);
    EXPECT_EQ(wide->GetPixel(90, 0), 0x445566u);
}

TEST(Canvas, FramesGetTheirBars) {
    std::vector<unsigned char> from(2160 * 480, 200), to(2160 * 480, 3);
    const SIZE frame{720, 480};
    const auto convert = [&](int method, ULONG flags) {
        return QVTLReCanvasSizeMovie(to.data(), frame, DIB_TYPE_16_9, from.data(), frame, DIB_TYPE_4_3, {},
                                     DISP_TYPE_NONE, DISP_TYPE_NONE, static_cast<RESIZE_METHOD>(method),
                                     flags);
    };
    EXPECT_EQ(convert(7, 0), 0u);
    EXPECT_EQ(to[3 * 89], 0);
    EXPECT_EQ(to[3 * 90], 200);
    EXPECT_EQ(to[3 * 630], 0);
    std::fill(to.begin(), to.end(), 3);
    EXPECT_EQ(convert(3, 0), 0u);
    EXPECT_EQ(to[3 * 89], 3); // this engine leaves bars alone
    EXPECT_EQ(to[3 * 90], 200);
}

TEST(Canvas, FieldsDoNotMix) {
    for (const LONG height : {48, 49}) {
        for (const LONG toHeight : {24, 25}) {
            SCOPED_TRACE(testing::Message() << height << " to " << toHeight);
            // Exactly as large as they are, for a sanitizer to watch.
            std::vector<unsigned char> from(static_cast<size_t>(24 * height)),
                to(static_cast<size_t>(12 * toHeight), 3);
            for (size_t i = 0; i < from.size(); ++i) from[i] = i / 24 % 2 ? 200 : 100;
            EXPECT_EQ(QVTLConvertInterace(to.data(), {4, toHeight}, DIB_TYPE_4_3, from.data(), {8, height},
                                          DIB_TYPE_4_3, {}, DISP_TYPE_NONE, DISP_TYPE_NONE,
                                          RESIZE_METHOD_CUBIC, 1),
                      0u);
            for (size_t i = 0; i < to.size(); ++i) ASSERT_EQ(to[i], i / 12 % 2 ? 200 : 100) << i;
        }
    }
    EXPECT_EQ(QVTLConvertInterace(nullptr, {4, 4}, DIB_TYPE_4_3, nullptr, {8, 8}, DIB_TYPE_4_3, {},
                                  DISP_TYPE_NONE, DISP_TYPE_NONE, RESIZE_METHOD_CUBIC, 1),
              1u);
}
