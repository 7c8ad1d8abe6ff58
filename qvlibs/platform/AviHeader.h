// The headers and the index of an AVI file: RIFF lists, stream headers and formats, both kinds of index,
// OpenDML segments past 1 GB. Reads what it needs by position and never the frames themselves.
//
// Every number in the file may lie. A size is cut to what holds it, an entry that points outside the file is
// dropped, and a file whose index is missing or does not point at chunks of the stream is walked chunk by
// chunk instead, so a file cut short or left by a killed writer gives everything up to its last whole chunk.
#pragma once

#include "qvlibs/framework/Geometry.h"
#include "qvlibs/framework/MediaHeaders.h"

#include <functional>
#include <optional>
#include <vector>

namespace qv {

// The bytes of a file by position. `read` gives how many bytes it could read: fewer than asked only at the
// end or on failure.
struct AviBytes {
    std::function<size_t(std::uint64_t position, void* buffer, size_t count)> read;
    std::uint64_t size = 0;
};

// Reads an open file with pread, so that a file cut short meanwhile gives short reads and nothing worse. The
// descriptor stays the caller's and must outlive the result. Size 0 when it is no regular file.
AviBytes aviBytesOf(int descriptor);

struct AviStream {
    DWORD type = 0;    // "vids", "auds", "iavs", "txts", ...
    DWORD handler = 0; // codec of a video stream
    DWORD rate = 0;    // units a second = rate / scale; a scale of 0 counts as 1
    DWORD scale = 0;
    DWORD length = 0; // in units; frames for video. As the header says, so maybe 0 or wrong
    DWORD sampleSize = 0;
    RECT frame;                       // where the picture is shown
    std::vector<std::uint8_t> format; // BITMAPINFOHEADER or wave format and what follows; at most 64 KB

    // Where the OpenDML index of this stream lies in the file; 0 when it has none.
    std::uint64_t indexAt = 0;
    std::uint32_t indexSize = 0;
};

struct AviHeader {
    DWORD microsecondsPerFrame = 0;
    DWORD totalFrames = 0; // of the first segment only in an OpenDML file
    DWORD width = 0;
    DWORD height = 0;
    DWORD openDmlFrames = 0; // frames of all segments; 0 when not given
    std::vector<AviStream> streams;

    // The first stream of a type, or -1.
    int find(DWORD type) const;
    // Length of a stream in units: the larger of its header's and, for all but sound, the OpenDML count.
    DWORD length(int stream) const;

    // Where the lists of chunks lie, one for each segment, and the old index; sizes are cut to the file.
    struct Range {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
    };
    std::vector<Range> movi;
    Range oldIndex;
};

// One chunk of a stream. `position` is that of its data, past the 8 bytes of id and size.
struct AviChunk {
    std::uint64_t position = 0;
    std::uint32_t size = 0;
};

// Nothing when this is no AVI file with at least one stream.
[[nodiscard]] std::optional<AviHeader> readAviHeader(const AviBytes& file);

// The chunks of one stream in order, empty ones included (a frame of no bytes repeats the one before it).
// Each lies inside the file.
[[nodiscard]] std::vector<AviChunk> readAviIndex(const AviBytes& file, const AviHeader& header, int stream);

// The same by walking the file, without trusting any index.
[[nodiscard]] std::vector<AviChunk> walkAviChunks(const AviBytes& file, const AviHeader& header, int stream);

// Whether a chunk of that stream and size really lies there.
[[nodiscard]] bool isAviChunk(const AviBytes& file, const AviChunk& chunk, int stream);
// The same on the 8 bytes before a chunk's data.
[[nodiscard]] bool isAviChunkHead(const std::uint8_t* head, const AviChunk& chunk, int stream);

} // namespace qv
