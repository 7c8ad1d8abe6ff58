// From luma and colour samples (ITU-R BT.601) to RGB rows.
#pragma once

#include <cstdint>

#include "codecs/dv/DvDecoder.h"

namespace qv::dv {

// Rows of samples may be read up to this many bytes past their end.
inline constexpr int kRowPadding = 64;

// One row of samples with colour at full width. `out` receives width pixels and nothing more.
struct SampleRow {
    const std::uint8_t* y;
    const std::uint8_t* cb;
    const std::uint8_t* cr;
    int width;
};
// The plain version, in floating point: what the fast one is measured by.
void rowToRgbPlain(const SampleRow& row, PixelFormat format, RgbRange range, std::uint8_t* out);
// 16-bit arithmetic; 1 level of 255 from the plain one at most.
void rowToRgb(const SampleRow& row, PixelFormat format, RgbRange range, std::uint8_t* out);

// Widens `count` colour samples, which lie at every second (factor 2) or fourth (factor 4) pixel, to
// count * factor by straight lines between them; the last one is repeated. Plain and fast give the same
// bytes. `out` needs room for kWideRow bytes.
inline constexpr int kWideRow = 1024;
void widenColourPlain(const std::uint8_t* samples, int count, int factor, std::uint8_t* out);
void widenColour(const std::uint8_t* samples, int count, int factor, std::uint8_t* out);
// The same to twice the width for samples that lie between their two pixels; the outer ones are repeated.
void widenMiddleColourPlain(const std::uint8_t* samples, int count, std::uint8_t* out);
void widenMiddleColour(const std::uint8_t* samples, int count, std::uint8_t* out);

// BT.601: how much of luma (from black) and of the colour differences goes into red, green and blue.
struct ColourMatrix {
    double y, crToRed, cbToGreen, crToGreen, cbToBlue;
    int black; // RGB level of luma 16
};
inline constexpr double kRed = 0.299;
inline constexpr double kGreen = 0.587;
inline constexpr double kBlue = 0.114;
constexpr ColourMatrix matrixFor(double lumaGain, double colourGain, int black) {
    return {.y = lumaGain,
            .crToRed = colourGain * 2 * (1 - kRed),
            .cbToGreen = -colourGain * 2 * (1 - kBlue) * kBlue / kGreen,
            .crToGreen = -colourGain * 2 * (1 - kRed) * kRed / kGreen,
            .cbToBlue = colourGain * 2 * (1 - kBlue),
            .black = black};
}
// By RgbRange.
inline constexpr ColourMatrix kColourMatrices[] = {matrixFor(255.0 / 219, 255.0 / 224, 0),
                                                   matrixFor(1, 219.0 / 224, 16)};

} // namespace qv::dv
