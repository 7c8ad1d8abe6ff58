#include "codecs/sound/ExactSources.h"
#include "qvlibs/framework/OpenWithoutWaiting.h"

#include <fcntl.h>
#include <mpg123.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace qv::codec {

namespace {

// Frames that are decoded before a place, so that what earlier frames left behind is all there: up to 511
// bytes of them can belong to it, and the smallest frames have 24.
constexpr long kFramesBefore = 24;
constexpr long kJunk = 65536; // bytes that may lie before the first frame

struct FreeDecoder {
    void operator()(mpg123_handle* decoder) const { mpg123_delete(decoder); }
};

std::string titleOf(mpg123_handle* decoder) {
    mpg123_id3v1* old = nullptr;
    mpg123_id3v2* tags = nullptr;
    if (mpg123_id3(decoder, &old, &tags) != MPG123_OK) return {};
    if (tags && tags->title && tags->title->p && *tags->title->p) return tags->title->p;
    if (old) return {old->title, strnlen(old->title, sizeof old->title)};
    return {};
}

class MpegSource final : public SoundSource {
public:
    explicit MpegSource(int file) : file_(file), decoder_(mpg123_new(nullptr, nullptr)) {}
    ~MpegSource() override {
        decoder_.reset();
        close(file_);
    }
    MpegSource(const MpegSource&) = delete;
    MpegSource& operator=(const MpegSource&) = delete;

    bool start(std::int64_t bytes) {
        mpg123_handle* d = decoder_.get();
        if (!d) return false;
        mpg123_param(d, MPG123_ADD_FLAGS, MPG123_QUIET, 0);
        mpg123_param(d, MPG123_PREFRAMES, kFramesBefore, 0);
        mpg123_param(d, MPG123_RESYNC_LIMIT, kJunk, 0);
        long rate = 0;
        int channels = 0, encoding = 0;
        if (mpg123_open_fd(d, file_) != MPG123_OK ||
            mpg123_getformat(d, &rate, &channels, &encoding) != MPG123_OK)
            return false;
        const int layout = channels == 1 ? MPG123_MONO : MPG123_STEREO;
        if (mpg123_format_none(d) != MPG123_OK ||
            mpg123_format(d, rate, layout, MPG123_ENC_SIGNED_16) != MPG123_OK)
            return false;
        if (rate < 1 || mpg123_scan(d) != MPG123_OK) return false;
        facts.rate = static_cast<std::uint32_t>(rate);
        facts.channels = channels == 1 ? 1 : 2;
        facts.samples = std::max<std::int64_t>(mpg123_length(d), 0);
        facts.kind = SoundClass::Lossy;
        facts.title = titleOf(d);
        if (facts.samples > 0)
            facts.bitRate = static_cast<std::uint32_t>(
                std::min(8.0 * static_cast<double>(bytes) * rate / static_cast<double>(facts.samples), 4e9));
        return true;
    }

    std::size_t read(std::int64_t first, std::size_t count, std::int16_t* out) override {
        if (first != at_) at_ = mpg123_seek(decoder_.get(), first, SEEK_SET);
        if (first != at_) return 0;
        const std::size_t block = sizeof *out * facts.channels;
        std::size_t done = 0; // bytes
        while (done < count * block) {
            std::size_t got = 0;
            const int status = mpg123_read(decoder_.get(), reinterpret_cast<unsigned char*>(out) + done,
                                           count * block - done, &got);
            done += got;
            if (status != MPG123_OK && status != MPG123_NEW_FORMAT) break;
            if (status == MPG123_NEW_FORMAT && !stillTheSame()) break;
        }
        at_ += static_cast<std::int64_t>(done / block);
        return done / block;
    }

private:
    // The first frame is announced as a new form, too.
    bool stillTheSame() {
        long rate = 0;
        int channels = 0, encoding = 0;
        return mpg123_getformat(decoder_.get(), &rate, &channels, &encoding) == MPG123_OK &&
               rate == static_cast<long>(facts.rate) && channels == facts.channels &&
               encoding == MPG123_ENC_SIGNED_16;
    }

    int file_;
    std::unique_ptr<mpg123_handle, FreeDecoder> decoder_;
    std::int64_t at_ = 0;
};

} // namespace

std::unique_ptr<SoundSource> openMpeg(const char* path) {
    const int file = openWithoutWaiting(path, O_RDONLY);
    if (file < 0) return nullptr;
    auto source = std::make_unique<MpegSource>(file);
    struct stat status;
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || !source->start(status.st_size))
        return nullptr;
    return source;
}

} // namespace qv::codec
