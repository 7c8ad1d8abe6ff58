// A DV codec component on libavcodec. The shipped component encodes through it; named in the registry as the
// server of the class it also decodes, for comparison or should the own decoder fail somebody.
#include <bit>
#include <cstring>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include "codecs/dv/DvColour.h"
#include "codecs/dv/DvCompleteFrame.h"
#include "codecs/dv/DvComponent.h"
#include "codecs/dv/DvFromRgb.h"
#include "codecs/dv/DvPicture.h"

namespace qv::dv {
namespace {

struct Free {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
using Context = std::unique_ptr<AVCodecContext, Free>;
using Frame = std::unique_ptr<AVFrame, Free>;
using Packet = std::unique_ptr<AVPacket, Free>;

Context makeContext(const AVCodec* codec) {
    Context context(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (context) context->thread_count = 1;
    return context;
}

// A plane of a frame with the room behind its rows that the conversion to RGB reads.
const std::uint8_t* padded(const std::uint8_t* from, int pitch, int width, int height,
                           std::ptrdiff_t paddedPitch, std::vector<std::uint8_t>& room) {
    room.resize(static_cast<std::size_t>(paddedPitch) * static_cast<std::size_t>(height) + kRowPadding);
    for (int y = 0; y < height; ++y) {
        std::memcpy(&room[static_cast<std::size_t>(y * paddedPitch)], from + std::ptrdiff_t{pitch} * y,
                    static_cast<std::size_t>(width));
    }
    return room.data();
}

class LibavCodec : public Codec {
public:
    bool decode(std::span<const std::uint8_t> dif, const DecodeOption& option,
                const PictureTarget& target) override;
    bool encode(const PictureTarget& source, bool pal, std::span<std::uint8_t> dif) override;

private:
    bool openDecoder(int lowres);
    bool openEncoder(bool pal);

    Context decoder_, encoder_;
    Frame frame_{av_frame_alloc()};
    Packet packet_{av_packet_alloc()};
    bool encodesPal_ = false;
    SamplePlanes samples_;
    std::vector<std::uint8_t> rows_[3];
};

bool LibavCodec::openDecoder(int lowres) {
    if (decoder_ && decoder_->lowres == lowres) return true;
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_DVVIDEO);
    decoder_ = makeContext(codec);
    if (!decoder_) return false;
    decoder_->lowres = lowres;
    if (avcodec_open2(decoder_.get(), codec, nullptr) < 0) decoder_.reset();
    return decoder_ != nullptr;
}

bool LibavCodec::decode(std::span<const std::uint8_t> dif, const DecodeOption& option,
                        const PictureTarget& target) {
    const int lowres = std::countr_zero(static_cast<unsigned>(option.reduction));
    if (!frame_ || !packet_ || !openDecoder(lowres)) return false;
    // A copy, since the decoder reads a little past the end.
    av_packet_unref(packet_.get());
    if (av_new_packet(packet_.get(), static_cast<int>(dif.size())) < 0) return false;
    std::memcpy(packet_->data, dif.data(), dif.size());
    if (avcodec_send_packet(decoder_.get(), packet_.get()) < 0) return false;
    if (avcodec_receive_frame(decoder_.get(), frame_.get()) < 0) return false;
    const AVFrame& frame = *frame_;
    const bool is420 = frame.format == AV_PIX_FMT_YUV420P;
    const PictureSize size = pictureSize(option.pal, option.reduction);
    if ((!is420 && frame.format != AV_PIX_FMT_YUV411P) || frame.width < size.width ||
        frame.height != size.height) {
        return false;
    }
    Planes planes{.yPitch = frame.width + kRowPadding,
                  .colourPitch = frame.width + kRowPadding,
                  .width = frame.width,
                  .height = frame.height,
                  .colourWidth = is420 ? (frame.width + 1) / 2 : (frame.width + 3) / 4,
                  .colourHeight = is420 ? (frame.height + 1) / 2 : frame.height};
    planes.y = padded(frame.data[0], frame.linesize[0], planes.width, planes.height, planes.yPitch, rows_[0]);
    planes.cb = padded(frame.data[1], frame.linesize[1], planes.colourWidth, planes.colourHeight,
                       planes.colourPitch, rows_[1]);
    planes.cr = padded(frame.data[2], frame.linesize[2], planes.colourWidth, planes.colourHeight,
                       planes.colourPitch, rows_[2]);
    planesToRgb(planes, target, (frame.width - size.width) / 2, size.width);
    return true;
}

bool LibavCodec::openEncoder(bool pal) {
    if (encoder_ && encodesPal_ == pal) return true;
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_DVVIDEO);
    encoder_ = makeContext(codec);
    if (!encoder_) return false;
    encoder_->width = kPictureWidth;
    encoder_->height = pal ? 576 : 480;
    encoder_->pix_fmt = pal ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUV411P;
    encoder_->time_base = pal ? AVRational{1, 25} : AVRational{1001, 30000};
    encoder_->sample_aspect_ratio = pal ? AVRational{16, 15} : AVRational{8, 9};
    encoder_->flags |= AV_CODEC_FLAG_INTERLACED_DCT;
    if (avcodec_open2(encoder_.get(), codec, nullptr) < 0) encoder_.reset();
    encodesPal_ = pal;
    return encoder_ != nullptr;
}

bool LibavCodec::encode(const PictureTarget& source, bool pal, std::span<std::uint8_t> dif) {
    if (!packet_ || !openEncoder(pal)) return false;
    rgbToPlanes(source, pal, samples_);
    const Frame frame(av_frame_alloc());
    if (!frame) return false;
    frame->width = encoder_->width;
    frame->height = encoder_->height;
    frame->format = encoder_->pix_fmt;
    if (av_frame_get_buffer(frame.get(), 0) < 0) return false;
    const std::vector<std::uint8_t>* planes[3] = {&samples_.y, &samples_.cb, &samples_.cr};
    for (int i = 0; i < 3; ++i) {
        const int width = i ? samples_.colourWidth : kPictureWidth;
        const int height = i ? samples_.colourHeight : frame->height;
        for (int y = 0; y < height; ++y) {
            std::memcpy(frame->data[i] + std::ptrdiff_t{frame->linesize[i]} * y,
                        &(*planes[i])[static_cast<std::size_t>(y * width)], static_cast<std::size_t>(width));
        }
    }
    if (avcodec_send_frame(encoder_.get(), frame.get()) < 0) return false;
    if (avcodec_receive_packet(encoder_.get(), packet_.get()) < 0) return false;
    const bool fits = static_cast<std::size_t>(packet_->size) == dif.size();
    if (fits) std::memcpy(dif.data(), packet_->data, dif.size());
    av_packet_unref(packet_.get());
    if (!fits) return false;
    const auto layout = identifyFrame(dif);
    if (!layout) return false;
    completeFrame(dif.data(), *layout);
    return true;
}

} // namespace

std::unique_ptr<Codec> makeCodec() { return std::make_unique<LibavCodec>(); }

} // namespace qv::dv
