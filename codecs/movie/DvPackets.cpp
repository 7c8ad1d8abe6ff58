#include "codecs/movie/DvPackets.h"

#include <cstring>

namespace qv::codec {

namespace {

constexpr int kNtscBytes = 120000, kPalBytes = 144000;

} // namespace

DvPackets::Result DvPackets::read(std::uint32_t frame, void* dif) {
    if (!packet_) packet_.reset(av_packet_alloc());
    if (!packet_ || ((!input_ || frame != next_) && !goTo(frame))) return Result::NoFrame;
    if (!isHeld_) {
        av_packet_unref(packet_.get());
        if (!input_->read(packet_.get())) {
            input_.reset(); // whoever goes on after the end begins anew
            return Result::NoFrame;
        }
    }
    isHeld_ = false;
    next_ = frame + 1;
    if (packet_->size != kNtscBytes && packet_->size != kPalBytes) return Result::OtherSize;
    std::memcpy(dif, packet_->data, static_cast<size_t>(packet_->size));
    return Result::Done;
}

// Every DV frame can be read alone: the packet is the one with the frame's time. Where times tell nothing, packets
// are counted.
bool DvPackets::goTo(std::uint32_t frame) {
    isHeld_ = false;
    next_ = 0;
    input_ = openMovieInput(path_, AVMEDIA_TYPE_VIDEO);
    if (input_ && frame > 0 && index_.hasTimes()) {
        const auto wanted = index_.find(frame);
        isHeld_ = wanted && seekTo(wanted->time);
        if (isHeld_) next_ = frame;
        if (!isHeld_) input_ = wanted ? openMovieInput(path_, AVMEDIA_TYPE_VIDEO) : nullptr;
    }
    for (; input_ && next_ < frame; ++next_) {
        av_packet_unref(packet_.get());
        if (!input_->read(packet_.get())) input_.reset();
    }
    return input_ != nullptr;
}

// Reads the packet with that time; false when there is none.
bool DvPackets::seekTo(std::int64_t time) {
    bool isRead = input_->seekToTime(time);
    for (bool isBefore = true; isRead && isBefore;) {
        av_packet_unref(packet_.get());
        isRead = input_->read(packet_.get());
        isBefore = isRead && packet_->pts < time;
    }
    return isRead && packet_->pts == time;
}

} // namespace qv::codec
