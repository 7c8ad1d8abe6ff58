// WebP on libwebp: still pictures, and the first picture of a moving one. Transparent pixels are laid over white.
//   Encode option 1: quality 1 to 100, 0 = 90.  Option 2: 0 = lossy, 1 = lossless (quality is then the effort).
#include "codecs/picture/PackedDib.h"
#include "codecs/picture/PictureBackEnd.h"
#include "qvlibs/util/AtomicFile.h"

#include <cstdio>
#include <memory>

#include <webp/decode.h>
#include <webp/demux.h>
#include <webp/encode.h>

namespace qv::codec {
namespace {

constexpr float kUsualQuality = 90;

bool decodeOpaque(const std::vector<uint8_t>& bytes, WebPDecoderConfig& config, NewPicture& picture) {
    config.options.flip = 1; // rows bottom first
    config.output.colorspace = MODE_BGR;
    config.output.is_external_memory = 1;
    config.output.u.RGBA.rgba = picture.row(picture.height() - 1);
    config.output.u.RGBA.stride = static_cast<int>(picture.lineBytes());
    config.output.u.RGBA.size = picture.lineBytes() * static_cast<size_t>(picture.height());
    return WebPDecode(bytes.data(), bytes.size(), &config) == VP8_STATUS_OK;
}

void takeRows(const uint8_t* bgra, NewPicture& picture) {
    const auto line = size_t{4} * static_cast<size_t>(picture.width());
    for (int y = 0; y < picture.height(); ++y, bgra += line)
        blendOverWhite(bgra, picture.row(y), picture.width());
}

bool decodeAlpha(const std::vector<uint8_t>& bytes, NewPicture& picture) {
    const std::unique_ptr<uint8_t, decltype(&WebPFree)> rows(
        WebPDecodeBGRA(bytes.data(), bytes.size(), nullptr, nullptr), &WebPFree);
    if (rows) takeRows(rows.get(), picture);
    return rows != nullptr;
}

bool decodeFirst(const std::vector<uint8_t>& bytes, NewPicture& picture) {
    WebPAnimDecoderOptions options;
    if (!WebPAnimDecoderOptionsInit(&options)) return false;
    options.color_mode = MODE_BGRA;
    const WebPData data = {bytes.data(), bytes.size()};
    const std::unique_ptr<WebPAnimDecoder, decltype(&WebPAnimDecoderDelete)> decoder(
        WebPAnimDecoderNew(&data, &options), &WebPAnimDecoderDelete);
    WebPAnimInfo facts;
    uint8_t* canvas = nullptr;
    int time = 0;
    if (!decoder || !WebPAnimDecoderGetInfo(decoder.get(), &facts)) return false;
    if (facts.canvas_width != static_cast<uint32_t>(picture.width()) ||
        facts.canvas_height != static_cast<uint32_t>(picture.height()))
        return false;
    if (!WebPAnimDecoderGetNext(decoder.get(), &canvas, &time)) return false;
    takeRows(canvas, picture);
    return true;
}

void* decode(const char* path, WantedSize) {
    const std::vector<uint8_t> bytes = readWholeFile(path);
    WebPDecoderConfig config;
    if (!WebPInitDecoderConfig(&config)) return nullptr;
    if (WebPGetFeatures(bytes.data(), bytes.size(), &config.input) != VP8_STATUS_OK) return nullptr;
    NewPicture picture(config.input.width, config.input.height);
    // The library works on whole pictures, but for lossy ones without alpha.
    const auto& facts = config.input;
    const size_t working = (facts.format == 1 ? 0 : 4) + (facts.has_alpha || facts.has_animation ? 4 : 0);
    if (!picture.isOpen() || !picture.leavesRoomFor(working)) return nullptr;
    const bool whole = facts.has_animation ? decodeFirst(bytes, picture)
                       : facts.has_alpha   ? decodeAlpha(bytes, picture)
                                           : decodeOpaque(bytes, config, picture);
    return whole ? picture.take() : nullptr;
}

uint32_t info(const char* path, QVPICTUREINFO* info) {
    const std::vector<uint8_t> bytes = readWholeFile(path);
    WebPBitstreamFeatures facts;
    if (WebPGetFeatures(bytes.data(), bytes.size(), &facts) != VP8_STATUS_OK) return QV_PLUGIN_FAILED;
    info->width = facts.width;
    info->height = facts.height;
    info->bitCount = facts.has_alpha ? 32 : 24;
    std::snprintf(info->format, sizeof info->format, "WebP%s%s%s",
                  facts.format == 1   ? " lossy"
                  : facts.format == 2 ? " lossless"
                                      : "",
                  facts.has_alpha ? " with alpha" : "", facts.has_animation ? ", moving" : "");
    return QV_PLUGIN_OK;
}

uint32_t encode(void* block, const char* path, int32_t option1, int32_t option2) {
    GivenPicture given(block);
    WebPConfig config;
    WebPPicture picture;
    if (!given.isOpen() || option1 < 0 || option1 > 100 || option2 < 0 || option2 > 1)
        return QV_PLUGIN_FAILED;
    if (given.width() > WEBP_MAX_DIMENSION || given.height() > WEBP_MAX_DIMENSION) return QV_PLUGIN_FAILED;
    if (!WebPConfigPreset(&config, WEBP_PRESET_PHOTO,
                          option1 ? static_cast<float>(option1) : kUsualQuality) ||
        !WebPPictureInit(&picture))
        return QV_PLUGIN_FAILED;
    config.lossless = option2;
    config.exact = option2;
    picture.use_argb = option2;
    picture.width = given.width();
    picture.height = given.height();
    const auto line = size_t{3} * static_cast<size_t>(given.width());
    std::vector<uint8_t> rows(line * static_cast<size_t>(given.height()));
    for (int y = 0; y < given.height(); ++y) given.rowRgb(y, &rows[static_cast<size_t>(y) * line]);
    AtomicFile file(path);
    picture.custom_ptr = &file;
    picture.writer = [](const uint8_t* data, size_t size, const WebPPicture* writer) {
        return static_cast<AtomicFile*>(writer->custom_ptr)->write(data, size) ? 1 : 0;
    };
    const bool good = file.isOpen() && WebPPictureImportRGB(&picture, rows.data(), static_cast<int>(line)) &&
                      WebPEncode(&config, &picture);
    WebPPictureFree(&picture);
    return good && file.commit() ? QV_PLUGIN_OK : QV_PLUGIN_FAILED;
}

constexpr PictureBackEnd kTable = {decode, info, encode};

} // namespace
} // namespace qv::codec

extern "C" QV_PLUGIN_EXPORT const void* qvPictureBackEnd() { return &qv::codec::kTable; }
