#include "codecs/common/Extensions.h"
#include "codecs/common/FileHead.h"
#include "codecs/sound/Sound.h"

namespace qv::codec {

namespace {

constexpr const char* kExtensions[] = {"wav",  "mp3",  "mp2", "flac", "ogg", "oga", "opus", "aif",
                                       "aiff", "aifc", "au",  "snd",  "caf", "w64", "rf64", "mbm"};

constexpr FileMark kMarks[] = {{8, "WAVE"}, {0, "FORM"}, {0, "fLaC"}, {0, "OggS"}, {0, "ID3"},
                               {0, ".snd"}, {0, "dns."}, {0, "caff"}, {0, "riff"}};

// Frames of MPEG audio start with a few set bits, and junk may lie before them: only the name tells.
constexpr const char* kByName[] = {"mp3", "mp2"};

bool mayBeMine(std::string_view head, const char* path) {
    return hasMark(head, kMarks) || hasExtension(path, kByName);
}

} // namespace

const SoundFormat kSoundFormat = {"sound.backend.so", mayBeMine};

std::span<const char* const> extensions() { return kExtensions; }

} // namespace qv::codec
