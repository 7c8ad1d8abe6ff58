#include "codecs/movie/Ffmpeg.h"

#include <string>

namespace qv::codec {
namespace {

constexpr auto kLongest = std::chrono::seconds(20); // of one search in a file
constexpr std::int64_t kProbeBytes = 2 << 20;       // enough for the headers of all streams
constexpr std::int64_t kProbeTime = 1'000'000;      // in microseconds
constexpr size_t kMostMemory = size_t{512} << 20;   // of one block
// Files only, and only of these kinds: no list in a file may send the library somewhere else.
constexpr const char* kKinds =
    "asf,avi,dv,flv,gxf,h264,hevc,m4v,matroska,mov,mpeg,mpegts,mpegvideo,mxf,ogg,rm";

} // namespace

std::unique_ptr<MovieInput> MovieInput::open(const char* path, AVMediaType kind) {
    av_log_set_level(AV_LOG_QUIET);
    av_max_alloc(kMostMemory);
    std::unique_ptr<MovieInput> input(new MovieInput);
    input->format_ = avformat_alloc_context();
    if (!input->format_) return nullptr;
    input->format_->interrupt_callback = {tooLong, input.get()};
    input->format_->probesize = kProbeBytes;
    input->format_->max_analyze_duration = kProbeTime;
    input->restartClock();
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    av_dict_set(&options, "format_whitelist", kKinds, 0);
    const int opened =
        avformat_open_input(&input->format_, ("file:" + std::string(path)).c_str(), nullptr, &options);
    av_dict_free(&options);
    if (opened < 0 || avformat_find_stream_info(input->format_, nullptr) < 0) return nullptr;
    const int stream = av_find_best_stream(input->format_, kind, -1, -1, nullptr, 0);
    if (stream < 0) return nullptr;
    input->stream_ = static_cast<unsigned>(stream);
    for (unsigned i = 0; i < input->format_->nb_streams; ++i) {
        if (i != input->stream_) input->format_->streams[i]->discard = AVDISCARD_ALL;
    }
    return input;
}

MovieInput::~MovieInput() { avformat_close_input(&format_); }

int MovieInput::tooLong(void* self) {
    return std::chrono::steady_clock::now() - static_cast<MovieInput*>(self)->started_ > kLongest;
}

bool MovieInput::hasStreamOf(AVMediaType kind) const {
    for (unsigned i = 0; i < format_->nb_streams; ++i) {
        if (format_->streams[i]->codecpar->codec_type == kind) return true;
    }
    return false;
}

bool MovieInput::read(AVPacket* packet) {
    restartClock();
    while (av_read_frame(format_, packet) >= 0) {
        if (packet->stream_index == static_cast<int>(stream_)) return true;
        av_packet_unref(packet);
    }
    return false;
}

bool MovieInput::seekToByte(std::int64_t position) {
    restartClock();
    return av_seek_frame(format_, -1, position, AVSEEK_FLAG_BYTE) >= 0;
}

bool MovieInput::seekToTime(std::int64_t time) {
    restartClock();
    return av_seek_frame(format_, static_cast<int>(stream_), time, AVSEEK_FLAG_BACKWARD) >= 0;
}

Ffmpeg<AVCodecContext> makeDecoder(const MovieInput& input) {
    const AVCodec* codec = avcodec_find_decoder(input.stream()->codecpar->codec_id);
    Ffmpeg<AVCodecContext> decoder(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!decoder || avcodec_parameters_to_context(decoder.get(), input.stream()->codecpar) < 0)
        return nullptr;
    decoder->pkt_timebase = input.stream()->time_base;
    decoder->thread_count = 1; // one frame is wanted soon, not many in a while
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0) return nullptr;
    return decoder;
}

} // namespace qv::codec
