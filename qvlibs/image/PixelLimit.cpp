#include "qvlibs/image/PixelLimit.h"

#include <algorithm>
#include <atomic>

namespace qv {
namespace {

constexpr std::uint64_t kHighestLimit = 0x7FFFFFFF;

constinit std::atomic<std::uint64_t> limit{kDefaultPixelLimit};

} // namespace

void setPixelLimit(std::uint64_t bytes) { limit = std::min(bytes, kHighestLimit); }
std::uint64_t pixelLimit() { return limit; }

std::optional<std::uint32_t> pixelBytes(std::int64_t width, std::int64_t height, int bitCount) {
    if (width < 0 || width > INT32_MAX || height < 0 || height > INT32_MAX) return {};
    if (bitCount < 0 || bitCount > 0xFFFF) return {};
    const std::uint64_t line =
        (static_cast<std::uint64_t>(width) * static_cast<unsigned>(bitCount) + 31) / 32 * 4;
    // Rows without pixels are walked like others: without a price they could be two thousand million.
    const std::uint64_t most = pixelLimit(), price = line > 0 ? line : 4;
    if (line > most || price * static_cast<std::uint64_t>(height) > most) return {};
    return static_cast<std::uint32_t>(line * static_cast<std::uint64_t>(height));
}

} // namespace qv
