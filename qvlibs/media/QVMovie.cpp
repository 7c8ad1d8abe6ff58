#include "qvlibs/media/QVMovie.h"

#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/PixelLimit.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/media/Qvavitools.h"

#include <algorithm>

namespace {

constexpr DWORD kLargestDv = 1244160; // 720 x 576 pixels of 3 bytes: decoders may count on so much room
constexpr LONG kThumbnailWidth = 180;
constexpr LONG kThumbnailHeight = 144;

// Bytes for a decoded picture of that size; 0 when it is empty or too large.
size_t roomFor(std::int64_t width, std::int64_t height) {
    const auto bytes = width > 0 && height > 0 ? qv::pixelBytes(width, height, 24) : std::nullopt;
    return bytes ? std::max(*bytes, kLargestDv) : 0;
}

size_t roomFor(const BITMAPINFOHEADER& header) { return roomFor(header.biWidth, header.biHeight); }

} // namespace

CAVIFile::CAVIFile(const char* filePath, int fullSize, int flag) {
    if (filePath) Open(filePath, fullSize, flag);
}

int CAVIFile::Open(const char* filePath, int fullSize, int flag) {
    QV_TRACE("CAVIFile");
    Close();
    path = filePath;
    void* const opened = QVTLAVIFileOpen(filePath, flag ? 64 : 0);
    if (!opened) return 0;
    handle.reset(opened, [](void* movie) { QVTLAVIFileClose(movie); });
    scale = stepX = stepY = 1;
    GetFccHeader();
    GetVideoFormat();
    if (!fullSize) reduceFormat();
    return 1;
}

void CAVIFile::reduceFormat() {
    if (IsDVAVI()) {
        scale = 4;
    } else if (format.biWidth >= 704 && format.biHeight >= 480) {
        scale = 2;
    }
    format.biWidth /= static_cast<LONG>(scale);
    format.biHeight /= static_cast<LONG>(scale);
    for (; format.biWidth > kThumbnailWidth; format.biWidth /= 2) stepX *= 2;
    for (; format.biHeight > kThumbnailHeight; format.biHeight /= 2) stepY *= 2;
}

int CAVIFile::Close() {
    QV_TRACE("CAVIFile");
    handle.reset();
    path.Empty();
    return 1;
}

ULONG CAVIFile::GetFccHeader() {
    if (handle) QVTLAVIGetFccHeader(handle.get(), &fcc);
    return fcc;
}

BITMAPINFOHEADER* CAVIFile::GetVideoFormat() {
    if (handle) QVTLAVIGetVideoFormat(handle.get(), &format);
    return &format;
}

int CAVIFile::IsDVAVI() const {
    return fcc == makeFourCC('d', 'v', 's', 'd') || fcc == makeFourCC('D', 'V', 'S', 'D');
}

int CAVIFile::IsMPEG2() const {
    return fcc == makeFourCC('m', 'p', 'g', '2') || fcc == makeFourCC('M', 'P', 'G', '2');
}

LONG CAVIFile::GetTotalFrames() const { return QVTLAVIGetTotalFrames(handle.get()); }

LONG CAVIFile::GetMiliseconds() const { return QVTLAVIGetMiliseconds(handle.get()); }

LONG CAVIFile::GetAudioRatio() const {
    LONG rate = 0;
    return QVTLAVIGetAudioRatio(handle.get(), &rate) == QV_OK ? rate : 0;
}

// Not the compression rate, on purpose: callers show the average (QVMovie.CompressionRateIsTheAverage).
int CAVIFile::GetVideoCompressionRate() const { return QVTLAVIGetVideoAverageRate(handle.get()); }

DIB_TYPE CAVIFile::GetDIBType(LONG frame) const {
    DIB_TYPE type = DIB_TYPE_AUTO;
    return QVTLAVIGetDIBType(handle.get(), type, frame) == QV_OK ? type : DIB_TYPE_AUTO;
}

bool CAVIFile::decode(LONG frame, unsigned char* buffer, ULONG flags) const {
    return QVTLAVIGetNonCompressedStreamEx(handle.get(), frame, buffer, flags) == QV_OK ||
           QVTLAVIGetNonCompressedStreamEx(handle.get(), frame + 1, buffer, flags) == QV_OK;
}

int CAVIFile::GetNonCompressedStream(LONG frame, unsigned char* buffer, int exact) {
    QV_TRACE("CAVIFile");
    if (!handle || !roomFor(format)) return 0;
    if ((!exact || IsMPEG2()) && stepX == 1 && stepY == 1) return decode(frame, buffer, scale) ? 1 : 0;

    // The frame as the decoder gives it: the reduced format grown back by what resizing will take away.
    const bool fullDv = exact && IsDVAVI();
    const std::int64_t width = std::int64_t{format.biWidth} * (fullDv ? scale : stepX);
    const std::int64_t height = std::int64_t{format.biHeight} * (fullDv ? scale : stepY);
    // Halving rounds down, so the decoder's own frame may be larger by what was cut off.
    BITMAPINFOHEADER whole{};
    QVTLAVIGetVideoFormat(handle.get(), &whole);
    if (!roomFor(width, height) || !roomFor(whole)) return 0;
    scratch.resize(std::max(roomFor(width, height), roomFor(whole)));
    BITMAPINFOHEADER decoded = format;
    decoded.biWidth = static_cast<LONG>(width);
    decoded.biHeight = static_cast<LONG>(height);
    if (!decode(frame, scratch.data(), fullDv ? 1 : scale)) return 0;
    const DIB_TYPE type = GetDIBType(frame);
    ResizeFilter(&decoded, scratch.data(), &format, buffer, type, type);
    return 1;
}

ULONG CAVIFile::ResizeFilter(LONG frame, BITMAPINFOHEADER* header, unsigned char* bits, DIB_TYPE type) {
    QV_TRACE("CAVIFile");
    std::vector<unsigned char> picture(roomFor(format));
    if (!GetNonCompressedStream(frame, picture.data(), 0)) return static_cast<ULONG>(QV_E_FAIL);
    return ResizeFilter(&format, picture.data(), header, bits, GetDIBType(frame), type);
}

ULONG CAVIFile::ResizeFilter(BITMAPINFOHEADER* sourceHeader, unsigned char* sourceBits,
                             BITMAPINFOHEADER* header, unsigned char* bits, DIB_TYPE sourceType,
                             DIB_TYPE type) {
    CQVDIB picture;
    picture.Attach(sourceBits, sourceHeader, 1);
    const CSize size(header->biWidth, header->biHeight);
    // On failure the picture is still the source, which the destination may have no room for.
    if (picture.ResizeFilter(size, nullptr, RESIZE_OPTION_FIT, sourceType, type, RESIZE_METHOD_DEFAULT) == 0)
        picture.Detach(bits, header);
    return QV_OK;
}
