#include "codecs/movie/FrameReader.h"

#include <cstring>
#include <utility>

namespace qv::codec {
namespace {

constexpr size_t kMostSteps = 4; // starts that are tried, one further back each time
constexpr int kMostBehind = 64;  // a decoder holds back no more frames than this
constexpr int kMostBefore = 256; // packets between the place that is jumped to and the start

// Times in these containers come from the stream itself and are only found on the way, so they are entered at
// the place in the file.
bool isEnteredByPlace(const MediaInput& input) {
    for (const char* name : {"mpeg", "mpegts", "mpegvideo"}) {
        if (std::strcmp(input.format()->iformat->name, name) == 0) return true;
    }
    return false;
}

} // namespace

bool FrameReader::open() {
    if (!frame_) frame_.reset(av_frame_alloc());
    if (!packet_) packet_.reset(av_packet_alloc());
    if (!input_) input_ = openMovieInput(path_, AVMEDIA_TYPE_VIDEO);
    if (input_ && !decoder_) decoder_ = makeDecoder(*input_);
    return decoder_ && frame_ && packet_;
}

const AVFrame* FrameReader::frame(std::uint32_t number) {
    const AVFrame* found = nullptr;
    if (!index_.hasTimes())
        found = counted(number);
    else if (const auto wanted = index_.find(number))
        found = timed(*wanted);
    return bytesNow() < bytes_ ? nullptr : found;
}

const AVFrame* FrameReader::timed(const IndexedFrame& wanted) {
    const bool hasFrame = held_.packet >= 0;
    if (hasFrame && held_.packet == wanted.packet) return frame_.get();
    if (!open()) return nullptr;
    // Going on is shorter than seeking unless a start lies between.
    const auto nearest = index_.startBefore(wanted.time, 0);
    const bool goesOn = hasFrame && held_.time < wanted.time && nearest && nearest->time <= held_.time;
    if (goesOn && decodeTo(wanted)) return frame_.get();
    for (size_t back = 0; back < kMostSteps; ++back) {
        const auto start = index_.startBefore(wanted.time, back);
        if (!start) break;
        if (begin(*start) && decodeTo(wanted)) return frame_.get();
    }
    held_ = {};
    return nullptr;
}

// Goes to a start. What comes before it, or looks different, is not decoded.
bool FrameReader::begin(const FrameIndex::Start& start) {
    held_ = {};
    isDraining_ = false;
    avcodec_flush_buffers(decoder_.get());
    const bool byPlace = isEnteredByPlace(*input_) && start.position >= 0;
    const bool moved = byPlace ? input_->seekToByte(start.position)
                               : input_->seekToTime(start.dts != AV_NOPTS_VALUE ? start.dts : start.time);
    for (int i = 0; moved && i < kMostBefore && input_->read(packet_.get()); ++i) {
        if (markOf(*packet_) == start.mark) {
            next_ = start.packet;
            hasPacket_ = true;
            return true;
        }
        av_packet_unref(packet_.get());
    }
    return false;
}

bool FrameReader::decodeTo(const IndexedFrame& wanted) {
    fedBehind_ = 0;
    for (;;) {
        while (receive()) {
            if (frame_->reordered_opaque != wanted.packet) continue;
            held_ = wanted;
            return true;
        }
        if (isDraining_ || fedBehind_ > kMostBehind || !feed(wanted)) {
            held_ = {};
            return false;
        }
    }
}

bool FrameReader::receive() {
    held_ = {};
    return avcodec_receive_frame(decoder_.get(), frame_.get()) >= 0;
}

// Hands the decoder its next packet, and with it the packet's number, which comes back with the frame. Frames
// that no other leans on are skipped on the way.
bool FrameReader::feed(const IndexedFrame& wanted) {
    const bool isThere = std::exchange(hasPacket_, false) || input_->read(packet_.get());
    if (!isThere) {
        isDraining_ = true;
        return avcodec_send_packet(decoder_.get(), nullptr) >= 0;
    }
    if (packet_->size > 0) {
        const std::int64_t number = next_++;
        const bool counts = wanted.packet < 0; // every frame is wanted
        if (!counts && number > wanted.packet) ++fedBehind_;
        const bool isBefore = packet_->pts != AV_NOPTS_VALUE && packet_->pts < wanted.time;
        decoder_->skip_frame =
            !counts && number != wanted.packet && isBefore ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
        decoder_->reordered_opaque = number;
        avcodec_send_packet(decoder_.get(), packet_.get()); // a damaged packet gives no frame
    }
    av_packet_unref(packet_.get());
    return true;
}

const AVFrame* FrameReader::counted(std::uint32_t number) {
    if (isCounting_ && number_ == number) return frame_.get();
    if (!isCounting_ || number_ > number) { // from the beginning
        input_.reset();
        decoder_.reset();
        number_ = -1;
        next_ = 0;
        isDraining_ = hasPacket_ = false;
    }
    isCounting_ = false;
    if (!open()) return nullptr;
    for (;;) {
        while (receive()) {
            if (++number_ < number) continue;
            isCounting_ = true;
            return frame_.get();
        }
        if (isDraining_ || !feed({})) return nullptr;
    }
}

} // namespace qv::codec
