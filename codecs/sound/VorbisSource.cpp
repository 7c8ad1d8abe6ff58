#include "codecs/sound/Downmix.h"
#include "codecs/sound/ExactSources.h"

#include <vorbis/vorbisfile.h>

namespace qv::codec {

namespace {

// Vorbis orders its channels left, centre, right from three channels on.
std::vector<Speaker> speakersOf(int channels) {
    using enum Speaker;
    switch (channels) {
    case 3: return {Left, Centre, Right};
    case 5: return {Left, Centre, Right, SideLeft, SideRight};
    case 6: return {Left, Centre, Right, SideLeft, SideRight, Low};
    case 7: return {Left, Centre, Right, SideLeft, SideRight, Both, Low};
    case 8: return {Left, Centre, Right, SideLeft, SideRight, SideLeft, SideRight, Low};
    default: return usualSpeakers(channels);
    }
}

class VorbisSource final : public SoundSource {
public:
    explicit VorbisSource(const char* path) : open_(ov_fopen(path, &file_) == 0) {}
    ~VorbisSource() override {
        if (open_) ov_clear(&file_);
    }
    VorbisSource(const VorbisSource&) = delete;
    VorbisSource& operator=(const VorbisSource&) = delete;

    bool start() {
        const vorbis_info* info = open_ ? ov_info(&file_, -1) : nullptr;
        if (!info || info->rate < 1 || info->channels < 1 || !ov_seekable(&file_)) return false;
        facts.rate = static_cast<std::uint32_t>(info->rate);
        facts.channels = info->channels == 1 ? 1 : 2;
        facts.samples = std::max<std::int64_t>(ov_pcm_total(&file_, -1), 0);
        facts.kind = SoundClass::Lossy;
        facts.bitRate = static_cast<std::uint32_t>(std::max(ov_bitrate(&file_, -1), 0L));
        vorbis_comment* tags = ov_comment(&file_, -1);
        if (const char* title = tags ? vorbis_comment_query(tags, "TITLE", 0) : nullptr) facts.title = title;
        channels_ = info->channels;
        mix_ = Downmix(speakersOf(channels_));
        return true;
    }

    std::size_t read(std::int64_t first, std::size_t count, std::int16_t* out) override {
        if (first != at_ && ov_pcm_seek(&file_, first) != 0) {
            at_ = -1; // it may stand anywhere now
            return 0;
        }
        std::size_t done = 0;
        while (done < count) {
            float** planes = nullptr;
            int link = 0;
            const auto wanted = static_cast<int>(std::min<std::size_t>(count - done, 4096));
            const long got = ov_read_float(&file_, &planes, wanted, &link);
            if (got == OV_HOLE) continue; // damaged pages are passed over
            if (got <= 0 || !sameForm()) break;
            for (long i = 0; i < got; ++i)
                deliver(planes, i, out + (done + static_cast<size_t>(i)) * facts.channels);
            done += static_cast<std::size_t>(got);
        }
        at_ = first + static_cast<std::int64_t>(done);
        return done;
    }

private:
    // Streams that are chained one behind the other may differ.
    bool sameForm() {
        const vorbis_info* info = ov_info(&file_, -1);
        return info && info->channels == channels_ && info->rate == static_cast<long>(facts.rate);
    }

    void deliver(float** planes, long i, std::int16_t* out) {
        if (channels_ <= 2) {
            for (int channel = 0; channel < channels_; ++channel)
                out[channel] = toSixteenBits(planes[channel][i]);
            return;
        }
        sample_.resize(static_cast<size_t>(channels_));
        for (size_t channel = 0; channel < sample_.size(); ++channel) sample_[channel] = planes[channel][i];
        mix_.mix(sample_.data(), out);
    }

    OggVorbis_File file_{};
    bool open_;
    int channels_ = 0;
    Downmix mix_{{}};
    std::vector<float> sample_;
    std::int64_t at_ = 0;
};

} // namespace

std::unique_ptr<SoundSource> openVorbis(const char* path) {
    auto source = std::make_unique<VorbisSource>(path);
    if (!source->start()) return nullptr;
    return source;
}

} // namespace qv::codec
