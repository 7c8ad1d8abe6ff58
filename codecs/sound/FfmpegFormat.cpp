#include "codecs/common/Extensions.h"
#include "codecs/common/FileHead.h"
#include "codecs/sound/Sound.h"

namespace qv::codec {

namespace {

constexpr const char* kExtensions[] = {"wma", "aac", "m4a", "ac3", "mka", "ape", "wv", "amr", "tta"};

constexpr FileMark kMarks[] = {
    {0, "\x30\x26\xB2\x75"}, {4, "ftyp"}, {0, "MAC "}, {0, "wvpk"}, {0, "#!AMR"}, {0, "TTA1"},    {8, "WAVE"},
    {0, "\x1A\x45\xDF\xA3"}, {0, "OggS"}, {0, "FORM"}, {0, "ID3"},  {0, "caff"},  {0, "\x0B\x77"}};

// Frames with no more than a sync mark before them.
constexpr const char* kByName[] = {"aac", "mp3", "mp2"};

bool mayBeMine(std::string_view head, const char* path) {
    const bool isSync = head.size() >= 2 && head[0] == '\xFF' && (head[1] & 0xE0) == 0xE0;
    return hasMark(head, kMarks) || (isSync && hasExtension(path, kByName));
}

} // namespace

const SoundFormat kSoundFormat = {"sound_other.backend.so", mayBeMine};

std::span<const char* const> extensions() { return kExtensions; }

} // namespace qv::codec
