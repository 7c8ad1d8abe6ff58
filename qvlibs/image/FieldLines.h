// The two fields of a woven picture, on stored rows (the bottom row first).
#pragma once

#include "qvlibs/framework/Types.h"

namespace qv {

struct StoredRows {
    BYTE* bits;
    std::int64_t lineBytes;
    int height;
    BYTE* row(int index) const { return bits + index * lineBytes; }
};

// In each pair (2k, 2k + 1) one row is copied over the other. A last row without a partner stays.
void keepOddLines(const StoredRows& rows);
void keepEvenLines(const StoredRows& rows);
// For 24-bit rows: every odd row counted from the top, but never the last, becomes the mean of its
// neighbours.
void interpolateLines(const StoredRows& rows, int width);
// For 24-bit rows: every row becomes a quarter of the row above, half of itself and a quarter of the row
// below, rounded to nearest; the first and the last stand in for rows that are not there.
void blendFields(const StoredRows& rows, int width);

} // namespace qv
