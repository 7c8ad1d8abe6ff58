// The sound of a movie as PCM of 16 bits, from any sample on.
#pragma once

#include "codecs/common/MovieStream.h"
#include "codecs/movie/MovieInput.h"

namespace qv::codec {

class SoundReader {
public:
    // `start` is the time of the first frame in seconds: there sample 0 lies. Null when there is no sound that
    // can be decoded.
    static std::unique_ptr<SoundReader> open(const std::string& path, double start);

    const WAVEFORMATEX& format() const { return format_; }
    // Samples, each of all channels, in the whole movie as its headers say.
    std::uint64_t samples() const { return samples_; }
    std::uint32_t bits() const; // compressed, a second

    // Writes `count` samples from `first` on; where the movie has none they are silent.
    void read(std::uint64_t first, size_t count, std::uint8_t* out);

private:
    SoundReader() = default;
    bool seek(std::uint64_t sample);
    bool decodeMore();
    void take();
    std::int64_t heldEnd() const {
        return heldAt_ + static_cast<std::int64_t>(held_.size() / format_.nChannels);
    }

    std::unique_ptr<MediaInput> input_;
    Ffmpeg<AVCodecContext> decoder_;
    SoundConverter converter_;
    Ffmpeg<AVFrame> frame_;
    Ffmpeg<AVPacket> packet_;
    WAVEFORMATEX format_{};
    double start_ = 0;
    std::uint64_t samples_ = 0;
    std::vector<std::int16_t> held_; // decoded and not yet read
    std::int64_t heldAt_ = 0;        // sample at which they begin
    bool isPositioned_ = false;
    bool isDraining_ = false;
};

} // namespace qv::codec
