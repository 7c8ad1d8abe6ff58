// GIF on giflib: the first picture of the file, on its canvas, with nothing shown as white.
//   Encode option 1: colours at the most, 2 to 256, 0 = 256.  Option 2: not used.
#include "codecs/picture/PackedDib.h"
#include "codecs/picture/PictureBackEnd.h"
#include "qvlibs/util/AtomicFile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include <gif_lib.h>

namespace qv::codec {
namespace {

struct CloseReader {
    void operator()(GifFileType* gif) const { DGifCloseFile(gif, nullptr); }
};
using GifReader = std::unique_ptr<GifFileType, CloseReader>;

// Walks to the first picture and reads its place and colours. `transparent` becomes the index of nothing, or
// -1.
bool findPicture(GifFileType* gif, int& transparent) {
    transparent = -1;
    for (;;) {
        GifRecordType type = UNDEFINED_RECORD_TYPE;
        if (DGifGetRecordType(gif, &type) != GIF_OK || type == TERMINATE_RECORD_TYPE) return false;
        if (type == IMAGE_DESC_RECORD_TYPE) return DGifGetImageDesc(gif) == GIF_OK;
        if (type != EXTENSION_RECORD_TYPE) continue;
        int code = 0;
        GifByteType* data = nullptr;
        if (DGifGetExtension(gif, &code, &data) != GIF_OK) return false;
        GraphicsControlBlock control;
        if (code == GRAPHICS_EXT_FUNC_CODE && data &&
            DGifExtensionToGCB(data[0], data + 1, &control) == GIF_OK) {
            transparent = control.TransparentColor;
        }
        while (data) {
            if (DGifGetExtensionNext(gif, &data) != GIF_OK) return false;
        }
    }
}

// Null for a file without any: it is a gray one.
const ColorMapObject* coloursOf(const GifFileType& gif) {
    return gif.Image.ColorMap ? gif.Image.ColorMap : gif.SColorMap;
}

bool readPicture(GifFileType* gif, int transparent, NewPicture& picture) {
    const GifImageDesc& place = gif->Image;
    const ColorMapObject* colours = coloursOf(*gif);
    if (place.Width < 1 || place.Height < 1) return false;
    // Where the canvas shows nothing.
    for (int y = 0; y < picture.height(); ++y)
        std::memset(picture.row(y), 255, size_t{3} * static_cast<size_t>(picture.width()));
    std::vector<GifPixelType> line(static_cast<size_t>(place.Width));
    constexpr int kFirst[] = {0, 4, 2, 1}, kStep[] = {8, 8, 4, 2};
    const int passes = place.Interlace ? 4 : 1;
    for (int pass = 0; pass < passes; ++pass) {
        for (int row = place.Interlace ? kFirst[pass] : 0; row < place.Height;
             row += place.Interlace ? kStep[pass] : 1) {
            if (DGifGetLine(gif, line.data(), place.Width) != GIF_OK) return false;
            const int y = place.Top + row;
            if (y >= picture.height()) continue;
            uint8_t* out = picture.row(y);
            const int width = std::min(place.Width, picture.width() - place.Left);
            for (int i = 0; i < width; ++i) {
                const GifPixelType index = line[static_cast<size_t>(i)];
                if (index == transparent || (colours && index >= colours->ColorCount)) continue;
                const GifColorType colour =
                    colours ? colours->Colors[index] : GifColorType{index, index, index};
                uint8_t* pixel = out + 3 * (place.Left + i);
                pixel[0] = colour.Blue;
                pixel[1] = colour.Green;
                pixel[2] = colour.Red;
            }
        }
    }
    return true;
}

// Writers leave the canvas at nothing now and then; the picture's own place counts then.
int canvasWidth(const GifFileType& gif) {
    return gif.SWidth > 0 ? gif.SWidth : gif.Image.Left + gif.Image.Width;
}
int canvasHeight(const GifFileType& gif) {
    return gif.SHeight > 0 ? gif.SHeight : gif.Image.Top + gif.Image.Height;
}

void* decode(const char* path, WantedSize) {
    const GifReader gif(DGifOpenFileName(path, nullptr));
    int transparent = -1;
    if (!gif || !findPicture(gif.get(), transparent)) return nullptr;
    NewPicture picture(canvasWidth(*gif), canvasHeight(*gif));
    if (!picture.isOpen() || !readPicture(gif.get(), transparent, picture)) return nullptr;
    return picture.take();
}

uint32_t info(const char* path, QVPICTUREINFO* info) {
    const GifReader gif(DGifOpenFileName(path, nullptr));
    int transparent = -1;
    if (!gif || !findPicture(gif.get(), transparent)) return QV_PLUGIN_FAILED;
    info->width = canvasWidth(*gif);
    info->height = canvasHeight(*gif);
    const ColorMapObject* colours = coloursOf(*gif);
    info->bitCount = colours ? colours->BitsPerPixel : 8;
    std::snprintf(info->format, sizeof info->format, "GIF %d colours", 1 << info->bitCount);
    return QV_PLUGIN_OK;
}

int writeToFile(GifFileType* gif, const GifByteType* bytes, int count) {
    return static_cast<AtomicFile*>(gif->UserData)->write(bytes, static_cast<size_t>(count)) ? count : 0;
}

struct Quantized {
    std::vector<GifByteType> indexes;
    std::unique_ptr<ColorMapObject, decltype(&GifFreeMapObject)> colours{nullptr, &GifFreeMapObject};
};

bool quantize(GivenPicture& picture, int wanted, Quantized& result) {
    const size_t count = static_cast<size_t>(picture.width()) * static_cast<size_t>(picture.height());
    std::vector<GifByteType> planes[3];
    for (auto& plane : planes) plane.resize(count);
    std::vector<uint8_t> line(size_t{3} * static_cast<size_t>(picture.width()));
    size_t at = 0;
    for (int y = 0; y < picture.height(); ++y) {
        picture.rowRgb(y, line.data());
        for (size_t x = 0; x < static_cast<size_t>(picture.width()); ++x, ++at) {
            for (size_t i = 0; i < 3; ++i) planes[i][at] = line[3 * x + i];
        }
    }
    result.indexes.resize(count);
    result.colours.reset(GifMakeMapObject(256, nullptr));
    if (!result.colours) return false;
    int size = wanted;
    return GifQuantizeBuffer(static_cast<unsigned>(picture.width()), static_cast<unsigned>(picture.height()),
                             &size, planes[0].data(), planes[1].data(), planes[2].data(),
                             result.indexes.data(), result.colours->Colors) == GIF_OK;
}

uint32_t encode(void* block, const char* path, int32_t option1, int32_t) {
    GivenPicture picture(block);
    if (!picture.isOpen() || picture.width() > 65535 || picture.height() > 65535) return QV_PLUGIN_FAILED;
    if (option1 < 0 || option1 == 1 || option1 > 256) return QV_PLUGIN_FAILED;
    Quantized quantized;
    AtomicFile file(path);
    if (!file.isOpen() || !quantize(picture, option1 ? option1 : 256, quantized)) return QV_PLUGIN_FAILED;
    GifFileType* gif = EGifOpen(&file, writeToFile, nullptr);
    if (!gif) return QV_PLUGIN_FAILED;
    bool good =
        EGifPutScreenDesc(gif, picture.width(), picture.height(), 8, 0, quantized.colours.get()) == GIF_OK &&
        EGifPutImageDesc(gif, 0, 0, picture.width(), picture.height(), false, nullptr) == GIF_OK;
    for (int y = 0; good && y < picture.height(); ++y) {
        auto* row = &quantized.indexes[static_cast<size_t>(y) * static_cast<size_t>(picture.width())];
        good = EGifPutLine(gif, row, picture.width()) == GIF_OK;
    }
    good = EGifCloseFile(gif, nullptr) == GIF_OK && good;
    return good && file.commit() ? QV_PLUGIN_OK : QV_PLUGIN_FAILED;
}

constexpr PictureBackEnd kTable = {decode, info, encode};

} // namespace
} // namespace qv::codec

extern "C" QV_PLUGIN_EXPORT const void* qvPictureBackEnd() { return &qv::codec::kTable; }
