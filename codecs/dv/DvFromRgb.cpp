#include "codecs/dv/DvFromRgb.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "codecs/dv/DvColour.h"
#include "codecs/dv/DvLayout.h"

namespace qv::dv {
namespace {

// 1/65536 of a level for each level of red, green and blue.
struct Weights {
    int red, green, blue;
};
struct Matrix {
    Weights y, cb, cr;
    int yOffset; // luma of RGB black, less the part of the RGB black level
};

Matrix matrixFor(RgbRange range) {
    const double luma = range == RgbRange::Full ? 219.0 / 255 : 1;
    const double colour = range == RgbRange::Full ? 224.0 / 255 : 224.0 / 219;
    const auto fixed = [](double red, double green, double blue) {
        // Green takes what rounding leaves, so that grey has no colour and white is white.
        const int sum = static_cast<int>(std::lround((red + green + blue) * 65536));
        const int r = static_cast<int>(std::lround(red * 65536));
        const int b = static_cast<int>(std::lround(blue * 65536));
        return Weights{r, sum - r - b, b};
    };
    const double cb = colour * 0.5 / (1 - kBlue);
    const double cr = colour * 0.5 / (1 - kRed);
    return {fixed(kRed * luma, kGreen * luma, kBlue * luma),
            fixed(-kRed * cb, -kGreen * cb, (1 - kBlue) * cb),
            fixed((1 - kRed) * cr, -kGreen * cr, -kBlue * cr), range == RgbRange::Full ? 16 : 0};
}

int weighed(const Weights& weights, const std::uint8_t* bgr) {
    return weights.red * bgr[2] + weights.green * bgr[1] + weights.blue * bgr[0];
}

// Colour differences of one row at every pixel, in 1/16 levels around 0, with room on both sides.
using ColourRow = std::array<std::int16_t, kPictureWidth + 8>;
constexpr std::size_t kMargin = 4;

void pad(ColourRow& row) {
    std::fill_n(row.begin(), kMargin, row[kMargin]);
    std::fill_n(row.begin() + kMargin + kPictureWidth, kMargin, row[kMargin + kPictureWidth - 1]);
}

// A colour sample stands at the first pixel of its two or four; its neighbours count less with distance.
int filtered(const std::int16_t* at, bool pal) {
    if (pal) return (at[-1] + 2 * at[0] + at[1]) * 4;
    return at[-3] + at[3] + 2 * (at[-2] + at[2]) + 3 * (at[-1] + at[1]) + 4 * at[0];
}

} // namespace

void rgbToPlanes(const PictureTarget& source, bool pal, SamplePlanes& out) {
    const int height = pal ? 576 : 480;
    out.colourWidth = pal ? 360 : 180;
    out.colourHeight = pal ? 288 : 480;
    const auto colourWidth = static_cast<std::size_t>(out.colourWidth);
    out.y.resize(static_cast<std::size_t>(kPictureWidth * height));
    std::vector<std::int32_t> sums[2]; // colour samples in 1/256 levels
    for (auto& sum : sums) sum.assign(colourWidth * static_cast<std::size_t>(out.colourHeight), 0);
    const Matrix matrix = matrixFor(source.range);
    const auto* row = static_cast<const std::uint8_t*>(source.bits);
    if (source.pitch < 0) row -= source.pitch * (height - 1);
    ColourRow colours[2];
    for (int y = 0; y < height; ++y, row += source.pitch) {
        std::uint8_t* luma = &out.y[static_cast<std::size_t>(y) * kPictureWidth];
        for (std::size_t x = 0; x < kPictureWidth; ++x) {
            const std::uint8_t* bgr = row + 3 * x;
            luma[x] = static_cast<std::uint8_t>(
                std::clamp((weighed(matrix.y, bgr) + 32768) / 65536 + matrix.yOffset, 1, 254));
            colours[0][kMargin + x] = static_cast<std::int16_t>(weighed(matrix.cb, bgr) / 4096);
            colours[1][kMargin + x] = static_cast<std::int16_t>(weighed(matrix.cr, bgr) / 4096);
        }
        // Each two rows of one field share a row of 4:2:0 colour.
        const int colourRow = pal ? y / 4 * 2 + y % 2 : y;
        for (int i = 0; i < 2; ++i) {
            pad(colours[i]);
            std::int32_t* sum = &sums[i][static_cast<std::size_t>(colourRow) * colourWidth];
            for (std::size_t x = 0; x < colourWidth; ++x) {
                sum[x] += filtered(&colours[i][kMargin + x * (pal ? 2 : 4)], pal);
            }
        }
    }
    const int unit = pal ? 512 : 256;
    for (int i = 0; i < 2; ++i) {
        auto& plane = i ? out.cr : out.cb;
        plane.resize(sums[i].size());
        std::transform(sums[i].begin(), sums[i].end(), plane.begin(), [&](std::int32_t sum) {
            return static_cast<std::uint8_t>(std::clamp((sum + 128 * unit + unit / 2) / unit, 1, 254));
        });
    }
}

} // namespace qv::dv
