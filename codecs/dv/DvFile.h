// A DV movie file: raw DIF frames one after the other (.dv, .dif), or an AVI with DV frames as its video
// stream (type 2) or as one stream of picture and sound (type 1), of any size.
//
// Frames are read when they are asked for. The file may shrink or vanish meanwhile: what is gone is then a
// failed read. One thread at a time.
#pragma once

#include "codecs/dv/DvSound.h"
#include "qvlibs/platform/AviHeader.h"

#include <memory>
#include <vector>

namespace qv {

enum class DvContainer : int { Raw, AviType1, AviType2 };

// What a file is by its first bytes and headers, without its index; nothing when it is no DV movie.
[[nodiscard]] std::optional<DvContainer> sniffDvFile(const char* path);

class DvFile {
public:
    // Null when it is no DV movie or has no whole frame.
    static std::unique_ptr<DvFile> open(const char* path);
    ~DvFile();
    DvFile(const DvFile&) = delete;
    DvFile& operator=(const DvFile&) = delete;

    DvContainer container() const { return container_; }
    bool isPal() const { return pal_; }
    std::uint32_t frames() const { return count_; }
    DWORD handler() const { return handler_; } // as the file says; "dvsd" for raw ones
    DWORD rate() const { return rate_; }       // frames a second = rate / scale
    DWORD scale() const { return scale_; }

    // The frame's dvFrameSize(isPal()) bytes, good until the next call; null when it cannot be read. A frame
    // that the file leaves empty is the one before it.
    const std::uint8_t* frame(std::uint32_t number);

    // The sound stream of a type 2 file where it is plain PCM, else null.
    const WAVEFORMATEX* sound() const { return soundBlocks_.empty() ? nullptr : &sound_; }
    std::uint64_t soundBytes() const { return soundBytes_; }
    DWORD soundLength() const { return soundLength_; } // as the stream's header gives it
    // Reads from a place in the stream; how many bytes were there.
    size_t readSound(std::uint64_t position, void* buffer, size_t count);

private:
    explicit DvFile(int descriptor);
    bool openAvi(const AviHeader& header);
    bool openRaw();
    void openSound(const AviHeader& header);
    bool learnSystem();
    AviChunk chunk(std::uint32_t number) const;

    int descriptor_;
    AviBytes bytes_;
    DvContainer container_ = DvContainer::Raw;
    bool pal_ = false;
    DWORD handler_ = makeFourCC('d', 'v', 's', 'd');
    DWORD rate_ = 0;
    DWORD scale_ = 0;
    int stream_ = 0;
    std::uint32_t count_ = 0;
    std::vector<AviChunk> frames_;     // of an AVI
    std::vector<std::uint8_t> buffer_; // the 8 bytes before a frame, and the frame
    std::int64_t buffered_ = -1;       // its number
    struct SoundBlock {
        std::uint64_t begin; // in the stream
        AviChunk chunk;
    };
    std::vector<SoundBlock> soundBlocks_;
    int soundStream_ = -1;
    std::uint64_t soundBytes_ = 0;
    DWORD soundLength_ = 0;
    WAVEFORMATEX sound_{};
};

} // namespace qv
