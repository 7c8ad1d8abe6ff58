// Decoded frames by their number: the same frame whether it is reached by seeking or by counting.
#pragma once

#include "codecs/movie/FrameIndex.h"

namespace qv::codec {

class FrameReader {
public:
    // `input` is the open movie, not yet read. The index must outlive the reader.
    FrameReader(std::string path, FrameIndex& index, std::unique_ptr<MediaInput> input)
        : path_(std::move(path)), index_(index), input_(std::move(input)), bytes_(bytesNow()) {}

    // Good until the next call; null when there is no such frame, it cannot be decoded, or the file was cut since it
    // was opened: decoders make pictures of what is left, but not the right ones.
    const AVFrame* frame(std::uint32_t number);

private:
    std::int64_t bytesNow() const { return input_ ? avio_size(input_->format()->pb) : 0; }
    bool open();
    const AVFrame* timed(const IndexedFrame& wanted);
    const AVFrame* counted(std::uint32_t number);
    bool begin(const FrameIndex::Start& start);
    // Decodes until the frame comes; false when it does not.
    bool decodeTo(const IndexedFrame& wanted);
    bool receive();
    bool feed(const IndexedFrame& wanted);

    std::string path_;
    FrameIndex& index_;
    std::unique_ptr<MediaInput> input_;
    std::int64_t bytes_; // of the file when it was opened
    Ffmpeg<AVCodecContext> decoder_;
    Ffmpeg<AVFrame> frame_;
    Ffmpeg<AVPacket> packet_;
    IndexedFrame held_;       // the frame that frame_ is; without a packet there is none
    std::int64_t next_ = 0;   // number of the packet that is read next
    bool hasPacket_ = false;  // packet_ is that one
    bool isDraining_ = false; // the file is read to its end
    int fedBehind_ = 0;       // packets behind the wanted one that were decoded
    // Where frames are counted: the number of the one held, -1 at the beginning.
    std::int64_t number_ = -1;
    bool isCounting_ = false;
};

} // namespace qv::codec
