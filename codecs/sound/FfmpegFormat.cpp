#include "codecs/sound/Sound.h"

#include <algorithm>
#include <cstring>

namespace qv::codec {

namespace {

constexpr const char* kExtensions[] = {"wma", "aac", "m4a", "ac3", "mka", "ape", "wv", "amr", "tta"};

constexpr struct {
    size_t at, size;
    const char* bytes;
} kMarks[] = {{0, 4, "\x30\x26\xB2\x75"},
              {4, 4, "ftyp"},
              {0, 4, "MAC "},
              {0, 4, "wvpk"},
              {0, 5, "#!AMR"},
              {0, 4, "TTA1"},
              {0, 4, "\x1A\x45\xDF\xA3"},
              {0, 4, "RIFF"},
              {0, 4, "OggS"},
              {0, 4, "FORM"},
              {0, 3, "ID3"},
              {0, 4, "caff"},
              {0, 2, "\x0B\x77"}};

bool mayBeMine(std::span<const unsigned char> head, const std::string& extension) {
    for (const auto& mark : kMarks) {
        if (head.size() < mark.at + mark.size ||
            std::memcmp(head.data() + mark.at, mark.bytes, mark.size) != 0)
            continue;
        const bool riff = std::memcmp(mark.bytes, "RIFF", 4) == 0;
        return !riff || (head.size() >= 12 && std::memcmp(head.data() + 8, "WAVE", 4) == 0);
    }
    constexpr const char* kByName[] = {"aac", "mp3",
                                       "mp2"}; // frames with no more than a sync mark before them
    return head.size() >= 2 && head[0] == 0xFF && (head[1] & 0xE0) == 0xE0 &&
           std::find(std::begin(kByName), std::end(kByName), extension) != std::end(kByName);
}

} // namespace

const SoundFormat kSoundFormat = {"sound_other.backend.so", kExtensions, mayBeMine};

} // namespace qv::codec
