#include "codecs/movie/FrameIndex.h"

#include <algorithm>

namespace qv::codec {
namespace {

constexpr size_t kMostFrames = 20'000'000;

// Codecs whose decoders hold back one frame at most.
bool holdsBackOne(AVCodecID codec) {
    return codec == AV_CODEC_ID_MPEG1VIDEO || codec == AV_CODEC_ID_MPEG2VIDEO || codec == AV_CODEC_ID_MPEG4;
}

} // namespace

PacketMark markOf(const AVPacket& packet) {
    constexpr int kBytes = 256;
    std::uint64_t sum = 0xCBF29CE484222325; // FNV-1a
    for (int i = 0; i < std::min(packet.size, kBytes); ++i) sum = (sum ^ packet.data[i]) * 0x100000001B3;
    return {packet.size, sum};
}

// Frames are stored in another order than they are shown in: those behind a start may be shown before it, but
// not before the start before. So with each new start, all that is shown before the last one has its place.
bool FrameIndex::readOn() {
    if (ended_) return false;
    if (!begun_) {
        begun_ = true;
        input_ = openMovieInput(path_, AVMEDIA_TYPE_VIDEO);
        derivesTimes_ = input_ && holdsBackOne(input_->stream()->codecpar->codec_id);
    }
    const Ffmpeg<AVPacket> packet(av_packet_alloc());
    while (input_ && packet && frames_.size() + pending_.size() < kMostFrames && input_->read(packet.get())) {
        const bool isStart = packet->flags & AV_PKT_FLAG_KEY;
        const bool isFrame = packet->size > 0 && !(packet->flags & AV_PKT_FLAG_DISCARD);
        // In front of the first start nothing can be made of a packet.
        if (isFrame && (isStart || !starts_.empty())) add(*packet, isStart);
        if (packet->size > 0) ++packets_;
        av_packet_unref(packet.get());
        if (isFrame && isStart) return true;
    }
    std::int64_t last = 0;
    for (const auto& frame : pending_) last = std::max(last, frame.time);
    if (!frames_.empty()) last = std::max(last, frames_.back().time);
    closeOpen(last + 1);
    settle(INT64_MAX);
    ended_ = true;
    input_.reset();
    return false;
}

// Packets without a time are those that others lean on, and where the decoder holds back one frame, such a
// frame is shown when the next of them is decoded.
void FrameIndex::add(const AVPacket& packet, bool isStart) {
    const bool isReference = packet.pts == AV_NOPTS_VALUE || packet.pts > packet.dts;
    if (isReference && packet.dts != AV_NOPTS_VALUE) closeOpen(packet.dts);
    if (isStart) {
        if (!starts_.empty()) settle(starts_.back().time);
        starts_.push_back({packet.pts, packet.dts, packet.pos, packets_, markOf(packet)});
    }
    const IndexedFrame frame{packet.pts, packets_};
    if (packet.pts != AV_NOPTS_VALUE) {
        // What is shown before the first start leans on a picture that is not in the file.
        const std::int64_t first = starts_.front().time;
        const bool isTooEarly = first == AV_NOPTS_VALUE ? open_ && !isReference : packet.pts < first;
        if (!isTooEarly) pending_.push_back(frame);
    } else if (derivesTimes_ && packet.dts != AV_NOPTS_VALUE) {
        open_ = frame;
        isOpenStart_ = isStart;
    } else {
        ++untimed_;
    }
}

void FrameIndex::closeOpen(std::int64_t time) {
    if (!open_) return;
    open_->time = time;
    pending_.push_back(*open_);
    if (isOpenStart_) starts_.back().time = time;
    open_.reset();
}

// Gives all frames before that time their places.
void FrameIndex::settle(std::int64_t before) {
    const auto earlier = [](const IndexedFrame& a, const IndexedFrame& b) { return a.time < b.time; };
    std::sort(pending_.begin(), pending_.end(), earlier);
    const auto end = std::lower_bound(pending_.begin(), pending_.end(), IndexedFrame{before, -1}, earlier);
    for (auto frame = pending_.begin(); frame != end; ++frame) {
        if (!frames_.empty() && frame->time <= frames_.back().time) distinct_ = false;
        frames_.push_back(*frame);
    }
    pending_.erase(pending_.begin(), end);
}

bool FrameIndex::hasTimes() {
    while (frames_.empty() && untimed_ == 0 && readOn()) {
    }
    return untimed_ == 0 && distinct_ && !frames_.empty();
}

std::optional<IndexedFrame> FrameIndex::find(std::uint32_t frame) {
    while (frames_.size() <= frame && readOn()) {
    }
    if (frame >= frames_.size()) return std::nullopt;
    return frames_[frame];
}

std::uint32_t FrameIndex::count() {
    while (readOn()) {
    }
    return static_cast<std::uint32_t>(frames_.size() + untimed_);
}

std::optional<FrameIndex::Start> FrameIndex::startBefore(std::int64_t time, size_t back) const {
    const auto isLater = [=](const Start& start) {
        return start.time == AV_NOPTS_VALUE || start.time > time; // one that is still open comes behind all
    };
    size_t found = starts_.size();
    while (found > 0 && isLater(starts_[found - 1])) --found;
    if (found <= back) return std::nullopt;
    return starts_[found - 1 - back];
}

} // namespace qv::codec
