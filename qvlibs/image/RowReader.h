// The colours of a picture of any depth, a row at a time, as 24-bit pixels: what GetPixel gives for each.
#pragma once

#include "qvlibs/framework/DibPixels.h"
#include "qvlibs/image/kernels/Rows.h"

#include <array>

namespace qv {

class RowReader {
public:
    // The picture must outlive the reader.
    explicit RowReader(const DibView& dib);

    // `count` pixels from column `x` of picture row `y` (0 is the top); they must lie inside the picture.
    void read(int y, int x, int count, BYTE* to) const;

private:
    void readIndexed(const BYTE* row, int x, int count, BYTE* to) const;
    void readEach(int y, int x, int count, BYTE* to) const;

    DibView dib_;
    bool whole_; // all rows are there, in a form that is read row by row
    std::int64_t lineBytes_ = 0;
    std::array<PaletteEntry, 256> palette_{};
    Rgb16Layout layout_ = kRgb555;
};

} // namespace qv
