#include "qvlibs/image/OwnSampler.h"

#include "qvlibs/image/kernels/Rows.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace qv {
namespace {

struct Steps {
    std::int64_t x, y;
};
// How far the source moves for a pixel of the destination, in 65536ths, rounded toward zero.
Steps stepsFor(const SampledRows& source, RECT part) {
    return {std::int64_t{source.width} * 65536 / (std::int64_t{part.right} - part.left),
            std::int64_t{source.height} * 65536 / (std::int64_t{part.bottom} - part.top)};
}

bool isEmpty(const SampledRows& source, RECT part) {
    return part.left >= part.right || part.top >= part.bottom || source.width <= 0 || source.height <= 0;
}

bool isInside(const SampledRows& destination, RECT part) {
    return part.left >= 0 && part.top >= 0 && part.right <= destination.width &&
           part.bottom <= destination.height;
}

void pickRow(int bytesPerPixel, const BYTE* from, int fromPixels, const std::uint32_t* columns, BYTE* to,
             size_t pixels) {
    switch (bytesPerPixel) {
    case 1:
        for (size_t x = 0; x < pixels; ++x) to[x] = from[columns[x]];
        return;
    case 2:
        for (size_t x = 0; x < pixels; ++x) std::memcpy(to + 2 * x, from + 2 * size_t{columns[x]}, 2);
        return;
    case 3: return pickRow24(to, from, static_cast<size_t>(fromPixels), columns, pixels);
    case 4:
        for (size_t x = 0; x < pixels; ++x) std::memcpy(to + 4 * x, from + 4 * size_t{columns[x]}, 4);
        return;
    default:
        const size_t size = static_cast<size_t>(bytesPerPixel);
        for (size_t x = 0; x < pixels; ++x) std::memcpy(to + size * x, from + size * columns[x], size);
    }
}

} // namespace

namespace plain {

void sampleNearest(int bytesPerPixel, const SampledRows& source, const SampledRows& destination, RECT part) {
    if (isEmpty(source, part)) return;
    const Steps step = stepsFor(source, part);
    const std::int64_t end = destination.lineBytes * destination.height;
    std::int64_t ax = 0;
    for (std::int64_t x = part.left; x < part.right; ++x, ax += step.x) {
        std::int64_t ay = 0;
        for (std::int64_t y = part.top; y < part.bottom; ++y, ay += step.y) {
            const BYTE* const from = source.bits + source.lineBytes * (ay >> 16) + bytesPerPixel * (ax >> 16);
            const std::int64_t to = destination.lineBytes * y + bytesPerPixel * x;
            // A pixel may reach one byte behind the picture, on purpose; that byte itself is nobody's and is
            // not written (OwnSampler.ColumnsBehindTheRow).
            if (to < 0 || to + bytesPerPixel - 1 > end) continue;
            const std::int64_t bytes = std::min<std::int64_t>(bytesPerPixel, end - to);
            std::memcpy(destination.bits + to, from, static_cast<size_t>(bytes));
        }
    }
}

} // namespace plain

void sampleNearest(int bytesPerPixel, const SampledRows& source, const SampledRows& destination, RECT part) {
    if (isEmpty(source, part)) return;
    if (!isInside(destination, part)) return plain::sampleNearest(bytesPerPixel, source, destination, part);
    const Steps step = stepsFor(source, part);
    std::vector<std::uint32_t> columns(static_cast<size_t>(part.right - part.left));
    for (size_t i = 0; i < columns.size(); ++i) {
        columns[i] = static_cast<std::uint32_t>(static_cast<std::int64_t>(i) * step.x >> 16);
    }
    const size_t bytes = columns.size() * static_cast<size_t>(bytesPerPixel);
    std::int64_t last = -1;
    for (std::int64_t y = part.top; y < part.bottom; ++y) {
        const std::int64_t row = (y - part.top) * step.y >> 16;
        BYTE* const to =
            destination.bits + y * destination.lineBytes + std::int64_t{part.left} * bytesPerPixel;
        if (row == last) {
            std::memcpy(to, to - destination.lineBytes, bytes);
        } else {
            pickRow(bytesPerPixel, source.bits + row * source.lineBytes, source.width, columns.data(), to,
                    columns.size());
        }
        last = row;
    }
}

} // namespace qv
