// Whether a file is a movie, by its first bytes alone: every module is asked about every file, so the codec
// library must not be mapped to answer no.
#pragma once

#include <cstdint>
#include <span>

namespace qv::codec {

constexpr size_t kMovieHeadBytes = 1024; // enough to tell

[[nodiscard]] bool looksLikeMovie(std::span<const std::uint8_t> head);

} // namespace qv::codec
