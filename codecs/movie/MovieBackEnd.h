// What lies between movie.vcp, which links nothing heavy, and its back end, which links FFmpeg.
#pragma once

#include "codecs/common/MovieStream.h"

namespace qv::codec {

// What Investigate answers beside the code: how the movie is made.
enum MovieAttribute : int {
    kMoviePal = 1,             // 25 frames a second
    kMovieProgramStream = 2,   // MPEG program stream
    kMovieTransportStream = 4, // MPEG transport stream
    kMovieHasSound = 8,
};

struct MovieBackEnd {
    // A movie, to delete by the caller; null when it cannot be read or has no picture.
    MovieStream* (*open)(const char* path, std::uint32_t mode);
    // False when it cannot be read or has no picture.
    bool (*investigate)(const char* path, int& attributes, std::uint32_t& code);
};

constexpr const char* kMovieBackEndFile = "movie.backend.so";
constexpr const char* kMovieBackEndEntry = "qvMovieBackEnd";

} // namespace qv::codec
