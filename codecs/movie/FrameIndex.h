// Which frame of a movie is which: the times of all frames in the order in which they are shown, found by
// reading the file without decoding it, as far as anybody asked.
#pragma once

#include "codecs/movie/MovieInput.h"

#include <optional>

namespace qv::codec {

// A frame and the packet that holds it.
struct IndexedFrame {
    std::int64_t time = AV_NOPTS_VALUE; // at which it is shown
    std::int64_t packet = -1;           // number of its packet in the file
};

// What tells a packet from its neighbours. Times do not: behind a jump some containers give a packet those of
// the one before it.
struct PacketMark {
    int size = 0;
    std::uint64_t sum = 0; // of its first bytes
    bool operator==(const PacketMark&) const = default;
};
PacketMark markOf(const AVPacket& packet);

class FrameIndex {
public:
    explicit FrameIndex(std::string path) : path_(std::move(path)) {}

    // Nothing behind the end.
    std::optional<IndexedFrame> find(std::uint32_t frame);
    // All frames: reads the file to its end.
    std::uint32_t count();
    // Whether the frames have times at all, each its own. Otherwise only counting tells them apart.
    bool hasTimes();

    // A packet from which decoding can start.
    struct Start {
        std::int64_t time = AV_NOPTS_VALUE; // at which it is shown
        std::int64_t dts = AV_NOPTS_VALUE;
        std::int64_t position = -1; // in the file
        std::int64_t packet = -1;   // its number
        PacketMark mark;
    };
    // The last start that shows at or before this time, `back` starts further back; nothing when there is
    // none so early.
    std::optional<Start> startBefore(std::int64_t time, size_t back) const;

private:
    bool readOn(); // as far as the next start; false at the end
    void add(const AVPacket& packet, bool isStart);
    void closeOpen(std::int64_t time);
    void settle(std::int64_t before);

    std::string path_;
    std::unique_ptr<MediaInput> input_;
    std::vector<IndexedFrame> frames_;  // in the order shown, as far as it is settled
    std::vector<IndexedFrame> pending_; // others may still come between these
    std::optional<IndexedFrame> open_;  // its time is not known before the next packet of its kind
    bool isOpenStart_ = false;
    std::vector<Start> starts_;
    std::int64_t packets_ = 0;  // read so far
    std::uint32_t untimed_ = 0; // packets without a time
    bool derivesTimes_ = false;
    bool begun_ = false;
    bool ended_ = false;
    bool distinct_ = true;
};

} // namespace qv::codec
