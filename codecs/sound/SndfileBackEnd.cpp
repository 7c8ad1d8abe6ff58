// Sounds through libsndfile, except the kinds of ExactSources.h.
#include "codecs/common/Extensions.h"
#include "codecs/sound/Downmix.h"
#include "codecs/sound/ExactSources.h"
#include "codecs/sound/Sound.h"
#include "qvlibs/framework/OpenWithoutWaiting.h"

#include <cstring>

#include <fcntl.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qv::codec {

namespace {

constexpr size_t kChunk = 4096; // samples that are converted at a time

struct CloseSound {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

SoundClass classOf(int format) {
    const int major = format & SF_FORMAT_TYPEMASK;
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_DOUBLE: return major == SF_FORMAT_FLAC ? SoundClass::Lossless : SoundClass::Uncompressed;
    case SF_FORMAT_ALAC_16:
    case SF_FORMAT_ALAC_20:
    case SF_FORMAT_ALAC_24:
    case SF_FORMAT_ALAC_32: return SoundClass::Lossless;
    default: return SoundClass::Lossy;
    }
}

// Kinds whose samples are whole numbers: libsndfile's own 16-bit reading is exact for them. The others are
// real numbers that may pass -1..1, where it would wrap round.
bool isWhole(int format) {
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_DOUBLE:
    case SF_FORMAT_OPUS: return false;
    default: return true;
    }
}

class SndfileSource final : public SoundSource {
public:
    SndfileSource(std::unique_ptr<SNDFILE, CloseSound> file, const SF_INFO& info, std::int64_t bytes)
        : file_(std::move(file)), mix_(speakersOf(info.channels)), whole_(isWhole(info.format)) {
        facts.rate = static_cast<std::uint32_t>(info.samplerate);
        facts.channels = info.channels == 1 ? 1 : 2;
        facts.samples = info.frames;
        facts.kind = classOf(info.format);
        const double seconds = static_cast<double>(info.frames) / info.samplerate;
        if (seconds > 0) facts.bitRate = static_cast<std::uint32_t>(std::min(8.0 * bytes / seconds, 4e9));
        if (const char* title = sf_get_string(file_.get(), SF_STR_TITLE)) facts.title = title;
    }

    std::size_t read(std::int64_t first, std::size_t count, std::int16_t* out) override {
        if (!moveTo(first)) return 0;
        std::size_t done = 0;
        while (done < count) {
            const std::size_t wanted =
                whole_ && mix_.channels() <= 2 ? count - done : std::min(kChunk, count - done);
            const std::size_t got = readSome(wanted, out + done * facts.channels);
            done += got;
            if (got < wanted) break;
        }
        at_ = first + static_cast<std::int64_t>(done);
        return done;
    }

private:
    std::vector<Speaker> speakersOf(int channels) {
        std::vector<int> map(static_cast<size_t>(channels));
        if (sf_command(file_.get(), SFC_GET_CHANNEL_MAP_INFO, map.data(),
                       channels * static_cast<int>(sizeof(int))) != SF_TRUE)
            return usualSpeakers(channels);
        std::vector<Speaker> speakers(map.size());
        std::transform(map.begin(), map.end(), speakers.begin(), speakerOf);
        return speakers;
    }

    static Speaker speakerOf(int place) {
        switch (place) {
        case SF_CHANNEL_MAP_LEFT:
        case SF_CHANNEL_MAP_FRONT_LEFT: return Speaker::Left;
        case SF_CHANNEL_MAP_RIGHT:
        case SF_CHANNEL_MAP_FRONT_RIGHT: return Speaker::Right;
        case SF_CHANNEL_MAP_FRONT_CENTER: return Speaker::Centre;
        case SF_CHANNEL_MAP_LFE: return Speaker::Low;
        case SF_CHANNEL_MAP_REAR_LEFT:
        case SF_CHANNEL_MAP_SIDE_LEFT:
        case SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER: return Speaker::SideLeft;
        case SF_CHANNEL_MAP_REAR_RIGHT:
        case SF_CHANNEL_MAP_SIDE_RIGHT:
        case SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER: return Speaker::SideRight;
        default: return Speaker::Both;
        }
    }

    bool moveTo(std::int64_t first) {
        if (first == at_) return true;
        at_ = sf_seek(file_.get(), first, SEEK_SET);
        return at_ == first;
    }

    std::size_t readSome(std::size_t count, std::int16_t* out) {
        if (whole_ && mix_.channels() <= 2)
            return static_cast<size_t>(
                std::max<sf_count_t>(sf_readf_short(file_.get(), out, static_cast<sf_count_t>(count)), 0));
        floats_.resize(count * mix_.channels());
        const auto got = static_cast<size_t>(std::max<sf_count_t>(
            sf_readf_float(file_.get(), floats_.data(), static_cast<sf_count_t>(count)), 0));
        if (mix_.channels() <= 2) {
            std::transform(floats_.begin(),
                           floats_.begin() + static_cast<std::ptrdiff_t>(got * mix_.channels()), out,
                           toSixteenBits);
            return got;
        }
        for (std::size_t i = 0; i < got; ++i) mix_.mix(&floats_[i * mix_.channels()], out + 2 * i);
        return got;
    }

    std::unique_ptr<SNDFILE, CloseSound> file_;
    Downmix mix_;
    bool whole_;
    std::int64_t at_ = 0;
    std::vector<float> floats_;
};

bool isMpeg(int format) {
    const int kind = format & SF_FORMAT_SUBMASK;
    return kind >= SF_FORMAT_MPEG_LAYER_I && kind <= SF_FORMAT_MPEG_LAYER_III;
}

// Frames of MPEG audio; by name alone where junk or a tag stands before them.
bool looksLikeMpeg(int file, const char* path) {
    constexpr const char* kNames[] = {"mp3", "mp2"};
    unsigned char head[3] = {};
    if (pread(file, head, sizeof head, 0) != sizeof head) return false;
    const bool isFrame = head[0] == 0xFF && (head[1] & 0xE6) >= 0xE2;
    return isFrame || (hasExtension(path, kNames) && std::memcmp(head, "RIF", 3) != 0);
}

// The first page of an Ogg file begins with Vorbis. Not left to libsndfile, which loses memory on damaged ones.
bool looksLikeVorbis(int file) {
    char head[35] = {};
    constexpr size_t kFirstPacket = 28;
    return pread(file, head, sizeof head, 0) == sizeof head && std::memcmp(head, "OggS", 4) == 0 &&
           std::memcmp(head + kFirstPacket, "\1vorbis", 7) == 0;
}

std::unique_ptr<SoundSource> open(const char* path) {
    // Opened here, because a name like "-" has a meaning of its own to the library.
    const int descriptor = openWithoutWaiting(path, O_RDONLY);
    if (descriptor < 0) return nullptr;
    struct stat status;
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(descriptor);
        return nullptr;
    }
    const bool mpeg = looksLikeMpeg(descriptor, path);
    if (mpeg || looksLikeVorbis(descriptor)) {
        ::close(descriptor);
        return mpeg ? openMpeg(path) : openVorbis(path);
    }
    SF_INFO info{};
    std::unique_ptr<SNDFILE, CloseSound> file(sf_open_fd(descriptor, SFM_READ, &info, SF_TRUE));
    if (!file) return nullptr;                      // the library has closed the descriptor
    if (isMpeg(info.format)) return openMpeg(path); // inside of another container
    if ((info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_VORBIS) return openVorbis(path);
    if (info.channels < 1 || info.samplerate < 1 || !info.seekable) return nullptr;
    info.frames = std::max<sf_count_t>(info.frames, 0);
    return std::make_unique<SndfileSource>(std::move(file), info, status.st_size);
}

constexpr SoundBackEnd kBackEnd = {open};

} // namespace

} // namespace qv::codec

extern "C" __attribute__((visibility("default"))) const void* qvSoundBackEnd() {
    return &qv::codec::kBackEnd;
}
