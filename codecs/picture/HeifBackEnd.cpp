// HEIF (HEVC and AV1 stills) on libheif: the file's primary picture, turned and cropped as the file says.
// Transparent pixels are laid over white. What can be decoded and encoded depends on how libheif was built.
//   Encode option 1: quality 1 to 100, 0 = 80.  Option 2: 0 = colour at half resolution (4:2:0), 1 = full (4:4:4).
#include "codecs/picture/PackedDib.h"
#include "codecs/picture/PictureBackEnd.h"
#include "qvlibs/image/MaxDecodeSize.h"
#include "qvlibs/util/AtomicFile.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include <libheif/heif.h>
#include <strings.h>

namespace qv::codec {
namespace {

constexpr int kUsualQuality = 80;

using Context = std::unique_ptr<heif_context, decltype(&heif_context_free)>;
using Handle = std::unique_ptr<heif_image_handle, decltype(&heif_image_handle_release)>;
using Image = std::unique_ptr<heif_image, decltype(&heif_image_release)>;

// A file being read. The bytes stay here, for the library reads from them as it decodes.
struct Source {
    explicit Source(const char* path) : bytes(readWholeFile(path)) {
        // The library's own limit is the side of a square.
        const double side = std::sqrt(QVTLGetMaxDecodeSize() / 3.0);
        heif_context_set_maximum_image_size_limit(context.get(), static_cast<int>(side));
        heif_context_set_max_decoding_threads(context.get(), 0);
        heif_image_handle* found = nullptr;
        if (heif_context_read_from_memory_without_copy(context.get(), bytes.data(), bytes.size(), nullptr)
                    .code == heif_error_Ok &&
            heif_context_get_primary_image_handle(context.get(), &found).code == heif_error_Ok)
            handle.reset(found);
    }
    int width() const { return heif_image_handle_get_width(handle.get()); }
    int height() const { return heif_image_handle_get_height(handle.get()); }
    bool hasAlpha() const { return heif_image_handle_has_alpha_channel(handle.get()) != 0; }

    std::vector<uint8_t> bytes;
    Context context{heif_context_alloc(), &heif_context_free};
    Handle handle{nullptr, &heif_image_handle_release};
};

Image decodeRows(const Source& source, bool alpha) {
    const std::unique_ptr<heif_decoding_options, decltype(&heif_decoding_options_free)> options(
        heif_decoding_options_alloc(), &heif_decoding_options_free);
    options->convert_hdr_to_8bit = 1;
    options->strict_decoding = 1;
    heif_image* image = nullptr;
    const auto chroma = alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB;
    const heif_error error =
        heif_decode_image(source.handle.get(), &image, heif_colorspace_RGB, chroma, options.get());
    return {error.code == heif_error_Ok ? image : nullptr, &heif_image_release};
}

void* decode(const char* path, WantedSize) {
    const Source source(path);
    if (!source.handle) return nullptr;
    NewPicture picture(source.width(), source.height());
    constexpr size_t kWorking = 6; // the planes as coded, and as R, G, B
    if (!picture.isOpen() || !picture.leavesRoomFor(kWorking)) return nullptr;
    const bool alpha = source.hasAlpha();
    const Image image = decodeRows(source, alpha);
    // What was announced may differ from what came out of the decoder.
    if (!image || heif_image_get_width(image.get(), heif_channel_interleaved) != picture.width() ||
        heif_image_get_height(image.get(), heif_channel_interleaved) != picture.height())
        return nullptr;
    int stride = 0;
    const uint8_t* rows = heif_image_get_plane_readonly(image.get(), heif_channel_interleaved, &stride);
    if (!rows) return nullptr;
    std::vector<uint8_t> rgb(picture.lineBytes());
    for (int y = 0; y < picture.height(); ++y, rows += stride) {
        if (alpha) blendOverWhite(rows, rgb.data(), picture.width()); // red first, here as there
        swapRedBlue(alpha ? rgb.data() : rows, picture.row(y), static_cast<size_t>(picture.width()));
    }
    return picture.take();
}

uint32_t info(const char* path, QVPICTUREINFO* info) {
    const Source source(path);
    if (!source.handle) return QV_PLUGIN_FAILED;
    const int bits = heif_image_handle_get_luma_bits_per_pixel(source.handle.get());
    info->width = source.width();
    info->height = source.height();
    info->bitCount = (bits > 0 ? bits : 8) * (source.hasAlpha() ? 4 : 3);
    const bool avif = source.bytes.size() >= 12 && std::memcmp(&source.bytes[8], "avif", 4) == 0;
    std::snprintf(info->format, sizeof info->format, "%s%s%s", avif ? "AVIF" : "HEIF",
                  source.hasAlpha() ? " with alpha" : "", bits > 8 ? ", more than 8 bits a channel" : "");
    return QV_PLUGIN_OK;
}

Image rgbImage(GivenPicture& given) {
    heif_image* image = nullptr;
    if (heif_image_create(given.width(), given.height(), heif_colorspace_RGB, heif_chroma_interleaved_RGB,
                          &image)
            .code != heif_error_Ok)
        return {nullptr, &heif_image_release};
    Image owner(image, &heif_image_release);
    int stride = 0;
    if (heif_image_add_plane(image, heif_channel_interleaved, given.width(), given.height(), 8).code !=
        heif_error_Ok)
        return {nullptr, &heif_image_release};
    uint8_t* rows = heif_image_get_plane(image, heif_channel_interleaved, &stride);
    for (int y = 0; y < given.height(); ++y, rows += stride) given.rowRgb(y, rows);
    return owner;
}

bool isAvifName(const char* path) {
    const std::string_view name(path);
    return name.size() > 5 && strcasecmp(path + name.size() - 5, ".avif") == 0;
}

uint32_t encode(void* block, const char* path, int32_t option1, int32_t option2) {
    GivenPicture given(block);
    if (!given.isOpen() || option1 < 0 || option1 > 100 || option2 < 0 || option2 > 1)
        return QV_PLUGIN_FAILED;
    const Context context(heif_context_alloc(), &heif_context_free);
    heif_encoder* found = nullptr;
    const auto format = isAvifName(path) ? heif_compression_AV1 : heif_compression_HEVC;
    if (heif_context_get_encoder_for_format(context.get(), format, &found).code != heif_error_Ok)
        return QV_PLUGIN_FAILED; // built without one
    const std::unique_ptr<heif_encoder, decltype(&heif_encoder_release)> encoder(found,
                                                                                 &heif_encoder_release);
    heif_encoder_set_lossy_quality(found, option1 ? option1 : kUsualQuality);
    if (option2)
        heif_encoder_set_parameter_string(found, "chroma", "444"); // one without the choice keeps its own
    const Image image = rgbImage(given);
    if (!image ||
        heif_context_encode_image(context.get(), image.get(), found, nullptr, nullptr).code != heif_error_Ok)
        return QV_PLUGIN_FAILED;
    AtomicFile file(path);
    heif_writer writer{1, [](heif_context*, const void* data, size_t size, void* target) {
                           const bool good = static_cast<AtomicFile*>(target)->write(data, size);
                           return heif_error{good ? heif_error_Ok : heif_error_Encoding_error,
                                             heif_suberror_Unspecified, ""};
                       }};
    const bool good =
        file.isOpen() && heif_context_write(context.get(), &writer, &file).code == heif_error_Ok;
    return good && file.commit() ? QV_PLUGIN_OK : QV_PLUGIN_FAILED;
}

constexpr PictureBackEnd kTable = {decode, info, encode};

} // namespace
} // namespace qv::codec

extern "C" QV_PLUGIN_EXPORT const void* qvPictureBackEnd() { return &qv::codec::kTable; }
