// TIFF on libtiff: the first picture of the file. Every kind that libtiff can turn into colours is read;
// transparent pixels are laid over white. The orientation tag is not applied here: the picture is turned by
// its reader.
//   Encode option 1: 0 LZW, 1 none, 2 Deflate.  Option 2: not used.
#include "codecs/picture/PackedDib.h"
#include "codecs/picture/PictureBackEnd.h"
#include "qvlibs/image/MaxDecodeSize.h"
#include "qvlibs/util/AtomicFile.h"

#include <algorithm>
#include <cstdio>
#include <memory>

#include <tiffio.h>

namespace qv::codec {
namespace {

struct CloseTiff {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using TiffFile = std::unique_ptr<TIFF, CloseTiff>;

int silent(TIFF*, void*, const char*, const char*, va_list) { return 1; }

// Messages go nowhere: the result says what happened.
TiffFile openTiff(const char* path, const char* mode) {
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options, silent, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options, silent, nullptr);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, static_cast<tmsize_t>(QVTLGetMaxDecodeSize()));
    TiffFile file(TIFFOpenExt(path, mode, options));
    TIFFOpenOptionsFree(options);
    return file;
}

struct Facts {
    uint32_t width = 0, height = 0;
    uint16_t bits = 1, samples = 1, photometric = 0, planar = 0;
};

bool readFacts(TIFF* tiff, Facts& facts) {
    TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &facts.bits);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &facts.samples);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &facts.planar);
    return TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &facts.width) &&
           TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &facts.height) &&
           TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &facts.photometric);
}

void carryResolution(TIFF* tiff, NewPicture& picture) {
    float x = 0, y = 0;
    uint16_t unit = RESUNIT_INCH;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_RESOLUTIONUNIT, &unit);
    if (!TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &x) || !TIFFGetField(tiff, TIFFTAG_YRESOLUTION, &y)) return;
    const double scale = unit == RESUNIT_INCH ? 1 / 0.0254 : unit == RESUNIT_CENTIMETER ? 100 : 0;
    picture.setResolution(x * scale, y * scale);
}

// The common kind, 8-bit RGB in strips.
bool readPlainRgb(TIFF* tiff, NewPicture& picture) {
    const size_t line = static_cast<size_t>(TIFFScanlineSize(tiff));
    if (line != size_t{3} * static_cast<size_t>(picture.width())) return false;
    std::vector<uint8_t> rgb(line);
    for (int y = 0; y < picture.height(); ++y) {
        if (TIFFReadScanline(tiff, rgb.data(), static_cast<uint32_t>(y), 0) != 1) return false;
        swapRedBlue(rgb.data(), picture.row(y), line / 3);
    }
    return true;
}

// libtiff's converter gives alpha-premultiplied colours, a band of rows at a time.
bool readAnyKind(TIFF* tiff, NewPicture& picture) {
    char why[1024];
    TIFFRGBAImage image{};
    if (!TIFFRGBAImageOK(tiff, why) || !TIFFRGBAImageBegin(&image, tiff, 1, why)) return false;
    const std::unique_ptr<TIFFRGBAImage, decltype(&TIFFRGBAImageEnd)> guard(&image, &TIFFRGBAImageEnd);
    image.req_orientation = image.orientation; // as stored
    const auto width = static_cast<uint32_t>(picture.width());
    const auto height = static_cast<uint32_t>(picture.height());
    // Whole tiles or strips a time; one pass over a band costs as much as its rows.
    uint32_t band = 0;
    if (TIFFIsTiled(tiff))
        TIFFGetField(tiff, TIFFTAG_TILELENGTH, &band);
    else
        TIFFGetFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &band);
    band = std::clamp<uint32_t>(band, 1, height);
    std::vector<uint32_t> raster(static_cast<size_t>(band) * width);
    for (uint32_t first = 0; first < height; first += band) {
        const uint32_t rows = std::min(band, height - first);
        image.row_offset = static_cast<int>(first);
        if (!TIFFRGBAImageGet(&image, raster.data(), width, rows)) return false;
        for (uint32_t y = 0; y < rows; ++y) {
            const uint32_t* in = &raster[static_cast<size_t>(y) * width];
            uint8_t* out = picture.row(static_cast<int>(first + y));
            for (uint32_t x = 0; x < width; ++x) {
                const unsigned white = 255 - TIFFGetA(in[x]);
                out[3 * x] = static_cast<uint8_t>(std::min(255u, TIFFGetB(in[x]) + white));
                out[3 * x + 1] = static_cast<uint8_t>(std::min(255u, TIFFGetG(in[x]) + white));
                out[3 * x + 2] = static_cast<uint8_t>(std::min(255u, TIFFGetR(in[x]) + white));
            }
        }
    }
    return true;
}

void* decode(const char* path, WantedSize) {
    const TiffFile tiff = openTiff(path, "r");
    Facts facts;
    if (!tiff || !readFacts(tiff.get(), facts)) return nullptr;
    NewPicture picture(facts.width, facts.height);
    if (!picture.isOpen()) return nullptr;
    carryResolution(tiff.get(), picture);
    const bool plain = facts.photometric == PHOTOMETRIC_RGB && facts.bits == 8 && facts.samples == 3 &&
                       facts.planar == PLANARCONFIG_CONTIG && !TIFFIsTiled(tiff.get());
    const bool whole = plain ? readPlainRgb(tiff.get(), picture) : readAnyKind(tiff.get(), picture);
    return whole ? picture.take() : nullptr;
}

uint32_t info(const char* path, QVPICTUREINFO* info) {
    const TiffFile tiff = openTiff(path, "r");
    Facts facts;
    if (!tiff || !readFacts(tiff.get(), facts)) return QV_PLUGIN_FAILED;
    info->width = static_cast<int32_t>(std::min<uint32_t>(facts.width, INT32_MAX));
    info->height = static_cast<int32_t>(std::min<uint32_t>(facts.height, INT32_MAX));
    info->bitCount =
        static_cast<int32_t>(std::min(uint32_t{facts.bits} * facts.samples, uint32_t{INT32_MAX}));
    uint16_t compression = COMPRESSION_NONE;
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_COMPRESSION, &compression);
    const TIFFCodec* codec = compression == COMPRESSION_NONE ? nullptr : TIFFFindCODEC(compression);
    std::snprintf(info->format, sizeof info->format, "TIFF %u x %u bits%s%s", facts.samples, facts.bits,
                  codec ? ", " : "", codec ? codec->name : "");
    return QV_PLUGIN_OK;
}

bool writePicture(TIFF* tiff, GivenPicture& picture, uint16_t compression) {
    const bool gray = picture.isGray();
    const auto width = static_cast<uint32_t>(picture.width());
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(picture.height()));
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, gray ? 1 : 3);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, gray ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    if (compression != COMPRESSION_NONE) TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, std::max(1u, 65536u / (width * (gray ? 1 : 3))));
    if (picture.header().biXPelsPerMeter > 0 && picture.header().biYPelsPerMeter > 0) {
        TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
        TIFFSetField(tiff, TIFFTAG_XRESOLUTION, picture.header().biXPelsPerMeter * 0.0254);
        TIFFSetField(tiff, TIFFTAG_YRESOLUTION, picture.header().biYPelsPerMeter * 0.0254);
    }
    std::vector<uint8_t> line(size_t{3} * width);
    for (int y = 0; y < picture.height(); ++y) {
        picture.rowRgb(y, line.data());
        for (size_t x = 0; gray && x < width; ++x) line[x] = line[3 * x];
        if (TIFFWriteScanline(tiff, line.data(), static_cast<uint32_t>(y), 0) != 1) return false;
    }
    return TIFFFlush(tiff) == 1;
}

uint32_t encode(void* block, const char* path, int32_t option1, int32_t) {
    constexpr uint16_t kCompressions[] = {COMPRESSION_LZW, COMPRESSION_NONE, COMPRESSION_ADOBE_DEFLATE};
    GivenPicture picture(block);
    if (!picture.isOpen() || option1 < 0 || option1 > 2) return QV_PLUGIN_FAILED;
    AtomicFile file(path);
    if (!file.isOpen()) return QV_PLUGIN_FAILED;
    const TiffFile tiff = openTiff(file.pathForLibraries().c_str(), "w");
    if (!tiff || !writePicture(tiff.get(), picture, kCompressions[option1])) return QV_PLUGIN_FAILED;
    return file.commit() ? QV_PLUGIN_OK : QV_PLUGIN_FAILED;
}

constexpr PictureBackEnd kTable = {decode, info, encode};

} // namespace
} // namespace qv::codec

extern "C" QV_PLUGIN_EXPORT const void* qvPictureBackEnd() { return &qv::codec::kTable; }
