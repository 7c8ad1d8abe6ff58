// The half of movie.vcp that links FFmpeg.
#include "codecs/movie/MovieBackEnd.h"

#include "codecs/movie/DvPackets.h"
#include "codecs/movie/FramePainter.h"
#include "codecs/movie/FrameReader.h"
#include "codecs/movie/SoundReader.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <string>
#include <sys/stat.h>

namespace qv::codec {
namespace {

constexpr std::uint32_t kReductions[] = {8, 4, 2, 1};
// Frames of larger files are estimated from the length unless somebody walked there: reading gigabytes to
// count them takes too long.
constexpr std::int64_t kCountedBytes = std::int64_t{256} << 20;
constexpr std::int64_t kMostPixels = std::int64_t{1} << 28;

DWORD codeOf(const AVCodecParameters& codec) {
    if (codec.codec_id == AV_CODEC_ID_MPEG2VIDEO) return makeFourCC('M', 'P', 'G', '2');
    if (codec.codec_id == AV_CODEC_ID_MPEG1VIDEO) return makeFourCC('M', 'P', 'G', '1');
    const auto isText = [&](int shift) {
        return std::isprint(static_cast<int>(codec.codec_tag >> shift & 0xFF));
    };
    if (isText(0) && isText(8) && isText(16) && isText(24)) return codec.codec_tag;
    std::string name = avcodec_get_name(codec.codec_id);
    name.resize(4, ' ');
    for (char& letter : name) letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
    return makeFourCC(name[0], name[1], name[2], name[3]);
}

AVRational rateOf(const MediaInput& input) {
    const AVRational rate = av_guess_frame_rate(input.format(), input.stream(), nullptr);
    return rate.num > 0 && rate.den > 0 ? rate : AVRational{25, 1};
}

class FfmpegMovie : public MovieStream {
public:
    FfmpegMovie(std::string path, std::unique_ptr<MediaInput> opened)
        : path_(std::move(path)), shape_(shapeOf(*opened)), painter_(shape_), index_(path_),
          rate_(rateOf(*opened)), timeBase_(opened->stream()->time_base),
          code_(codeOf(*opened->stream()->codecpar)),
          isDv_(opened->stream()->codecpar->codec_id == AV_CODEC_ID_DVVIDEO), dvPackets_(path_, index_),
          hasSound_(opened->hasStreamOf(AVMEDIA_TYPE_AUDIO)), bits_(opened->stream()->codecpar->bit_rate) {
        struct stat status {};
        if (stat(path_.c_str(), &status) == 0) bytes_ = status.st_size;
        const std::int64_t duration = opened->format()->duration;
        seconds_ = duration > 0 ? static_cast<double>(duration) / AV_TIME_BASE : 0;
        if (bits_ <= 0 && seconds_ > 0)
            bits_ = static_cast<std::int64_t>(static_cast<double>(bytes_) * 8 / seconds_);
        reader_.emplace(path_, index_, std::move(opened));
    }

    bool hasPicture() const {
        return shape_.size.width > 0 && std::int64_t{shape_.size.width} * shape_.size.height <= kMostPixels;
    }

    std::uint32_t frames() override {
        if (frames_ == 0) frames_ = bytes_ > kCountedBytes && seconds_ > 0 ? estimate() : index_.count();
        return frames_;
    }
    std::uint32_t fourCharacters() override { return code_; }
    void rate(std::uint32_t& rate, std::uint32_t& scale) override {
        rate = static_cast<std::uint32_t>(rate_.num);
        scale = static_cast<std::uint32_t>(rate_.den);
    }

    Size size(std::uint32_t reduction) override {
        const bool known =
            std::find(std::begin(kReductions), std::end(kReductions), reduction) != std::end(kReductions);
        return known ? painter_.size(reduction) : Size{};
    }

    bool decode(std::int32_t frame, std::uint32_t reduction, std::uint8_t* bits) override {
        const AVFrame* decoded = frame < 0 ? nullptr : reader_->frame(static_cast<std::uint32_t>(frame));
        return decoded && painter_.paint(*decoded, reduction, bits);
    }

    // As for DV: the smallest size that is not smaller than what is wanted.
    std::uint32_t param(QVFRAMEREQUEST& request, std::int32_t frame) override {
        request.dibType = shape_.dibType;
        request.streamParameter = 0;
        promised_ = 1;
        if (request.version == 0)
            return frame < 0 ? QV_PLUGIN_FAILED : QV_PLUGIN_OK; // only the type is asked for
        const AVFrame* decoded = frame < 0 ? nullptr : reader_->frame(static_cast<std::uint32_t>(frame));
        if (!decoded) return QV_PLUGIN_FAILED;
        const bool keepFields = request.flags & QV_FRAME_INTERLACED;
        for (const std::uint32_t reduction : kReductions) {
            const Size offered = painter_.size(reduction);
            if (keepFields || offered.width < request.width || offered.height < request.height) continue;
            promised_ = reduction;
            break;
        }
        const Size size = painter_.size(promised_);
        request.width = request.displayCx = size.width;
        request.height = request.displayCy = size.height;
        request.bitCount = 24;
        request.flags &= ~static_cast<std::uint32_t>(QV_FRAME_INTERLACED);
        if (promised_ == 1 && painter_.keepsFields(*decoded)) request.flags |= QV_FRAME_INTERLACED;
        request.streamValue = request.streamValue2 = 0;
        return QV_PLUGIN_OK;
    }

    const void* pictureOfLastParam(std::int32_t frame, void* bits) override {
        if (!bits) {
            picture_.resize(pictureBytes(painter_.size(promised_)));
            bits = picture_.data();
        }
        return decode(frame, promised_, static_cast<std::uint8_t*>(bits)) ? bits : nullptr;
    }

    // Pictures that are DV are handed out as they are. 9 for all others, on purpose: the library then encodes them.
    std::uint32_t dif(std::int32_t frame, void* dif, void* audio, std::int32_t* audioLength) override {
        if (!isDv_) return QV_PLUGIN_NO_EXPORT;
        if (frame < 0) return QV_PLUGIN_FAILED;
        const auto result = dvPackets_.read(static_cast<std::uint32_t>(frame), dif);
        if (result != DvPackets::Result::Done)
            return result == DvPackets::Result::NoFrame ? QV_PLUGIN_FAILED : QV_PLUGIN_NO_EXPORT;
        if (!audio || !audioLength) return QV_PLUGIN_OK;
        if (!sound()) { // silent movies have data all the same
            *audioLength = 0;
            return QV_PLUGIN_OK;
        }
        return this->audio(frame, 1, audio, audioLength);
    }

    bool audioFormat(WAVEFORMATEX& format) override {
        if (!sound()) return false;
        format = sound()->format();
        return true;
    }
    std::uint32_t samples(bool /*asHeaderSays*/) override {
        return sound() ? static_cast<std::uint32_t>(std::min<std::uint64_t>(sound()->samples(), UINT32_MAX))
                       : 0;
    }
    std::uint32_t audio(std::int32_t first, std::int32_t count, void* buffer, std::int32_t* length) override {
        if (!sound() || *length < 0) return QV_PLUGIN_FAILED;
        const std::uint64_t from = sampleAt(static_cast<std::uint64_t>(first));
        const std::uint64_t to =
            sampleAt(static_cast<std::uint64_t>(first) + static_cast<std::uint64_t>(count));
        const size_t align = sound()->format().nBlockAlign;
        const size_t room = (*length == 0 ? INT32_MAX : static_cast<size_t>(*length)) / align;
        const auto samples = static_cast<size_t>(std::min<std::uint64_t>(to - from, room));
        sound()->read(from, samples, static_cast<std::uint8_t*>(buffer));
        *length = static_cast<std::int32_t>(samples * align);
        return QV_PLUGIN_OK;
    }

    std::uint32_t videoBits() override {
        return static_cast<std::uint32_t>(std::clamp<std::int64_t>(bits_, 0, UINT32_MAX));
    }
    std::uint32_t audioBits() override { return sound() ? sound()->bits() : 0; }

private:
    std::uint32_t estimate() const {
        return static_cast<std::uint32_t>(std::llround(std::min(seconds_ * av_q2d(rate_), 2e9)));
    }
    std::uint64_t sampleAt(std::uint64_t frame) {
        const double seconds = static_cast<double>(frame) * rate_.den / rate_.num;
        return static_cast<std::uint64_t>(std::floor(seconds * sound()->format().nSamplesPerSec + 1e-6));
    }
    // Opened when sound is asked for the first time.
    SoundReader* sound() {
        if (hasSound_ && !sound_) {
            const auto first = index_.find(0);
            sound_ =
                SoundReader::open(path_, first ? static_cast<double>(first->time) * av_q2d(timeBase_) : 0);
            hasSound_ = sound_ != nullptr;
        }
        return sound_.get();
    }

    std::string path_;
    FrameShape shape_;
    FramePainter painter_;
    FrameIndex index_;
    std::optional<FrameReader> reader_;
    AVRational rate_;
    AVRational timeBase_;
    std::uint32_t code_;
    bool isDv_;
    DvPackets dvPackets_;
    bool hasSound_;
    std::int64_t bits_;
    std::int64_t bytes_ = 0;
    double seconds_ = 0;
    std::uint32_t frames_ = 0;
    std::uint32_t promised_ = 1;
    std::vector<std::uint8_t> picture_;
    std::unique_ptr<SoundReader> sound_;
};

MovieStream* open(const char* path, std::uint32_t /*mode*/) {
    auto input = openMovieInput(path, AVMEDIA_TYPE_VIDEO);
    if (!input) return nullptr;
    auto movie = std::make_unique<FfmpegMovie>(path, std::move(input));
    return movie->hasPicture() ? movie.release() : nullptr;
}

bool investigate(const char* path, int& attributes, std::uint32_t& code) {
    const auto input = openMovieInput(path, AVMEDIA_TYPE_VIDEO);
    if (!input) return false;
    const AVRational rate = rateOf(*input);
    const char* kind = input->format()->iformat->name;
    attributes = rate.num == 25 * rate.den ? kMoviePal : 0;
    if (std::strcmp(kind, "mpeg") == 0) attributes |= kMovieProgramStream;
    if (std::strcmp(kind, "mpegts") == 0) attributes |= kMovieTransportStream;
    if (input->hasStreamOf(AVMEDIA_TYPE_AUDIO)) attributes |= kMovieHasSound;
    code = codeOf(*input->stream()->codecpar);
    return true;
}

constexpr MovieBackEnd kBackEnd = {open, investigate};

} // namespace
} // namespace qv::codec

extern "C" QV_PLUGIN_EXPORT const void* qvMovieBackEnd() { return &qv::codec::kBackEnd; }
