// What a bitmap's header says about the block that it stands in.
#pragma once

#include "qvlibs/framework/File.h"
#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/image/PixelLimit.h"
#include "qvlibs/util/Bytes.h"

namespace qv {

constexpr DWORD kBmpFileHeaderSize = 14;
constexpr WORD kBmpType = 0x4D42; // "BM"
constexpr DWORD kMaxColors = 0x10000;

inline bool isRunLength(const BITMAPINFOHEADER& header) {
    return header.biCompression == BI_RLE8 || header.biCompression == BI_RLE4;
}

// Colours in the table. `before` is the answer for depths that are not known.
constexpr std::uint32_t colorCount(DWORD colorsUsed, int bitCount, int before = 0) {
    if (colorsUsed != 0) return colorsUsed;
    switch (bitCount) {
    case 0:
    case 24: return 0;
    case 1: return 2;
    case 4: return 16;
    case 8: return 256;
    case 16:
    case 32: return 3; // the masks; also for pictures that have none
    default: return static_cast<std::uint32_t>(before);
    }
}

// Bytes of pixels: what the header claims, else what its rows take (the low 32 bits).
inline DWORD imageSize(const BITMAPINFOHEADER& header) {
    if (header.biSizeImage != 0) return header.biSizeImage;
    const DWORD bits = header.biBitCount * static_cast<DWORD>(header.biWidth);
    return (bits / 32 + (bits % 32 != 0 ? 1 : 0)) * 4 * static_cast<DWORD>(header.biHeight);
}

// Whether memory may be taken or trusted for this picture.
inline bool isPlausible(const BITMAPINFOHEADER& header) {
    return pixelBytes(header.biWidth, header.biHeight, header.biBitCount) &&
           imageSize(header) <= pixelLimit() && colorCount(header.biClrUsed, header.biBitCount) <= kMaxColors;
}

BITMAPINFOHEADER readBitmapHeader(ByteReader& in);

// The first 54 bytes of a BMP file.
struct BmpStart {
    DWORD pixelOffset; // as the file says it
    BITMAPINFOHEADER header;
};
// Nothing for a stream that is none or ends in them; what the file throws is passed on.
std::optional<BmpStart> readBmpStart(CFile& file);

// The 14 bytes in front of the header in a BMP file. `pixels` is the size of the image that follows the
// table.
inline std::vector<std::uint8_t> bmpFileHeader(std::uint32_t colors, DWORD pixels) {
    const DWORD offset = kBmpFileHeaderSize + sizeof(BITMAPINFOHEADER) + 4 * colors;
    ByteWriter out;
    out.u16(kBmpType);
    out.u32(offset + pixels);
    out.u32(0); // two reserved words
    out.u32(offset);
    return out.take();
}

} // namespace qv
