// Sounds through the FFmpeg libraries.
#include "codecs/common/Ffmpeg.h"
#include "codecs/sound/Sound.h"

#include <algorithm>

namespace qv::codec {

namespace {

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
        frame_.reset(av_frame_alloc());
        packet_.reset(av_packet_alloc());
        // What the headers say and what is decoded may differ (some formats double the rate): the first
        // sample decides.
        if (!frame_ || !packet_ || !openInput() || !fill()) return false;
        describe();
        return true;
    }

    std::size_t read(std::int64_t first, std::size_t count, std::int16_t* out) override {
        if ((first < at_ || !decoder_) && !rewind()) return 0;
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
        input_ = MediaInput::open(path_.c_str(), AVMEDIA_TYPE_AUDIO, kContainers);
        if (input_) decoder_ = makeDecoder(*input_);
        return decoder_ != nullptr;
    }

    void describe() {
        facts.rate = static_cast<std::uint32_t>(rate_);
        const AVFormatContext* whole = input_->format();
        const AVStream* stream = input_->stream();
        if (stream->duration > 0)
            facts.samples = av_rescale_q(stream->duration, stream->time_base, {1, rate_});
        else if (whole->duration > 0)
            facts.samples = av_rescale_q(whole->duration, {1, AV_TIME_BASE}, {1, rate_});
        const auto id = stream->codecpar->codec_id;
        const bool plain = id >= AV_CODEC_ID_FIRST_AUDIO && id < AV_CODEC_ID_ADPCM_IMA_QT;
        facts.kind = plain            ? SoundClass::Uncompressed
                     : isLossless(id) ? SoundClass::Lossless
                                      : SoundClass::Lossy;
        const std::int64_t bits =
            stream->codecpar->bit_rate > 0 ? stream->codecpar->bit_rate : whole->bit_rate;
        facts.bitRate = static_cast<std::uint32_t>(std::clamp<std::int64_t>(bits, 0, UINT32_MAX));
        for (const AVDictionary* tags : {whole->metadata, stream->metadata}) {
            const AVDictionaryEntry* title = av_dict_get(tags, "title", nullptr, 0);
            if (title && facts.title.empty()) facts.title = title->value;
        }
    }

    // Positions in the containers are not exact to the sample, and a decoder that was moved does not leave
    // out the samples of its delay again: going back means starting afresh.
    bool rewind() {
        decoder_.reset();
        converter_ = {};
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
            const int got = avcodec_receive_frame(decoder_.get(), frame_.get());
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
            if (!input_->read(packet_.get())) {
                drained_ = true;
                return avcodec_send_packet(decoder_.get(), nullptr) >= 0;
            }
            const int sent = avcodec_send_packet(decoder_.get(), packet_.get());
            av_packet_unref(packet_.get());
            if (sent >= 0) return true;
        }
    }

    bool convert() {
        if (rate_ == 0) {
            rate_ = frame_->sample_rate;
            facts.channels = frame_->ch_layout.nb_channels == 1 ? 1 : 2;
        }
        return converter_.append(*frame_, rate_, facts.channels, ready_);
    }

    std::string path_;
    std::unique_ptr<MediaInput> input_;
    Ffmpeg<AVCodecContext> decoder_; // null when the file could not be opened again
    Ffmpeg<AVFrame> frame_;
    Ffmpeg<AVPacket> packet_;
    SoundConverter converter_;
    int rate_ = 0; // delivered: that of the first frame
    bool drained_ = false;
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
    return &qv::codec::kBackEnd;
}
