#include "qvlibs/image/kernels/ResampleWeights.h"

#include <algorithm>
#include <new>

namespace qv::plain {
namespace {

using Taps = ResampleWeights::Taps;

constexpr int kFirstShift = kWeightBits - kBetweenBits;
constexpr int kSecondShift = kWeightBits + kBetweenBits;

int shifted(std::int32_t sum, int bits) { return (sum + (1 << (bits - 1))) >> bits; }

} // namespace

bool resample24(ResampleKernel kernel, const ConstPixelView& src, const Region& region,
                const PixelView& dst) {
    if (!canResample(src, region, dst)) return false;
    try {
        const ResampleWeights down = makeResampleWeights(kernel, region.height, dst.height);
        const ResampleWeights across = makeResampleWeights(kernel, region.width, dst.width);
        std::vector<std::int16_t> between(static_cast<size_t>(region.width) * 3);
        for (int y = 0; y < dst.height; ++y) {
            const Taps& rows = down.taps[static_cast<size_t>(y)];
            const std::int16_t* rowWeights = &down.weights[static_cast<size_t>(rows.weight)];
            for (int i = 0; i < region.width * 3; ++i) {
                std::int32_t sum = 0;
                for (int k = 0; k < rows.count; ++k)
                    sum += rowWeights[k] * src.row(region.y + rows.first + k)[3 * region.x + i];
                between[static_cast<size_t>(i)] = static_cast<std::int16_t>(shifted(sum, kFirstShift));
            }
            for (int i = 0; i < dst.width * 3; ++i) {
                const Taps& columns = across.taps[static_cast<size_t>(i / 3)];
                const std::int16_t* weights = &across.weights[static_cast<size_t>(columns.weight)];
                std::int32_t sum = 0;
                for (int k = 0; k < columns.count; ++k)
                    sum += weights[k] * between.data()[3 * (columns.first + k) + i % 3];
                dst.row(y)[i] = static_cast<std::uint8_t>(std::clamp(shifted(sum, kSecondShift), 0, 255));
            }
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

} // namespace qv::plain
