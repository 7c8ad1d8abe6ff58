// What tells one picture module from another: a row of facts. Each module defines kPictureFormat.
#pragma once

#include <cstddef>
#include <span>

namespace qv::codec {

struct PictureFormat {
    const char* backEnd;                     // file name of the heavy half
    std::span<const char* const> extensions; // without the dot, lower case
    size_t headBytes;                        // how many bytes `isMine` wants to see, at most 64
    bool (*isMine)(const unsigned char* head, size_t size);
};

extern const PictureFormat kPictureFormat;

} // namespace qv::codec
