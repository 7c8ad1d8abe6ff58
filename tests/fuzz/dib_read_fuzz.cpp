// Any bytes as a BMP file and as a memory block: what is taken can be used in every way, the rest is refused.
#include "qvlibs/framework/Surface.h"
#include "qvlibs/image/PixelLimit.h"
#include "qvlibs/image/QVDib.h"

#include <cstring>

namespace {

void use(CQVDIB& dib) {
    CMemFile file;
    if (!dib.Write(&file)) __builtin_trap(); // what was read can be written, and read again
    file.Seek(0, CFile::begin);
    CQVDIB again, copy(dib), result;
    if (!again.Read(&file)) __builtin_trap();
    for (const int x : {-1, 0, dib.GetWidth() - 1, dib.GetWidth(), 0x7FFFFFFF}) {
        for (const int y : {-1, 0, dib.GetHeight() - 1, dib.GetHeight()}) {
            dib.GetPixel(x, y);
            dib.SetPixel(x, y, 0x123456);
        }
    }
    CDC dc(9, 9), colors(9, 9, 8);
    dib.Draw(&dc, 1, 1);
    dib.Draw(&colors, 0, 0, 7, 5);
    dib.RecolorFilter(24, &result);
    dib.TrimmingFilter({0, 0, dib.GetWidth() / 2, dib.GetHeight() / 2}, &result);
    dib.RotationFilter(90, 0, &result);
    dib.ResizeFilter({20, 11}, &result, 1, DIB_TYPE_AUTO, DIB_TYPE_AUTO, RESIZE_METHOD_DEFAULT);
    copy.StillFilter(2, nullptr);
    copy.GrayFilter();
    copy.RemapToGlobalMemoryAddress();
    copy.GetPixel(copy.GetWidth() / 2, copy.GetHeight() / 2);
    again.Compress(&dc, again.GetBitmapInfoAddress()->biCompression == BI_RGB);
    again.Compress(&colors, 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    qv::setPixelLimit(1 << 15);
    CMemFile file(data, size);
    CQVDIB dib;
    if (dib.Read(&file)) use(dib);
    if (size > 14) {
        const HGLOBAL block = GlobalAlloc(GHND, size - 14);
        std::memcpy(GlobalLock(block), data + 14, size - 14);
        if (!dib.AttachMemory(GlobalLock(block), 1, block)) {
            GlobalFree(block);
        } else {
            use(dib);
        }
    }
    return 0;
}
