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
    input_ = MovieInput::open(path_.c_str(), AVMEDIA_TYPE_VIDEO);
    isHeld_ = false;
    next_ = 0;
    if (!input_ || frame == 0) return input_ != nullptr;
    const auto wanted = index_.find(frame);
    if (!wanted) {
        input_.reset();
        return false;
    }
    if (index_.hasTimes() && wanted->time != AV_NOPTS_VALUE && input_->seekToTime(wanted->time)) {
        do {
            av_packet_unref(packet_.get());
            isHeld_ = input_->read(packet_.get());
        } while (isHeld_ && packet_->pts < wanted->time);
        isHeld_ = isHeld_ && packet_->pts == wanted->time;
        if (isHeld_) return next_ = frame, true;
        input_ = MovieInput::open(path_.c_str(), AVMEDIA_TYPE_VIDEO);
    }
    for (; input_ && next_ < frame; ++next_) {
        av_packet_unref(packet_.get());
        if (!input_->read(packet_.get())) input_.reset();
    }
    return input_ != nullptr;
}

} // namespace qv::codec
