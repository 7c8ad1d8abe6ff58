#include "codecs/sound/Sound.h"

#include <cstring>

namespace qv::codec {

namespace {

constexpr const char* kExtensions[] = {"wav",  "mp3",  "mp2", "flac", "ogg", "oga", "opus", "aif",
                                       "aiff", "aifc", "au",  "snd",  "caf", "w64", "rf64", "mbm"};

constexpr struct {
    size_t at;
    const char* bytes;
} kMarks[] = {{0, "RIFF"}, {0, "RIFX"}, {0, "RF64"}, {0, "FORM"}, {0, "fLaC"}, {0, "OggS"},
              {0, "ID3"},  {0, ".snd"}, {0, "dns."}, {0, "caff"}, {0, "riff"}};

bool mayBeMine(std::span<const unsigned char> head, const std::string& extension) {
    for (const auto& mark : kMarks) {
        const size_t size = std::strlen(mark.bytes);
        if (head.size() < mark.at + size || std::memcmp(head.data() + mark.at, mark.bytes, size) != 0)
            continue;
        // Other things than sounds lie in such files too.
        const bool riff = std::memcmp(mark.bytes, "RIF", 3) == 0;
        return !riff || (head.size() >= 12 && std::memcmp(head.data() + 8, "WAVE", 4) == 0);
    }
    // Frames of MPEG audio start with a few set bits, and junk may lie before them: only the name tells.
    return extension == "mp3" || extension == "mp2";
}

} // namespace

const SoundFormat kSoundFormat = {"sound.backend.so", kExtensions, mayBeMine};

} // namespace qv::codec
