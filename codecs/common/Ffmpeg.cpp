#include "codecs/common/Ffmpeg.h"

#include <algorithm>
#include <string>

extern "C" {
#include <libavutil/channel_layout.h>
}

namespace qv::codec {
namespace {

constexpr auto kLongest = std::chrono::seconds(20); // of one search in a file
constexpr std::int64_t kProbeBytes = 2 << 20;       // enough for the headers of all streams
constexpr std::int64_t kProbeTime = 1'000'000;      // in microseconds
constexpr size_t kMostMemory = size_t{512} << 20;   // of one block

} // namespace

std::unique_ptr<MediaInput> MediaInput::open(const char* path, AVMediaType kind, const char* containers) {
    av_log_set_level(AV_LOG_QUIET);
    av_max_alloc(kMostMemory);
    std::unique_ptr<MediaInput> input(new MediaInput);
    input->format_ = avformat_alloc_context();
    if (!input->format_) return nullptr;
    input->format_->interrupt_callback = {tooLong, input.get()};
    input->format_->probesize = kProbeBytes;
    input->format_->max_analyze_duration = kProbeTime;
    input->restartClock();
    AVDictionary* options = nullptr;
    // Files only, and only of these kinds: no list in a file may send the library somewhere else.
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    av_dict_set(&options, "format_whitelist", containers, 0);
    const int opened =
        avformat_open_input(&input->format_, ("file:" + std::string(path)).c_str(), nullptr, &options);
    av_dict_free(&options);
    if (opened < 0 || avformat_find_stream_info(input->format_, nullptr) < 0) return nullptr;
    const AVCodec* decoder = nullptr; // a sound that cannot be decoded is passed over for one that can
    const int stream =
        av_find_best_stream(input->format_, kind, -1, -1, kind == AVMEDIA_TYPE_AUDIO ? &decoder : nullptr, 0);
    if (stream < 0) return nullptr;
    input->stream_ = static_cast<unsigned>(stream);
    for (unsigned i = 0; i < input->format_->nb_streams; ++i) {
        if (i != input->stream_) input->format_->streams[i]->discard = AVDISCARD_ALL;
    }
    return input;
}

MediaInput::~MediaInput() { avformat_close_input(&format_); }

int MediaInput::tooLong(void* self) {
    return std::chrono::steady_clock::now() - static_cast<MediaInput*>(self)->started_ > kLongest;
}

bool MediaInput::hasStreamOf(AVMediaType kind) const {
    for (unsigned i = 0; i < format_->nb_streams; ++i) {
        if (format_->streams[i]->codecpar->codec_type == kind) return true;
    }
    return false;
}

bool MediaInput::read(AVPacket* packet) {
    restartClock();
    while (av_read_frame(format_, packet) >= 0) {
        if (packet->stream_index == static_cast<int>(stream_)) return true;
        av_packet_unref(packet);
    }
    return false;
}

bool MediaInput::seekToByte(std::int64_t position) {
    restartClock();
    return av_seek_frame(format_, -1, position, AVSEEK_FLAG_BYTE) >= 0;
}

bool MediaInput::seekToTime(std::int64_t time) {
    restartClock();
    return av_seek_frame(format_, static_cast<int>(stream_), time, AVSEEK_FLAG_BACKWARD) >= 0;
}

Ffmpeg<AVCodecContext> makeDecoder(const MediaInput& input) {
    const AVCodec* codec = avcodec_find_decoder(input.stream()->codecpar->codec_id);
    Ffmpeg<AVCodecContext> decoder(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!decoder || avcodec_parameters_to_context(decoder.get(), input.stream()->codecpar) < 0)
        return nullptr;
    decoder->pkt_timebase = input.stream()->time_base;
    decoder->thread_count = 1; // one frame is wanted soon, not many in a while
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0) return nullptr;
    return decoder;
}

bool SoundConverter::append(const AVFrame& frame, int rate, int channels, std::vector<std::int16_t>& out) {
    const Form form = {frame.format, frame.ch_layout.nb_channels, frame.sample_rate};
    if ((!resampler_ || form != form_) && !prepare(frame, rate, channels)) return false;
    form_ = form;
    const int room = swr_get_out_samples(resampler_.get(), frame.nb_samples);
    if (room < 0) return false;
    const size_t before = out.size();
    out.resize(before + static_cast<size_t>(room) * static_cast<size_t>(channels));
    auto* to = reinterpret_cast<std::uint8_t*>(out.data() + before);
    const int made = swr_convert(resampler_.get(), &to, room,
                                 const_cast<const std::uint8_t**>(frame.extended_data), frame.nb_samples);
    out.resize(before + static_cast<size_t>(std::max(made, 0)) * static_cast<size_t>(channels));
    return made >= 0;
}

bool SoundConverter::prepare(const AVFrame& frame, int rate, int channels) {
    AVChannelLayout out{}, in{};
    av_channel_layout_default(&out, channels);
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&in, frame.ch_layout.nb_channels);
    else
        av_channel_layout_copy(&in, &frame.ch_layout);
    SwrContext* made = nullptr;
    const int status =
        swr_alloc_set_opts2(&made, &out, AV_SAMPLE_FMT_S16, rate, &in,
                            static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
    av_channel_layout_uninit(&in);
    resampler_.reset(made);
    if (status < 0 || swr_init(made) < 0) resampler_.reset();
    return resampler_ != nullptr;
}

} // namespace qv::codec
