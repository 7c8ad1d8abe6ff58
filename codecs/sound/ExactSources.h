// Kinds of sound that libsndfile reads, but not to the sample: it estimates the length of MPEG audio, and
// after moving in MPEG audio and Vorbis it delivers a few wrong samples. Their own libraries, which stand
// behind it anyway, do better.
#pragma once

#include "codecs/sound/Sound.h"

namespace qv::codec {

// MP3 and its older layers. Null when the file holds none.
std::unique_ptr<SoundSource> openMpeg(const char* path);
// Ogg Vorbis. Null when the file holds none.
std::unique_ptr<SoundSource> openVorbis(const char* path);

} // namespace qv::codec
