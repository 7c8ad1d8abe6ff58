// FFmpeg's objects with owners, and how this module opens files with it.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <chrono>
#include <memory>
#include <optional>

namespace qv::codec {

struct FfmpegDelete {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
    void operator()(SwrContext* resampler) const { swr_free(&resampler); }
};
template <class Object>
using Ffmpeg = std::unique_ptr<Object, FfmpegDelete>;

// An open file, of which one stream is read. A damaged file may make the library search for long: what takes
// more than the limit fails.
class MovieInput {
public:
    // Opens the file and picks its best stream of the kind. Null when there is none.
    static std::unique_ptr<MovieInput> open(const char* path, AVMediaType kind);
    ~MovieInput();
    MovieInput(const MovieInput&) = delete;
    MovieInput& operator=(const MovieInput&) = delete;

    AVFormatContext* format() const { return format_; }
    AVStream* stream() const { return format_->streams[stream_]; }
    bool hasStreamOf(AVMediaType kind) const;

    // The next packet of the stream; false at the end.
    bool read(AVPacket* packet);
    // Goes to a place in the file, or to a time in the stream's units, at or before which reading goes on.
    bool seekToByte(std::int64_t position);
    bool seekToTime(std::int64_t time);

private:
    MovieInput() = default;
    void restartClock() { started_ = std::chrono::steady_clock::now(); }
    static int tooLong(void* self);

    AVFormatContext* format_ = nullptr;
    unsigned stream_ = 0;
    std::chrono::steady_clock::time_point started_;
};

// A decoder for the input's stream; null when there is none.
Ffmpeg<AVCodecContext> makeDecoder(const MovieInput& input);

} // namespace qv::codec
