// JPEG on libjpeg-turbo.
//   Encode option 1: quality 1 to 100, 0 = 90.  Option 2: 0 = colour at half resolution (4:2:0), 1 = full
//   (4:4:4).
#include "codecs/picture/PackedDib.h"
#include "codecs/picture/PictureBackEnd.h"
#include "qvlibs/image/MaxDecodeSize.h"
#include "qvlibs/util/AtomicFile.h"

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <jpeglib.h>

#include <jerror.h>

namespace qv::codec {
namespace {

constexpr int kUsualQuality = 90;
constexpr int kRowsAtOnce = 16;
constexpr int kMostScans = 500; // a progressive file with more is made to keep decoders busy

struct Errors {
    jpeg_error_mgr manager;
    std::jmp_buf escape;
    bool cutShort;
};

[[noreturn]] void onError(j_common_ptr codec) {
    std::longjmp(reinterpret_cast<Errors*>(codec->err)->escape, 1);
}

// Warnings are tolerated, but for the two that say that the data ended early: such a picture is not whole.
void onMessage(j_common_ptr codec, int level) {
    auto* errors = reinterpret_cast<Errors*>(codec->err);
    if (level >= 0) return;
    ++errors->manager.num_warnings;
    const int code = errors->manager.msg_code;
    if (code == JWRN_JPEG_EOF || code == JWRN_HIT_MARKER) errors->cutShort = true;
}

void onProgress(j_common_ptr codec) {
    if (!codec->is_decompressor) return;
    if (reinterpret_cast<j_decompress_ptr>(codec)->input_scan_number > kMostScans) onError(codec);
}

void useErrors(Errors& errors, jpeg_error_mgr*& slot) {
    slot = jpeg_std_error(&errors.manager);
    errors.manager.error_exit = onError;
    errors.manager.emit_message = onMessage;
    errors.manager.output_message = [](j_common_ptr) {};
    errors.cutShort = false;
}

// Everything that a longjmp may leave behind lives here, outside the frame that it returns to.
struct Decoder {
    Errors errors;
    jpeg_decompress_struct codec;
    jpeg_progress_mgr progress;
    std::FILE* file;
    std::unique_ptr<NewPicture> picture;
    std::vector<uint8_t> line;

    explicit Decoder(const char* path);
    ~Decoder();
    bool readHeader();
    bool readPicture(WantedSize wanted);
    void chooseReduction(WantedSize wanted);
    void convertCmykRow(uint8_t* out) const;
};

Decoder::Decoder(const char* path) : file(std::fopen(path, "rbe")) {
    useErrors(errors, codec.err);
    if (setjmp(errors.escape)) return;
    jpeg_create_decompress(&codec);
    progress.progress_monitor = onProgress;
    codec.progress = &progress;
}

Decoder::~Decoder() {
    jpeg_destroy_decompress(&codec);
    if (file) std::fclose(file);
}

bool Decoder::readHeader() {
    if (!file) return false;
    if (setjmp(errors.escape)) return false;
    jpeg_stdio_src(&codec, file);
    return jpeg_read_header(&codec, TRUE) == JPEG_HEADER_OK;
}

// The smallest of 1/8, 1/4 and 1/2 that stays at or above twice what is wanted: at twice the size, the
// reduction that follows still averages enough samples that nobody sees the difference.
void Decoder::chooseReduction(WantedSize wanted) {
    if (wanted.width < 1 || wanted.height < 1) return;
    for (unsigned denominator = 8; denominator > 1; denominator /= 2) {
        if (codec.image_width / denominator >= 2 * static_cast<unsigned>(wanted.width) &&
            codec.image_height / denominator >= 2 * static_cast<unsigned>(wanted.height)) {
            codec.scale_num = 1;
            codec.scale_denom = denominator;
            return;
        }
    }
}

// Inverted CMYK, as Adobe's programs write it, or plain.
void Decoder::convertCmykRow(uint8_t* out) const {
    const bool inverted = codec.saw_Adobe_marker;
    for (unsigned x = 0; x < codec.output_width; ++x) {
        unsigned ink[4];
        for (int i = 0; i < 4; ++i) ink[i] = inverted ? line[4 * x + i] : 255u - line[4 * x + i];
        for (int i = 0; i < 3; ++i) out[3 * x + i] = static_cast<uint8_t>((ink[2 - i] * ink[3] + 127) / 255);
    }
}

bool Decoder::readPicture(WantedSize wanted) {
    if (setjmp(errors.escape)) return false;
    const bool cmyk = codec.num_components == 4;
    codec.out_color_space = cmyk ? JCS_CMYK : JCS_EXT_BGR;
    chooseReduction(wanted);
    jpeg_calc_output_dimensions(&codec);
    picture = std::make_unique<NewPicture>(codec.output_width, codec.output_height);
    if (!picture->isOpen()) return false;
    const double perMeter = codec.density_unit == 1 ? 1 / 0.0254 : codec.density_unit == 2 ? 100 : 0;
    const double scale = static_cast<double>(codec.output_width) / codec.image_width;
    picture->setResolution(codec.X_density * perMeter * scale, codec.Y_density * perMeter * scale);
    codec.mem->max_memory_to_use =
        static_cast<long>(QVTLGetMaxDecodeSize()); // what progressive files need beside it
    jpeg_start_decompress(&codec);
    if (cmyk) line.resize(size_t{4} * codec.output_width);
    while (codec.output_scanline < codec.output_height) {
        const int y = static_cast<int>(codec.output_scanline);
        if (cmyk) {
            JSAMPROW target = line.data();
            if (jpeg_read_scanlines(&codec, &target, 1) == 1) convertCmykRow(picture->row(y));
        } else {
            JSAMPROW rows[kRowsAtOnce];
            const int count = std::min(kRowsAtOnce, picture->height() - y);
            for (int i = 0; i < count; ++i) rows[i] = picture->row(y + i);
            jpeg_read_scanlines(&codec, rows, static_cast<JDIMENSION>(count));
        }
    }
    jpeg_finish_decompress(&codec);
    return !errors.cutShort;
}

void* decode(const char* path, WantedSize wanted) {
    Decoder decoder(path);
    if (!decoder.readHeader() || !decoder.readPicture(wanted)) return nullptr;
    return decoder.picture->take();
}

uint32_t info(const char* path, QVPICTUREINFO* info) {
    Decoder decoder(path);
    if (!decoder.readHeader()) return QV_PLUGIN_FAILED;
    const auto& codec = decoder.codec;
    info->width = static_cast<int32_t>(codec.image_width);
    info->height = static_cast<int32_t>(codec.image_height);
    info->bitCount = codec.num_components * 8;
    const char* colour = codec.num_components == 1 ? "gray" : codec.num_components == 4 ? "CMYK" : "colour";
    std::snprintf(info->format, sizeof info->format, "JPEG %s%s", colour,
                  codec.progressive_mode ? ", progressive" : "");
    return QV_PLUGIN_OK;
}

UINT16 dotsAnInch(LONG pixelsAMeter) {
    return static_cast<UINT16>(std::clamp(std::lround(pixelsAMeter * 0.0254), 1L, 65535L));
}

struct Encoder {
    Errors errors;
    jpeg_compress_struct codec;
    unsigned char* memory = nullptr;
    unsigned long size = 0;
    std::vector<uint8_t> line;

    ~Encoder() {
        jpeg_destroy_compress(&codec);
        std::free(memory);
    }
    bool run(const GivenPicture& picture, int quality, bool fullColour);
};

bool Encoder::run(const GivenPicture& picture, int quality, bool fullColour) {
    useErrors(errors, codec.err);
    if (setjmp(errors.escape)) return false;
    jpeg_create_compress(&codec);
    jpeg_mem_dest(&codec, &memory, &size);
    const bool gray = picture.isGray();
    codec.image_width = static_cast<JDIMENSION>(picture.width());
    codec.image_height = static_cast<JDIMENSION>(picture.height());
    codec.input_components = 3;
    codec.in_color_space = JCS_EXT_BGR;
    jpeg_set_defaults(&codec);
    jpeg_set_colorspace(&codec, gray ? JCS_GRAYSCALE : JCS_YCbCr);
    jpeg_set_quality(&codec, quality, TRUE);
    if (fullColour && !gray) codec.comp_info[0].h_samp_factor = codec.comp_info[0].v_samp_factor = 1;
    if (picture.header().biXPelsPerMeter > 0 && picture.header().biYPelsPerMeter > 0) {
        codec.density_unit = 1;
        codec.X_density = dotsAnInch(picture.header().biXPelsPerMeter);
        codec.Y_density = dotsAnInch(picture.header().biYPelsPerMeter);
    }
    jpeg_start_compress(&codec, TRUE);
    line.resize(size_t{3} * codec.image_width);
    while (codec.next_scanline < codec.image_height) {
        auto* row = const_cast<uint8_t*>(picture.rowBgr(static_cast<int>(codec.next_scanline), line.data()));
        jpeg_write_scanlines(&codec, &row, 1);
    }
    jpeg_finish_compress(&codec);
    return true;
}

uint32_t encode(void* block, const char* path, int32_t option1, int32_t option2) {
    const GivenPicture picture(block);
    if (!picture.isOpen() || option1 < 0 || option1 > 100) return QV_PLUGIN_FAILED;
    Encoder encoder;
    if (!encoder.run(picture, option1 ? option1 : kUsualQuality, option2 == 1)) return QV_PLUGIN_FAILED;
    AtomicFile file(path);
    return file.write(encoder.memory, encoder.size) && file.commit() ? QV_PLUGIN_OK : QV_PLUGIN_FAILED;
}

constexpr PictureBackEnd kTable = {decode, info, encode};

} // namespace
} // namespace qv::codec

extern "C" QV_PLUGIN_EXPORT const void* qvPictureBackEnd() { return &qv::codec::kTable; }
