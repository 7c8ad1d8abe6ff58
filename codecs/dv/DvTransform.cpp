#include "codecs/dv/DvTransform.h"

#include <algorithm>
#include <cmath>

#include "codecs/dv/DvTables.h"

namespace qv::dv {
namespace {

constexpr double basis(int frequency, int position, int points) {
    // cos((2 x + 1) h pi / (2 n)) from the table of sixteenths of pi.
    int angle = (2 * position + 1) * frequency * (8 / points) % 32;
    if (angle > 16) angle = 32 - angle;
    return angle > 8 ? -kCos[16 - angle] : kCos[angle];
}
constexpr double norm(int frequency) { return frequency ? 0.5 : 0.5 * kCos[4]; }

// A value times its step and this is the coefficient of an orthonormal transform.
double inverseWeight(int fieldMode, int row, int column) {
    return 1 / (kWeight[column] * kWeight[fieldMode ? row / 2 * 2 : row]);
}

using Block = std::array<std::array<double, 8>, 8>; // [row][column]

void horizontal(Block& block) {
    for (auto& row : block) {
        std::array<double, 8> line{};
        for (int x = 0; x < 8; ++x) {
            for (int h = 0; h < 8; ++h) {
                line[static_cast<std::size_t>(x)] +=
                    row[static_cast<std::size_t>(h)] * norm(h) * basis(h, x, 8);
            }
        }
        row = line;
    }
}

void vertical(Block& block, bool fieldMode) {
    const Block in = block;
    for (std::size_t x = 0; x < 8; ++x) {
        for (int y = 0; y < 8; ++y) {
            double sum = 0;
            for (int v = 0; v < 8; ++v) {
                const double value = in[static_cast<std::size_t>(v)][x];
                if (!fieldMode) {
                    sum += value * norm(v) * basis(v, y, 8);
                } else {
                    // Even rows: sums of two lines, odd rows: their differences.
                    const double sign = v % 2 && y % 2 ? -1 : 1;
                    sum += sign * value * norm(v / 2) * basis(v / 2, y / 2, 4);
                }
            }
            block[static_cast<std::size_t>(y)][x] = sum;
        }
    }
}

} // namespace

int stepOf(int stepRow, int area) {
    if (area == kDcArea) return 4;
    return 2 << (kStepShift[stepRow % 22][area] + stepRow / 22);
}

int areaOf(int fieldMode, int row, int column) {
    const auto& scan = fieldMode ? kScan248 : kScan88;
    const auto index = std::find(scan.begin(), scan.end(), row * 8 + column) - scan.begin();
    if (index == 0) return kDcArea;
    return static_cast<int>(
        std::find_if(kAreaEnd.begin(), kAreaEnd.end(), [&](int end) { return index < end; }) -
        kAreaEnd.begin());
}

void transformSegmentPlain(const SegmentLevels& levels, int n, SegmentSamples& out) {
    const int cell = 8 / n;
    for (int number = 0; number < kBlocksPerSegment; ++number) {
        const int group = number / 4;
        const int place = number % 4;
        const BlockKind kind = levels.kinds[static_cast<std::size_t>(number)];
        Block block{};
        for (int row = 0; row < 8; ++row) {
            for (int column = 0; column < 8; ++column) {
                const int at = group * kGroupValues + column * kColumnStride + place * kBlockStride + row;
                block[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)] =
                    levels.values[static_cast<std::size_t>(at)] *
                    stepOf(kind.step, areaOf(kind.fieldMode, row, column)) *
                    inverseWeight(kind.fieldMode, row, column);
            }
        }
        horizontal(block);
        vertical(block, kind.fieldMode != 0);
        for (int i = 0; i < n * n; ++i) {
            double sum = 0;
            for (int j = 0; j < cell * cell; ++j) {
                sum += block[static_cast<std::size_t>(i / n * cell + j / cell)]
                            [static_cast<std::size_t>(i % n * cell + j % cell)];
            }
            const double sample = sum / (cell * cell) + 128;
            const int at = group * SegmentSamples::kGroupBytes + i / n * 4 * n + place * n + i % n;
            out.bytes[static_cast<std::size_t>(at)] =
                static_cast<std::uint8_t>(std::clamp(std::lround(sample), 0L, 255L));
        }
    }
}

} // namespace qv::dv
