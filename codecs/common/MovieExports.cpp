// The exports for reading movies, on top of MovieStream.
#include "codecs/common/MovieStream.h"
#include "codecs/common/Tickets.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

using namespace qv::codec;

struct OpenMovie {
    std::unique_ptr<MovieStream> movie;
    std::vector<std::uint8_t> packed; // what GetVideo lends: a header and the rows
};

// Ready when the module is loaded and gone when it is unloaded.
constinit qv::Tickets<OpenMovie> streams;

template <class Action>
uint32_t withMovie(QVSTREAM stream, Action action) {
    return streams.with(stream, uint32_t{QV_PLUGIN_FAILED},
                        [&](OpenMovie& open) { return action(*open.movie); });
}

uint32_t statusOf(bool done) { return done ? QV_PLUGIN_OK : QV_PLUGIN_FAILED; }

// The low half of the flags is a reduction; 0 and 1 mean full size, 3 is half as for the DV decoder.
std::uint32_t reductionIn(std::uint32_t flags) {
    const std::uint32_t wanted = flags & 15;
    if (wanted == 0) return 1;
    return wanted == 3 ? 2 : wanted;
}

} // namespace

namespace qv::codec {

BITMAPINFOHEADER pictureHeader(MovieStream::Size size) {
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = size.width;
    header.biHeight = size.height;
    header.biPlanes = 1;
    header.biBitCount = 24;
    header.biSizeImage = static_cast<DWORD>(pictureBytes(size));
    return header;
}

} // namespace qv::codec

#define QV_MOVIE_EXPORT extern "C" QV_PLUGIN_EXPORT

QV_MOVIE_EXPORT QVSTREAM OpenR(const char* path, uint32_t mode) {
    return qv::guarded(0u, [=] {
        auto movie = path ? openMovie(path, mode) : nullptr;
        if (!movie) return 0u;
        return streams.add(std::make_shared<OpenMovie>(OpenMovie{std::move(movie), {}}));
    });
}

QV_MOVIE_EXPORT uint32_t CloseR(QVSTREAM stream) { return statusOf(streams.remove(stream) != nullptr); }

QV_MOVIE_EXPORT uint32_t GetTotalFrames(QVSTREAM stream) {
    return streams.with(stream, 0u, [](OpenMovie& open) { return open.movie->frames(); });
}

QV_MOVIE_EXPORT uint32_t GetMiliseconds(QVSTREAM stream) {
    return streams.with(stream, 0u, [](OpenMovie& open) {
        std::uint32_t rate = 0;
        std::uint32_t scale = 1;
        open.movie->rate(rate, scale);
        if (rate == 0) return 0u;
        const double seconds = static_cast<double>(open.movie->frames()) * scale / rate;
        return static_cast<std::uint32_t>(std::min(seconds * 1000, 4294967295.0));
    });
}

QV_MOVIE_EXPORT uint32_t GetTotalSamples(QVSTREAM stream, int vfw) {
    return streams.with(stream, 0u, [=](OpenMovie& open) { return open.movie->samples(vfw != 0); });
}

QV_MOVIE_EXPORT const void* GetVideo(QVSTREAM stream, int32_t frame, uint32_t flags) {
    return streams.with(stream, static_cast<const void*>(nullptr), [=](OpenMovie& open) -> const void* {
        const std::uint32_t reduction = reductionIn(flags);
        const auto size = open.movie->size(reduction);
        if (size.width <= 0) return nullptr;
        const BITMAPINFOHEADER header = pictureHeader(size);
        open.packed.resize(sizeof header + pictureBytes(size));
        std::memcpy(open.packed.data(), &header, sizeof header);
        const bool done = open.movie->decode(frame, reduction, open.packed.data() + sizeof header);
        return done ? open.packed.data() : nullptr;
    });
}

QV_MOVIE_EXPORT uint32_t GetVideoEx(QVSTREAM stream, int32_t frame, void* bits, uint32_t flags) {
    return withMovie(stream, [=](MovieStream& movie) {
        const std::uint32_t reduction = reductionIn(flags);
        return statusOf(bits && movie.size(reduction).width > 0 &&
                        movie.decode(frame, reduction, static_cast<std::uint8_t*>(bits)));
    });
}

QV_MOVIE_EXPORT uint32_t GetVideoParam(QVSTREAM stream, QVFRAMEREQUEST* request, int32_t frame) {
    return withMovie(stream, [=](MovieStream& movie) {
        return request ? movie.param(*request, frame) : uint32_t{QV_PLUGIN_FAILED};
    });
}

QV_MOVIE_EXPORT const void* GetDIBfromLastParam(QVSTREAM stream, QVFRAMEREQUEST* /*request*/, int32_t frame,
                                                void* bits) {
    return streams.with(stream, static_cast<const void*>(nullptr),
                        [=](OpenMovie& open) { return open.movie->pictureOfLastParam(frame, bits); });
}

QV_MOVIE_EXPORT uint32_t GetDif(QVSTREAM stream, int32_t frame, void* dif, int32_t /*reserved*/, void* audio,
                                int32_t* audioLength) {
    return withMovie(stream, [=](MovieStream& movie) {
        return dif ? movie.dif(frame, dif, audio, audioLength) : uint32_t{QV_PLUGIN_FAILED};
    });
}

QV_MOVIE_EXPORT uint32_t GetAudio(QVSTREAM stream, int32_t first, int32_t count, void* buffer,
                                  int32_t* length) {
    return withMovie(stream, [=](MovieStream& movie) {
        if (!buffer || !length || first < 0 || count < 0) return uint32_t{QV_PLUGIN_FAILED};
        return movie.audio(first, count, buffer, length);
    });
}

QV_MOVIE_EXPORT uint32_t GetFccHeader(QVSTREAM stream, uint32_t* code) {
    return withMovie(stream, [=](MovieStream& movie) {
        if (code) *code = movie.fourCharacters();
        return statusOf(code);
    });
}

QV_MOVIE_EXPORT uint32_t GetVideoRate(QVSTREAM stream, uint32_t* rate, uint32_t* scale) {
    return withMovie(stream, [=](MovieStream& movie) {
        if (rate && scale) movie.rate(*rate, *scale);
        return statusOf(rate && scale);
    });
}

QV_MOVIE_EXPORT uint32_t GetAudioFormat(QVSTREAM stream, void* waveFormat) {
    return withMovie(stream, [=](MovieStream& movie) {
        WAVEFORMATEX format{};
        const bool known = waveFormat && movie.audioFormat(format);
        if (known) std::memcpy(waveFormat, &format, sizeof format);
        return statusOf(known);
    });
}

QV_MOVIE_EXPORT uint32_t GetVideoFormat(QVSTREAM stream, void* bitmapHeader) {
    return withMovie(stream, [=](MovieStream& movie) {
        const BITMAPINFOHEADER header = pictureHeader(movie.size(1));
        if (bitmapHeader) std::memcpy(bitmapHeader, &header, sizeof header);
        return statusOf(bitmapHeader);
    });
}

QV_MOVIE_EXPORT uint32_t GetVideoCompressionRate(QVSTREAM stream) {
    return streams.with(stream, 0u, [](OpenMovie& open) { return open.movie->videoBits(); });
}

QV_MOVIE_EXPORT uint32_t GetAudioCompressionRate(QVSTREAM stream) {
    return streams.with(stream, 0u, [](OpenMovie& open) { return open.movie->audioBits(); });
}

QV_MOVIE_EXPORT uint32_t GetVideoAverageRate(QVSTREAM stream) {
    return streams.with(stream, 0u, [](OpenMovie& open) { return open.movie->videoBits() / 1000; });
}
