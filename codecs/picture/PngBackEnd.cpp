// PNG on libpng. Transparent pixels are laid over white; 16 bits a channel are rounded to 8.
//   Encode option 1: compression 1 (fast) to 9 (small), 0 = 6.  Option 2: not used.
#include "codecs/picture/PackedDib.h"
#include "codecs/picture/PictureBackEnd.h"
#include "qvlibs/util/AtomicFile.h"

#include <csetjmp>
#include <cstdio>
#include <memory>

#include <png.h>

namespace qv::codec {
namespace {

constexpr int kUsualCompression = 6;

[[noreturn]] void onError(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void onWarning(png_structp, png_const_charp) {}

// Everything that a longjmp may leave behind lives here, outside the frame that it returns to.
struct Decoder {
    png_structp png = nullptr;
    png_infop facts = nullptr;
    std::FILE* file = nullptr;
    std::unique_ptr<NewPicture> picture;
    std::vector<png_bytep> rows;

    explicit Decoder(const char* path);
    ~Decoder();
    bool readHeader();
    bool readPicture();
    uint32_t width() const { return png_get_image_width(png, facts); }
    uint32_t height() const { return png_get_image_height(png, facts); }
};

Decoder::Decoder(const char* path) : file(std::fopen(path, "rbe")) {
    png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, onError, onWarning);
    if (png) facts = png_create_info_struct(png);
}

Decoder::~Decoder() {
    png_destroy_read_struct(&png, &facts, nullptr);
    if (file) std::fclose(file);
}

bool Decoder::readHeader() {
    if (!file || !facts) return false;
    if (setjmp(png_jmpbuf(png))) return false;
    png_set_user_limits(png, 65535, 65535);
    // Only pixels and resolution are wanted; for some of the other chunks libpng takes as much memory as they announce.
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_AS_DEFAULT, reinterpret_cast<png_const_bytep>("pHYs"),
                                1);
    png_init_io(png, file);
    png_read_info(png, facts);
    return true;
}

bool Decoder::readPicture() {
    if (setjmp(png_jmpbuf(png))) return false;
    picture = std::make_unique<NewPicture>(width(), height());
    if (!picture->isOpen()) return false;
    png_uint_32 perMeterX = 0, perMeterY = 0;
    int unit = PNG_RESOLUTION_UNKNOWN;
    if (png_get_pHYs(png, facts, &perMeterX, &perMeterY, &unit) && unit == PNG_RESOLUTION_METER) {
        picture->setResolution(perMeterX, perMeterY);
    }
    png_set_expand(png);
    png_set_scale_16(png);
    png_set_gray_to_rgb(png);
    png_set_bgr(png);
    const auto full = static_cast<png_uint_16>(png_get_bit_depth(png, facts) == 16 ? 0xFFFF : 0xFF);
    const png_color_16 white = {0, full, full, full, full};
    png_set_background_fixed(png, &white, PNG_BACKGROUND_GAMMA_SCREEN, 0, PNG_FP_1);
    png_set_interlace_handling(png);
    png_read_update_info(png, facts);
    // Straight into the picture: its rows are as wide as libpng's.
    if (png_get_rowbytes(png, facts) > picture->lineBytes()) return false;
    for (int y = 0; y < picture->height(); ++y) rows.push_back(picture->row(y));
    png_read_image(png, rows.data());
    png_read_end(png, nullptr);
    return true;
}

void* decode(const char* path, WantedSize) {
    Decoder decoder(path);
    if (!decoder.readHeader() || !decoder.readPicture()) return nullptr;
    return decoder.picture->take();
}

uint32_t info(const char* path, QVPICTUREINFO* info) {
    Decoder decoder(path);
    if (!decoder.readHeader()) return QV_PLUGIN_FAILED;
    const int depth = png_get_bit_depth(decoder.png, decoder.facts);
    const int colour = png_get_color_type(decoder.png, decoder.facts);
    info->width = static_cast<int32_t>(decoder.width());
    info->height = static_cast<int32_t>(decoder.height());
    info->bitCount = depth * png_get_channels(decoder.png, decoder.facts);
    const char* kind = colour & PNG_COLOR_MASK_PALETTE ? "palette"
                       : colour & PNG_COLOR_MASK_COLOR ? "colour"
                                                       : "gray";
    const bool interlaced = png_get_interlace_type(decoder.png, decoder.facts) != PNG_INTERLACE_NONE;
    std::snprintf(info->format, sizeof info->format, "PNG %s%s%s%s", kind,
                  colour & PNG_COLOR_MASK_ALPHA ? " with alpha" : "",
                  depth == 16 ? ", 16 bits a channel" : "", interlaced ? ", interlaced" : "");
    return QV_PLUGIN_OK;
}

struct Encoder {
    png_structp png = nullptr;
    png_infop facts = nullptr;
    AtomicFile file;
    std::vector<uint8_t> line;

    explicit Encoder(const char* path) : file(path) {
        png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, onError, onWarning);
        if (png) facts = png_create_info_struct(png);
    }
    ~Encoder() { png_destroy_write_struct(&png, &facts); }
    bool run(const GivenPicture& picture, int compression);
};

bool Encoder::run(const GivenPicture& picture, int compression) {
    if (!file.isOpen() || !facts) return false;
    if (setjmp(png_jmpbuf(png))) return false;
    png_set_write_fn(
        png, &file,
        [](png_structp writer, png_bytep bytes, size_t count) {
            if (!static_cast<AtomicFile*>(png_get_io_ptr(writer))->write(bytes, count))
                png_error(writer, "write");
        },
        [](png_structp) {});
    png_set_compression_level(png, compression);
    const bool gray = picture.isGray();
    png_set_IHDR(png, facts, static_cast<png_uint_32>(picture.width()),
                 static_cast<png_uint_32>(picture.height()), 8,
                 gray ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    const auto& header = picture.header();
    if (header.biXPelsPerMeter > 0 && header.biYPelsPerMeter > 0) {
        png_set_pHYs(png, facts, static_cast<png_uint_32>(header.biXPelsPerMeter),
                     static_cast<png_uint_32>(header.biYPelsPerMeter), PNG_RESOLUTION_METER);
    }
    png_write_info(png, facts);
    if (!gray) png_set_bgr(png);
    line.resize(size_t{3} * static_cast<size_t>(picture.width()));
    for (int y = 0; y < picture.height(); ++y) {
        const uint8_t* row = picture.rowBgr(y, line.data());
        if (gray) {
            for (size_t x = 0; x < static_cast<size_t>(picture.width()); ++x) line[x] = row[3 * x];
            row = line.data();
        }
        png_write_row(png, row);
    }
    png_write_end(png, nullptr);
    return file.commit();
}

uint32_t encode(void* block, const char* path, int32_t option1, int32_t) {
    const GivenPicture picture(block);
    if (!picture.isOpen() || option1 < 0 || option1 > 9) return QV_PLUGIN_FAILED;
    Encoder encoder(path);
    return encoder.run(picture, option1 ? option1 : kUsualCompression) ? QV_PLUGIN_OK : QV_PLUGIN_FAILED;
}

constexpr PictureBackEnd kTable = {decode, info, encode};

} // namespace
} // namespace qv::codec

extern "C" QV_PLUGIN_EXPORT const void* qvPictureBackEnd() { return &qv::codec::kTable; }
