// FFmpeg's objects with owners, and how the modules for movies and sounds read files with it.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
}

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace qv::codec {

struct FfmpegDelete {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(SwrContext* resampler) const { swr_free(&resampler); }
};
template <class Object>
using Ffmpeg = std::unique_ptr<Object, FfmpegDelete>;

// An open file, of which one stream is read. A damaged file may make the library search for long: what takes
// more than the limit fails.
class MediaInput {
public:
    // Opens the file if it is in one of these containers (FFmpeg's names) and picks its best stream of the kind. Null
    // when there is none.
    static std::unique_ptr<MediaInput> open(const char* path, AVMediaType kind, const char* containers);
    ~MediaInput();
    MediaInput(const MediaInput&) = delete;
    MediaInput& operator=(const MediaInput&) = delete;

    AVFormatContext* format() const { return format_; }
    AVStream* stream() const { return format_->streams[stream_]; }
    bool hasStreamOf(AVMediaType kind) const;

    // The next packet of the stream; false at the end.
    bool read(AVPacket* packet);
    // Goes to a place in the file, or to a time in the stream's units, at or before which reading goes on.
    bool seekToByte(std::int64_t position);
    bool seekToTime(std::int64_t time);

private:
    MediaInput() = default;
    void restartClock() { started_ = std::chrono::steady_clock::now(); }
    static int tooLong(void* self);

    AVFormatContext* format_ = nullptr;
    unsigned stream_ = 0;
    std::chrono::steady_clock::time_point started_;
};

// A decoder for the input's stream; null when there is none.
Ffmpeg<AVCodecContext> makeDecoder(const MediaInput& input);

// Makes decoded sound 16-bit PCM of one rate and number of channels. The frames may change their form on the way, as those
// of broadcasts do.
class SoundConverter {
public:
    // Appends the frame; false when it cannot be converted. Rate and channels (1 or 2) are the same in all calls.
    bool append(const AVFrame& frame, int rate, int channels, std::vector<std::int16_t>& out);

private:
    struct Form {
        int format = -1, channels = 0, rate = 0;
        bool operator==(const Form&) const = default;
    };
    bool prepare(const AVFrame& frame, int rate, int channels);

    Form form_; // of the frames that resampler_ takes
    Ffmpeg<SwrContext> resampler_;
};

} // namespace qv::codec
