// One open sound as the library sees it: its length may be set, and it is then cut or goes round.
#pragma once

#include "codecs/sound/Sound.h"

namespace qv::codec {

inline std::uint32_t clamp31(std::int64_t value) {
    return static_cast<std::uint32_t>(value < 0 ? 0 : value > INT32_MAX ? INT32_MAX : value);
}

class SoundStream {
public:
    SoundStream(std::unique_ptr<SoundSource> source, std::string path);

    const SoundFacts& facts() const { return source_->facts; }
    std::int64_t length() const { return length_; } // in samples of its own rate
    // The length in another unit: `perSecond` of them a second.
    std::int64_t scaled(std::uint32_t perSecond) const;
    // Samples at 48000 a second: the sound ends there, or goes round until then. 0 restores its own length;
    // false for less.
    bool setLength(std::int64_t samples);
    std::size_t read(std::int64_t first, std::size_t count, std::int16_t* out);
    // File information by the codes of plugin_api.h; false for others and where there is no room.
    bool tell(std::uint32_t code, void* data) const;

private:
    std::unique_ptr<SoundSource> source_;
    std::string path_;
    std::int64_t length_;
};

} // namespace qv::codec
