#include "codecs/dv/DvColour.h"

#include <algorithm>
#include <cmath>

namespace qv::dv {
namespace {

std::uint8_t mean(int a, int b) { return static_cast<std::uint8_t>((a + b + 1) / 2); }

std::uint8_t level(double value) {
    return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

} // namespace

void rowToRgbPlain(const SampleRow& row, PixelFormat format, RgbRange range, std::uint8_t* out) {
    const ColourMatrix& m = kColourMatrices[static_cast<std::size_t>(range)];
    for (int x = 0; x < row.width; ++x) {
        const double y = (row.y[x] - 16) * m.y + m.black;
        const double cb = row.cb[x] - 128;
        const double cr = row.cr[x] - 128;
        const std::uint8_t red = level(y + cr * m.crToRed);
        const std::uint8_t green = level(y + cb * m.cbToGreen + cr * m.crToGreen);
        const std::uint8_t blue = level(y + cb * m.cbToBlue);
        if (format == PixelFormat::Bgr24) {
            *out++ = blue;
            *out++ = green;
            *out++ = red;
            continue;
        }
        const int word = format == PixelFormat::Rgb565 ? (red >> 3) << 11 | (green >> 2) << 5 | blue >> 3
                                                       : (red >> 3) << 10 | (green >> 3) << 5 | blue >> 3;
        *out++ = static_cast<std::uint8_t>(word);
        *out++ = static_cast<std::uint8_t>(word >> 8);
    }
}

void widenColourPlain(const std::uint8_t* samples, int count, int factor, std::uint8_t* out) {
    for (int i = 0; i < count; ++i) {
        const std::uint8_t here = samples[i];
        const std::uint8_t next = samples[std::min(i + 1, count - 1)];
        const std::uint8_t middle = mean(here, next);
        *out++ = here;
        if (factor == 4) *out++ = mean(here, middle);
        *out++ = middle;
        if (factor == 4) *out++ = mean(middle, next);
    }
}

void widenMiddleColourPlain(const std::uint8_t* samples, int count, std::uint8_t* out) {
    for (int i = 0; i < count; ++i) {
        const std::uint8_t here = samples[i];
        *out++ = mean(here, mean(samples[std::max(i - 1, 0)], here));
        *out++ = mean(here, mean(here, samples[std::min(i + 1, count - 1)]));
    }
}

} // namespace qv::dv
