// How large a picture may be before memory is taken for it. Every size that comes from a file or a caller is
// formed in 64 bits and held against this limit first.
#pragma once

#include "qvlibs/framework/Types.h"

#include <optional>

namespace qv {

constexpr std::uint64_t kDefaultPixelLimit = std::uint64_t{1} << 30; // bytes of pixels in one picture

// Holds for pictures made from now on, in the whole process; may be called from any thread. Values above
// 2 GiB - 1 count as that: sizes cross the interface in 32 bits.
QVLIBS_API void setPixelLimit(std::uint64_t bytes);
QVLIBS_API std::uint64_t pixelLimit();

// Bytes of all rows of a picture, each row padded to 4 bytes. Nothing for negative sizes, bit counts outside
// 0 to 65535, and pictures above the limit, for which empty rows count 4 bytes.
[[nodiscard]] QVLIBS_API std::optional<std::uint32_t> pixelBytes(std::int64_t width, std::int64_t height,
                                                                 int bitCount);

} // namespace qv
