// One open movie behind a module's exports. A movie module implements this class and openMovie(), and lists
// MovieExports.cpp among its sources: the exports for reading are then there.
#pragma once

#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/plugins/plugin_api.h"

#include <memory>

namespace qv::codec {

// The members answer what plugin_api.h says of the exports of the same name: 0 done. One thread at a time.
class MovieStream {
public:
    virtual ~MovieStream() = default;

    virtual std::uint32_t frames() = 0;
    virtual std::uint32_t samples(bool asHeaderSays) = 0;
    virtual std::uint32_t fourCharacters() = 0;
    virtual void rate(std::uint32_t& rate, std::uint32_t& scale) = 0; // scale is never 0

    // Size of the picture at a reduction of 1, 2, 4 or 8; a width of 0 when there is none.
    struct Size {
        std::int32_t width = 0;
        std::int32_t height = 0;
    };
    virtual Size size(std::uint32_t reduction) = 0;
    // Decodes the frame at a reduction into rows of 24 bits a pixel.
    virtual bool decode(std::int32_t frame, std::uint32_t reduction, std::uint8_t* bits) = 0;

    virtual std::uint32_t param(QVFRAMEREQUEST& request, std::int32_t frame) = 0;
    virtual const void* pictureOfLastParam(std::int32_t frame, void* bits) = 0;
    // Modules without DV data answer 9 as if they lacked the export: the library then encodes a picture.
    virtual std::uint32_t dif(std::int32_t frame, void* dif, void* audio, std::int32_t* audioLength) = 0;
    virtual std::uint32_t audio(std::int32_t first, std::int32_t count, void* buffer,
                                std::int32_t* length) = 0;
    virtual bool audioFormat(WAVEFORMATEX& format) = 0;
    virtual std::uint32_t videoBits() = 0; // a second
    virtual std::uint32_t audioBits() = 0; // a second
};

// Null when the file cannot be opened.
std::unique_ptr<MovieStream> openMovie(const char* path, std::uint32_t mode);

// The header of a picture of 24 bits a pixel.
BITMAPINFOHEADER pictureHeader(MovieStream::Size size);

constexpr size_t pictureBytes(MovieStream::Size size) {
    return (static_cast<size_t>(size.width) * 3 + 3) / 4 * 4 * static_cast<size_t>(size.height);
}

} // namespace qv::codec
