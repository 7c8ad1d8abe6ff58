#include "qvlibs/image/RowReader.h"

#include "qvlibs/image/DibLayout.h"

#include <algorithm>
#include <cstring>

namespace qv {

RowReader::RowReader(const DibView& dib) : dib_(dib), whole_(false) {
    if (!dib.header) return;
    const BITMAPINFOHEADER& header = *dib.header;
    const auto rows = pixelBytes(header.biWidth, header.biHeight, header.biBitCount);
    whole_ = rows && *rows <= dib.bits.size() &&
             (header.biCompression == BI_RGB || header.biCompression == BI_BITFIELDS);
    lineBytes_ = dibLineBytes(header.biWidth, header.biBitCount);
    for (size_t i = 0; i < std::min(dib.table.size(), palette_.size()); ++i) {
        palette_[i] = {dib.table[i].rgbBlue, dib.table[i].rgbGreen, dib.table[i].rgbRed, 0};
    }
    if (header.biBitCount == 16 && header.biCompression == BI_BITFIELDS) {
        if (dib.table.size() < 3) {
            whole_ = false;
        } else {
            layout_ = rgb16Layout(maskOf(dib.table[0]), maskOf(dib.table[1]), maskOf(dib.table[2]));
        }
    }
}

void RowReader::read(int y, int x, int count, BYTE* to) const {
    if (!whole_) return readEach(y, x, count, to);
    const BYTE* const row = dib_.bits.data() + (dib_.header->biHeight - y - 1) * lineBytes_;
    const size_t pixels = static_cast<size_t>(count);
    switch (dib_.header->biBitCount) {
    case 1:
    case 4: return readIndexed(row, x, count, to);
    case 8: return palette8Row24(to, row + x, pixels, palette_.data());
    case 16: return rgb16Row24(to, row + 2 * std::int64_t{x}, pixels, layout_);
    case 24: std::memcpy(to, row + 3 * std::int64_t{x}, 3 * pixels); return;
    case 32: return bgrx32Row24(to, row + 4 * std::int64_t{x}, pixels);
    default: return readEach(y, x, count, to);
    }
}

void RowReader::readIndexed(const BYTE* row, int x, int count, BYTE* to) const {
    const int bits = dib_.header->biBitCount, perByte = 8 / bits, mask = (1 << bits) - 1;
    for (int i = 0; i < count; ++i) {
        const int at = x + i;
        const int shift = (perByte - 1 - at % perByte) * bits; // the leftmost pixel lies in the highest bits
        std::memcpy(to + 3 * std::int64_t{i},
                    palette_[static_cast<size_t>(row[at / perByte] >> shift & mask)].data(), 3);
    }
}

void RowReader::readEach(int y, int x, int count, BYTE* to) const {
    for (int i = 0; i < count; ++i, to += 3) {
        const COLORREF color = dibPixel(dib_, x + i, y);
        to[0] = static_cast<BYTE>(color >> 16);
        to[1] = static_cast<BYTE>(color >> 8);
        to[2] = static_cast<BYTE>(color);
    }
}

} // namespace qv
