// The DV frames of a movie as they stand in the file, where its pictures are DV of 25 Mbit/s.
#pragma once

#include "codecs/movie/FrameIndex.h"

namespace qv::codec {

class DvPackets {
public:
    // The index must outlive the reader.
    DvPackets(std::string path, FrameIndex& index) : path_(std::move(path)), index_(index) {}

    enum class Result : int { Done, NoFrame, OtherSize };
    // Writes the frame's 120000 or 144000 bytes. OtherSize: the file has something else in its place. Frames asked
    // for in their order are read in one go; others are looked up.
    Result read(std::uint32_t frame, void* dif);

private:
    bool goTo(std::uint32_t frame);
    bool seekTo(std::int64_t time);

    std::string path_;
    FrameIndex& index_;
    std::unique_ptr<MediaInput> input_;
    Ffmpeg<AVPacket> packet_;
    std::uint32_t next_ = 0; // frame of the packet that is read next
    bool isHeld_ = false;    // packet_ is frame next_ already
};

} // namespace qv::codec
