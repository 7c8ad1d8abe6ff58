// CQVDIB::ReadDIB: a picture out of a movie.
#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/PixelLimit.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/media/QVMovie.h"

#include <algorithm>
#include <vector>

int CQVDIB::ReadDIB(const char* moviePath, LONG frame, CSize size) {
    QV_TRACE("CQVDIB");
    CAVIFile movie;
    if (!moviePath || !movie.Open(moviePath, 1, 0)) return 0;
    BITMAPINFOHEADER source = *movie.GetVideoFormat();
    const auto bytes = qv::pixelBytes(source.biWidth, source.biHeight, 24);
    if (!bytes || source.biBitCount != 24) return 0;
    constexpr DWORD kFrameRoom = 1244160; // 720 x 576 pixels of 3 bytes: decoders may count on it
    std::vector<unsigned char> decoded(std::max(kFrameRoom, *bytes));
    if (!movie.GetNonCompressedStream(frame, decoded.data(), 0)) return 0;
    const DIB_TYPE type = movie.GetDIBType(frame);
    CQVDIB picture;
    picture.Attach(decoded.data(), &source, 1);
    return picture.ResizeFilter(size, this, RESIZE_OPTION_FIT, type, type, RESIZE_METHOD_DEFAULT) == QV_OK;
}
