// movie.vcp: every movie but DV, through FFmpeg, which is mapped when the first movie is opened.
//
// Investigate answers "MPG1" and "MPG2" for MPEG video, else the code of the video stream, and the attributes
// of MovieBackEnd.h.
#include "codecs/common/BackEnd.h"
#include "codecs/common/Extensions.h"
#include "codecs/common/FileHead.h"
#include "codecs/common/Tickets.h"
#include "codecs/movie/MovieBackEnd.h"
#include "codecs/movie/MovieKind.h"

#include <array>

namespace {

using namespace qv::codec;

constexpr const char* kExtensions[] = {"mpg",  "mpeg", "m2p", "vob", "m1v", "m2v", "ts",  "m2t", "mts",
                                       "m2ts", "asf",  "wmv", "avi", "mov", "mp4", "m4v", "mkv"};

bool isMovie(const char* path) {
    std::array<std::uint8_t, kMovieHeadBytes> head;
    const ssize_t got = readHead(path, head.data(), head.size());
    return got > 0 && looksLikeMovie({head.data(), static_cast<size_t>(got)});
}

const MovieBackEnd* backEnd() {
    static const auto* const table =
        static_cast<const MovieBackEnd*>(openBackEnd(kMovieBackEndFile, kMovieBackEndEntry));
    return table;
}

} // namespace

namespace qv::codec {

std::span<const char* const> extensions() { return kExtensions; }

std::unique_ptr<MovieStream> openMovie(const char* path, std::uint32_t mode) {
    if (!isMovie(path) || !backEnd()) return nullptr;
    return std::unique_ptr<MovieStream>(backEnd()->open(path, mode));
}

} // namespace qv::codec

extern "C" {

QV_PLUGIN_EXPORT uint32_t IsSupported(const char* path, int* supported) {
    if (isMovie(path)) *supported = 1;
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT uint32_t Investigate(const char* path, int* attributes, uint32_t* type) {
    if (type) *type = 0;
    return qv::guarded(uint32_t{QV_PLUGIN_FAILED}, [=]() -> uint32_t {
        int found = 0;
        uint32_t code = 0;
        if (!isMovie(path) || !backEnd() || !backEnd()->investigate(path, found, code))
            return QV_PLUGIN_FAILED;
        if (attributes) *attributes = found;
        if (type) *type = code;
        return QV_PLUGIN_OK;
    });
}

} // extern "C"
