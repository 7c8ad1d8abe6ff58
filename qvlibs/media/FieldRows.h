// Rows of interlaced pictures: 24 bits a pixel, bottom row first, rows padded to 4 bytes.
//
// The first field has the even rows of storage, the second (QV_FRAME_SECOND_FIELD) the odd ones. Nothing happens when
// both fields are to be kept (QV_FRAME_INTERLACED), or to pictures of fewer than two rows; an odd last row stays.
#pragma once

#include "qvlibs/framework/Types.h"
#include "qvlibs/plugins/plugin_api.h"

#include <cstring>

namespace qv {

constexpr size_t fieldRowBytes(LONG width) { return (static_cast<size_t>(width) * 3 + 3) & ~size_t{3}; }

// Fills each row of the other field from the chosen one: rows 0..5 become 0,0,2,2,4,4 or 1,1,3,3,5,5.
inline void doubleFieldRows(unsigned char* bits, LONG width, LONG height, ULONG flags) {
    if (flags & QV_FRAME_INTERLACED) return;
    const size_t row = fieldRowBytes(width);
    const bool second = flags & QV_FRAME_SECOND_FIELD;
    for (LONG k = 0; k < height / 2; ++k) {
        unsigned char* const first = bits + static_cast<size_t>(2 * k) * row;
        std::memcpy(second ? first : first + row, second ? first + row : first, row);
    }
}

// Moves the rows of the chosen field together at the start. The second field gives 1,3,5; the first one, on
// purpose, begins in the second row, so that rows 0..5 give 0,0,2: callers have lived with that row for long
// (FieldRows.PackingTheFirstFieldStartsOneRowLate).
inline void packFieldRows(unsigned char* bits, LONG width, LONG height, ULONG flags) {
    if (flags & QV_FRAME_INTERLACED) return;
    const size_t row = fieldRowBytes(width);
    const bool second = flags & QV_FRAME_SECOND_FIELD;
    for (LONG k = 0; k < height / 2; ++k) {
        const size_t from = static_cast<size_t>(second ? 2 * k + 1 : 2 * k);
        const size_t to = static_cast<size_t>(second ? k : k + 1);
        if (from != to) std::memcpy(bits + to * row, bits + from * row, row);
    }
}

} // namespace qv
