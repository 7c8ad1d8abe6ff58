// Packed pixels in somebody else's memory, and rectangles in them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qv {

// Row y starts at rows + y * stride. The stride may be negative and is the view's business: a bitmap stored
// bottom-up is seen from the top with `rows` at its last stored row. Bytes between rows are never touched.
struct PixelView {
    std::uint8_t* rows;
    std::ptrdiff_t stride; // bytes
    int width, height;     // pixels

    std::uint8_t* row(int y) const { return rows + y * stride; }
};

struct ConstPixelView {
    const std::uint8_t* rows;
    std::ptrdiff_t stride;
    int width, height;

    ConstPixelView(const std::uint8_t* firstRow, std::ptrdiff_t bytes, int w, int h)
        : rows(firstRow), stride(bytes), width(w), height(h) {}
    ConstPixelView(const PixelView& view) // anything that may be written may be read
        : ConstPixelView(view.rows, view.stride, view.width, view.height) {}

    const std::uint8_t* row(int y) const { return rows + y * stride; }
};

// Pixels, counted in the rows of the view that it is used with.
struct Region {
    int x, y, width, height;
};

} // namespace qv
