// What the sound modules are made of: the front half (SoundFront.cpp) is the same for all and links nothing;
// each module adds its facts (kSoundFormat, extensions()) and a back end, which reads files through a codec library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace qv::codec {

// What GetFileInfo and GetFileData answer as the classification.
enum class SoundClass : std::uint32_t { Unknown = 0, Uncompressed = 1, Lossless = 2, Lossy = 3 };

struct SoundFacts {
    std::uint32_t rate = 0;     // samples a second, the file's own; at least 1
    std::uint16_t channels = 0; // delivered: 1 or 2
    std::int64_t samples = 0;   // one for all channels together
    SoundClass kind = SoundClass::Unknown;
    std::uint32_t bitRate = 0; // bits a second in the file
    std::string title;         // as the file's tags say it, in whatever bytes; empty when they do not
};

// An open sound, delivered as 16-bit PCM.
class SoundSource {
public:
    virtual ~SoundSource() = default;
    // Reads up to `count` samples from sample `first` and returns how many there were. A sample is the
    // same whatever was read before, but for the rounding of MPEG audio (one level).
    virtual std::size_t read(std::int64_t first, std::size_t count, std::int16_t* out) = 0;

    SoundFacts facts;
};

struct SoundBackEnd {
    // Null when the file is not one that this back end can read.
    std::unique_ptr<SoundSource> (*open)(const char* path);
};
constexpr const char* kSoundBackEndEntry = "qvSoundBackEnd";

struct SoundFormat {
    const char* backEnd; // file name of the heavy half
    // Whether it may be one of ours, by its first bytes (at most 16) and its name; the back end then decides.
    bool (*mayBeMine)(std::string_view head, const char* path);
};
extern const SoundFormat kSoundFormat;

} // namespace qv::codec
