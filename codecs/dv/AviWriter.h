// Writes an AVI with one video stream and, if wanted, one stream of PCM sound: an old index for readers that
// know no other, and OpenDML segments with their own indexes beyond 1 GB.
//
// The file can be opened at any moment: until a segment is finished its sizes say "to the end", so what a
// killed writer leaves, or a full disk, ends with its last whole frame.
#pragma once

#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/util/Bytes.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace qv {

struct AviFormat {
    DWORD handler = 0; // four-character code of the frames
    LONG width = 0;
    LONG height = 0;
    DWORD rate = 0; // frames a second = rate / scale
    DWORD scale = 1;
    DWORD frameBytes = 0; // of the largest frame
    std::optional<WAVEFORMATEX> sound;
    std::uint64_t segmentLimit = 1000u << 20; // bytes of a segment; at most 2^31
};

class AviWriter {
public:
    // Makes the file, in place of one of that name. Null when it cannot be made.
    static std::unique_ptr<AviWriter> create(const char* path, const AviFormat& format);
    ~AviWriter(); // closes
    AviWriter(const AviWriter&) = delete;
    AviWriter& operator=(const AviWriter&) = delete;

    // Appends a frame and the sound that goes with it. False when the disk is full or the file at its limit:
    // the file then ends with the frame before, and takes no more.
    [[nodiscard]] bool add(std::span<const std::uint8_t> frame, std::span<const std::uint8_t> sound);

    // Finishes headers and indexes; a file without frames is removed. False when anything failed on the way.
    [[nodiscard]] bool close();

private:
    struct Entry {
        std::uint32_t offset; // of the data, from the segment's start
        std::uint32_t size;
    };
    struct SuperEntry {
        std::uint64_t position;
        std::uint32_t size;
        std::uint32_t duration;
    };
    // What is known of a stream; the first is the video.
    struct Track {
        const char* chunkId;
        const char* indexId;
        std::vector<Entry> entries{};       // of this segment
        std::vector<SuperEntry> finished{}; // indexes of the segments before
        std::uint64_t length = 0;           // frames, or bytes of sound
        std::uint64_t lengthBefore = 0;     // at the start of this segment
    };

    AviWriter(int descriptor, const char* path, const AviFormat& format);
    bool append(const void* bytes, size_t count);
    bool patch(std::uint64_t position, const void* bytes, size_t count);
    bool patchSize(std::uint64_t listAt);
    void cutTo(std::uint64_t end);
    std::vector<std::uint8_t> header() const;
    void putStream(ByteWriter& out, size_t track) const;
    bool beginSegment();
    bool endSegment();
    bool putIndexes();
    bool putOldIndex();
    bool isFull(size_t bytes) const;

    int descriptor_;
    std::string path_;
    AviFormat format_;
    std::vector<Track> tracks_;
    std::uint64_t end_ = 0;         // of what is written
    std::uint64_t segmentAt_ = 0;   // the RIFF list
    std::uint64_t moviAt_ = 0;      // the movi list
    std::uint32_t firstFrames_ = 0; // frames of the first segment
    std::uint32_t firstSize_ = 0;   // of its list; 0 until it is finished
    bool isOpen_ = false;           // the segment has begun and not ended
    bool failed_ = false;
};

} // namespace qv
