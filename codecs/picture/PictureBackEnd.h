// What a picture module's back end does. The front half exports the plug-in functions and passes them on
// here.
#pragma once

#include "qvlibs/plugins/plugin_api.h"

namespace qv::codec {

// How large the caller wants the picture at least, so that a codec with a cheap reduced decode may use it.
// The picture then comes at its full size or at a size that is not below this in either direction. {0, 0}:
// full size.
struct WantedSize {
    int32_t width = 0;
    int32_t height = 0;
};

struct PictureBackEnd {
    // A memory block with a packed 24-bit DIB, or null. A picture that is cut short is a failure.
    void* (*decode)(const char* path, WantedSize wanted);
    uint32_t (*info)(const char* path, QVPICTUREINFO* info);
    // The options' meaning is the format's own; 0 is always the usual one.
    uint32_t (*encode)(void* picture, const char* path, int32_t option1, int32_t option2);
};

constexpr const char* kPictureBackEndEntry = "qvPictureBackEnd";

} // namespace qv::codec
