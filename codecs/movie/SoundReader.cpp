#include "codecs/movie/SoundReader.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace qv::codec {
namespace {

constexpr int kMostChannels = 2;
constexpr double kRunIn = 0.5;       // seconds decoded in advance: the first block after a jump may be broken
constexpr double kLongestGap = 3600; // of silence filled in
constexpr double kSameMoment = 0.02; // times are rounded in some containers: closer than this is no gap
constexpr double kFarthest = 1e15;   // samples: times beyond are damaged

} // namespace

std::unique_ptr<SoundReader> SoundReader::open(const std::string& path, double start) {
    std::unique_ptr<SoundReader> sound(new SoundReader);
    sound->input_ = openMovieInput(path, AVMEDIA_TYPE_AUDIO);
    if (!sound->input_) return nullptr;
    sound->decoder_ = makeDecoder(*sound->input_);
    sound->frame_.reset(av_frame_alloc());
    sound->packet_.reset(av_packet_alloc());
    if (!sound->decoder_ || !sound->frame_ || !sound->packet_) return nullptr;
    const int rate = sound->decoder_->sample_rate;
    const int channels = std::min(sound->decoder_->ch_layout.nb_channels, kMostChannels);
    if (rate < 1000 || rate > 384000 || channels < 1) return nullptr;
    const auto align = static_cast<WORD>(2 * channels);
    const auto perSecond = static_cast<DWORD>(rate);
    sound->format_ = {
        WAVE_FORMAT_PCM, static_cast<WORD>(channels), perSecond, perSecond * align, align, 16, 0};
    sound->start_ = start;
    const AVStream& stream = *sound->input_->stream();
    const std::int64_t whole = sound->input_->format()->duration;
    double seconds = whole > 0 ? static_cast<double>(whole) / AV_TIME_BASE : 0;
    if (stream.duration > 0) seconds = static_cast<double>(stream.duration) * av_q2d(stream.time_base);
    sound->samples_ = static_cast<std::uint64_t>(std::llround(std::min(seconds, 1e7) * rate));
    return sound;
}

std::uint32_t SoundReader::bits() const {
    const std::int64_t rate = input_->stream()->codecpar->bit_rate;
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(rate, 0, UINT32_MAX));
}

bool SoundReader::seek(std::uint64_t sample) {
    const double base = av_q2d(input_->stream()->time_base);
    const double time = static_cast<double>(sample) / format_.nSamplesPerSec + start_ - kRunIn;
    avcodec_flush_buffers(decoder_.get());
    held_.clear();
    converter_ = {};
    isDraining_ = false;
    isPositioned_ = input_->seekToTime(static_cast<std::int64_t>(std::floor(time / base)));
    heldAt_ = INT64_MIN; // the first block tells
    return isPositioned_;
}

// Appends the frame just decoded, at its time.
void SoundReader::take() {
    const double rate = format_.nSamplesPerSec;
    const double base = av_q2d(input_->stream()->time_base);
    const bool isTimed = frame_->pts != AV_NOPTS_VALUE;
    const double at =
        isTimed ? std::clamp((static_cast<double>(frame_->pts) * base - start_) * rate, -kFarthest, kFarthest)
                : 0;
    if (heldAt_ == INT64_MIN) {
        heldAt_ = std::llround(at);
    } else if (isTimed) {
        const std::int64_t gap = std::llround(at) - heldEnd();
        if (static_cast<double>(gap) > kSameMoment * rate && static_cast<double>(gap) < kLongestGap * rate)
            held_.resize(held_.size() + static_cast<size_t>(gap) * format_.nChannels);
    }
    converter_.append(*frame_, static_cast<int>(format_.nSamplesPerSec), format_.nChannels, held_);
}

bool SoundReader::decodeMore() {
    for (;;) {
        if (avcodec_receive_frame(decoder_.get(), frame_.get()) >= 0) {
            take();
            return true;
        }
        if (isDraining_) return false;
        if (input_->read(packet_.get())) {
            avcodec_send_packet(decoder_.get(), packet_.get()); // a damaged packet gives no sound
            av_packet_unref(packet_.get());
        } else {
            isDraining_ = true;
            avcodec_send_packet(decoder_.get(), nullptr);
        }
    }
}

void SoundReader::read(std::uint64_t first, size_t count, std::uint8_t* out) {
    const auto begin = static_cast<std::int64_t>(first);
    const auto end = begin + static_cast<std::int64_t>(count);
    const size_t channels = format_.nChannels;
    std::memset(out, 0, count * format_.nBlockAlign);
    if (!isPositioned_ || begin < heldAt_) {
        if (!seek(first)) return;
    }
    while (heldAt_ == INT64_MIN || heldEnd() < end) {
        if (!decodeMore()) break;
        if (heldAt_ == INT64_MIN || heldAt_ >= begin) continue;
        const std::int64_t old = std::min(begin, heldEnd()) - heldAt_; // no longer needed
        held_.erase(held_.begin(), held_.begin() + old * static_cast<std::int64_t>(channels));
        heldAt_ += old;
    }
    if (heldAt_ == INT64_MIN) return;
    const std::int64_t from = std::max(begin, heldAt_);
    const std::int64_t to = std::min(end, heldEnd());
    if (from >= to) return;
    std::memcpy(out + static_cast<size_t>(from - begin) * format_.nBlockAlign,
                held_.data() + static_cast<size_t>(from - heldAt_) * channels,
                static_cast<size_t>(to - from) * format_.nBlockAlign);
}

} // namespace qv::codec
