// Stretches or shrinks sound in place by leaving out or repeating samples of 4 bytes.
#pragma once

#include "qvlibs/framework/Types.h"

#include <optional>

namespace qv {

// The number of bytes that `length` bytes become at num / den (how much faster than recorded): a multiple of
// 4, rounded towards zero. Nothing when the ratio is no number above 0 or the result has no place in 32 bits.
[[nodiscard]] std::optional<LONG> resampledLength(LONG length, LONG num, LONG den);

// Rewrites the first `length` bytes of the buffer as resampledLength() bytes. When it stretches, the buffer
// must have 4 bytes of room behind the new end: the first sample is written there.
void resampleInPlace(unsigned char* buffer, LONG length, LONG num, LONG den);

} // namespace qv
