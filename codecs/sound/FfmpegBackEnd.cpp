// Sounds through the FFmpeg libraries.
#include "codecs/sound/Sound.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace qv::codec {

namespace {

struct CloseInput {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};
struct FreeCodec {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
};
struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FreeResampler {
    void operator()(SwrContext* resampler) const { swr_free(&resampler); }
};

// Only containers that hold sound in one file: none that names further files or addresses.
constexpr const char* kContainers =
    "asf,mov,mp3,aac,ac3,eac3,amr,ape,wv,wav,w64,tta,ogg,matroska,flac,aiff,caf";

bool isLossless(AVCodecID codec) {
    const AVCodecDescriptor* facts = avcodec_descriptor_get(codec);
    return facts && facts->props & AV_CODEC_PROP_LOSSLESS && !(facts->props & AV_CODEC_PROP_LOSSY);
}

class FfmpegSource final : public SoundSource {
public:
    bool start(const char* path) {
        path_ = path;
        // What the headers say and what is decoded may differ (some formats double the rate): the first
        // sample decides.
        if (!openInput() || !fill()) return false;
        describe(input_->streams[stream_]);
        return true;
    }

    std::size_t read(std::int64_t first, std::size_t count, std::int16_t* out) override {
        if (first < at_ && !rewind()) return 0;
        while (at_ < first) {
            if (ready_.empty() && !fill()) return 0;
            drop(std::min<std::int64_t>(first - at_, static_cast<std::int64_t>(readySamples())));
        }
        std::size_t done = 0;
        while (done < count) {
            if (ready_.empty() && !fill()) break;
            const std::size_t taken = std::min(count - done, readySamples());
            std::copy_n(ready_.data() + taken_, taken * facts.channels, out + done * facts.channels);
            drop(static_cast<std::int64_t>(taken));
            done += taken;
        }
        return done;
    }

private:
    bool openInput() {
        AVFormatContext* raw = avformat_alloc_context();
        AVDictionary* options = nullptr;
        av_dict_set(&options, "format_whitelist", kContainers, 0);
        av_dict_set(&options, "protocol_whitelist", "file", 0);
        const int opened = avformat_open_input(&raw, ("file:" + path_).c_str(), nullptr, &options);
        av_dict_free(&options);
        if (opened < 0) return false; // the context is freed then
        input_.reset(raw);
        if (avformat_find_stream_info(raw, nullptr) < 0) return false;
        const AVCodec* decoder = nullptr;
        stream_ = av_find_best_stream(raw, AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
        if (stream_ < 0 || !decoder) return false;
        for (unsigned i = 0; i < raw->nb_streams; ++i) {
            if (static_cast<int>(i) != stream_) raw->streams[i]->discard = AVDISCARD_ALL;
        }
        codec_.reset(avcodec_alloc_context3(decoder));
        frame_.reset(av_frame_alloc());
        packet_.reset(av_packet_alloc());
        const AVStream* stream = raw->streams[stream_];
        if (!codec_ || !frame_ || !packet_ ||
            avcodec_parameters_to_context(codec_.get(), stream->codecpar) < 0)
            return false;
        codec_->pkt_timebase = stream->time_base;
        return avcodec_open2(codec_.get(), decoder, nullptr) >= 0;
    }

    void describe(const AVStream* stream) {
        facts.rate = static_cast<std::uint32_t>(rate_);
        const std::int64_t ticks = stream->duration;
        if (ticks > 0 && ticks != AV_NOPTS_VALUE)
            facts.samples = av_rescale_q(ticks, stream->time_base, {1, rate_});
        else if (input_->duration > 0 && input_->duration != AV_NOPTS_VALUE)
            facts.samples = av_rescale_q(input_->duration, {1, AV_TIME_BASE}, {1, rate_});
        const auto id = stream->codecpar->codec_id;
        const bool plain = id >= AV_CODEC_ID_FIRST_AUDIO && id < AV_CODEC_ID_ADPCM_IMA_QT;
        facts.kind = plain            ? SoundClass::Uncompressed
                     : isLossless(id) ? SoundClass::Lossless
                                      : SoundClass::Lossy;
        const std::int64_t bits =
            stream->codecpar->bit_rate > 0 ? stream->codecpar->bit_rate : input_->bit_rate;
        facts.bitRate = static_cast<std::uint32_t>(std::clamp<std::int64_t>(bits, 0, UINT32_MAX));
        for (const AVDictionary* tags : {input_->metadata, stream->metadata}) {
            const AVDictionaryEntry* title = av_dict_get(tags, "title", nullptr, 0);
            if (title && facts.title.empty()) facts.title = title->value;
        }
    }

    // Positions in the containers are not exact to the sample, and a decoder that was moved does not leave
    // out the samples of its delay again: going back means starting afresh.
    bool rewind() {
        codec_.reset();
        resampler_.reset();
        ready_.clear();
        taken_ = 0;
        at_ = 0;
        drained_ = false;
        return openInput();
    }

    std::size_t readySamples() const { return (ready_.size() - taken_) / facts.channels; }

    void drop(std::int64_t samples) {
        at_ += samples;
        taken_ += static_cast<std::size_t>(samples) * facts.channels;
        if (taken_ < ready_.size()) return;
        ready_.clear();
        taken_ = 0;
    }

    // Decodes until there are samples; false at the end.
    bool fill() {
        while (ready_.empty()) {
            const int got = avcodec_receive_frame(codec_.get(), frame_.get());
            if (got == 0) {
                if (!convert()) return false;
            } else if (got != AVERROR(EAGAIN) || !feed()) {
                return false;
            }
        }
        return true;
    }

    // Gives the decoder one packet more, or the end. What is damaged is passed over.
    bool feed() {
        if (drained_) return false;
        for (;;) {
            if (av_read_frame(input_.get(), packet_.get()) < 0) {
                drained_ = true;
                return avcodec_send_packet(codec_.get(), nullptr) >= 0;
            }
            const bool mine = packet_->stream_index == stream_;
            const int sent = mine ? avcodec_send_packet(codec_.get(), packet_.get()) : -1;
            av_packet_unref(packet_.get());
            if (sent >= 0) return true;
        }
    }

    bool convert() {
        if (rate_ == 0) {
            rate_ = frame_->sample_rate;
            facts.channels = frame_->ch_layout.nb_channels == 1 ? 1 : 2;
        }
        // A stream may change its form in the middle; what is delivered stays as it began.
        const Form form = {frame_->format, frame_->ch_layout.nb_channels, frame_->sample_rate};
        if ((!resampler_ || form != form_) && !makeResampler()) return false;
        form_ = form;
        const int room = swr_get_out_samples(resampler_.get(), frame_->nb_samples);
        if (room < 0) return false;
        ready_.resize(static_cast<std::size_t>(room) * facts.channels);
        auto* out = reinterpret_cast<std::uint8_t*>(ready_.data());
        const int made =
            swr_convert(resampler_.get(), &out, room, const_cast<const std::uint8_t**>(frame_->extended_data),
                        frame_->nb_samples);
        ready_.resize(static_cast<std::size_t>(std::max(made, 0)) * facts.channels);
        return made >= 0;
    }

    bool makeResampler() {
        AVChannelLayout out{};
        av_channel_layout_default(&out, facts.channels);
        AVChannelLayout in{};
        if (frame_->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
            av_channel_layout_default(&in, frame_->ch_layout.nb_channels);
        else
            av_channel_layout_copy(&in, &frame_->ch_layout);
        SwrContext* raw = nullptr;
        const int made =
            swr_alloc_set_opts2(&raw, &out, AV_SAMPLE_FMT_S16, rate_, &in,
                                static_cast<AVSampleFormat>(frame_->format), frame_->sample_rate, 0, nullptr);
        av_channel_layout_uninit(&in);
        resampler_.reset(raw);
        return made >= 0 && swr_init(raw) >= 0;
    }

    std::string path_;
    std::unique_ptr<AVFormatContext, CloseInput> input_;
    std::unique_ptr<AVCodecContext, FreeCodec> codec_;
    std::unique_ptr<AVFrame, FreeFrame> frame_;
    std::unique_ptr<AVPacket, FreePacket> packet_;
    std::unique_ptr<SwrContext, FreeResampler> resampler_;
    int stream_ = -1;
    int rate_ = 0; // delivered: that of the first frame
    bool drained_ = false;
    struct Form {
        int format = -1, channels = 0, rate = 0;
        bool operator==(const Form&) const = default;
    };
    Form form_;                       // of the frames that resampler_ takes
    std::vector<std::int16_t> ready_; // decoded, from sample at_ on, behind the first taken_ values
    std::size_t taken_ = 0;
    std::int64_t at_ = 0;
};

std::unique_ptr<SoundSource> open(const char* path) {
    auto source = std::make_unique<FfmpegSource>();
    if (!source->start(path)) return nullptr;
    return source;
}

constexpr SoundBackEnd kBackEnd = {open};

} // namespace

} // namespace qv::codec

extern "C" __attribute__((visibility("default"))) const void* qvSoundBackEnd() {
    av_log_set_level(AV_LOG_QUIET);
    return &qv::codec::kBackEnd;
}
