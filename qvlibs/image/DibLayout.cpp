#include "qvlibs/image/DibLayout.h"

namespace qv {

BITMAPINFOHEADER readBitmapHeader(ByteReader& in) {
    BITMAPINFOHEADER header{};
    header.biSize = in.u32();
    header.biWidth = in.i32();
    header.biHeight = in.i32();
    header.biPlanes = in.u16();
    header.biBitCount = in.u16();
    header.biCompression = in.u32();
    header.biSizeImage = in.u32();
    header.biXPelsPerMeter = in.i32();
    header.biYPelsPerMeter = in.i32();
    header.biClrUsed = in.u32();
    header.biClrImportant = in.u32();
    return header;
}

std::optional<BmpStart> readBmpStart(CFile& file) {
    BYTE bytes[kBmpFileHeaderSize + sizeof(BITMAPINFOHEADER)];
    if (file.Read(bytes, sizeof bytes) != sizeof bytes) return {};
    ByteReader in(bytes, sizeof bytes);
    if (in.u16() != kBmpType) return {};
    in.skip(8); // the file's size and two reserved words are not looked at
    const DWORD pixelOffset = in.u32();
    return BmpStart{pixelOffset, readBitmapHeader(in)};
}

} // namespace qv
