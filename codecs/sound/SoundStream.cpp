#include "codecs/sound/SoundStream.h"

#include "codecs/common/Text.h"
#include "qvlibs/plugins/plugin_api.h"

#include <algorithm>
#include <string_view>

namespace qv::codec {

namespace {

constexpr std::int64_t kLengthRate = 48000;    // of lengths that are said apart from a file
constexpr std::int64_t kMinimum = kLengthRate; // one second: below it a piece is a noise

// A tag as a name: control characters become blanks, and blanks at the ends are left out.
std::string readable(std::string_view tag) {
    std::string text = toUtf8(tag);
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
    }
    const auto first = text.find_first_not_of(' ');
    return first == std::string::npos ? std::string()
                                      : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string nameOf(const std::string& path) {
    std::string name = path.substr(path.rfind('/') + 1);
    const auto dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

void copyName(const std::string& name, char* out) {
    const auto text = cutUtf8(name, QV_DISPLAY_NAME_SIZE - 1);
    std::copy_n(text.data(), text.size(), out);
    out[text.size()] = '\0';
}

} // namespace

SoundStream::SoundStream(std::unique_ptr<SoundSource> source, std::string path)
    : source_(std::move(source)), path_(std::move(path)), length_(source_->facts.samples) {}

std::int64_t SoundStream::scaled(std::uint32_t perSecond) const {
    return static_cast<std::int64_t>(static_cast<__int128>(length_) * perSecond / facts().rate);
}

bool SoundStream::setLength(std::int64_t samples) {
    if (samples < 0) return false;
    length_ = samples == 0 ? facts().samples
                           : static_cast<std::int64_t>(std::min<__int128>(
                                 static_cast<__int128>(samples) * facts().rate / kLengthRate, INT64_MAX));
    return true;
}

std::size_t SoundStream::read(std::int64_t first, std::size_t count, std::int16_t* out) {
    const std::int64_t own = facts().samples;
    if (own <= 0 || first >= length_) return 0;
    count = static_cast<size_t>(std::min<std::int64_t>(static_cast<std::int64_t>(count), length_ - first));
    std::size_t done = 0;
    while (done < count) {
        const std::int64_t at = (first + static_cast<std::int64_t>(done)) % own;
        const auto wanted =
            static_cast<size_t>(std::min<std::int64_t>(static_cast<std::int64_t>(count - done), own - at));
        const std::size_t got = source_->read(at, wanted, out + done * facts().channels);
        done += got;
        if (got < wanted) break; // the file ends before it said
    }
    return done;
}

bool SoundStream::tell(std::uint32_t code, void* data) const {
    if (code >= QV_FILE_CRITICAL_FIRST && code <= QV_FILE_CRITICAL_LAST)
        return true; // there are none to tell
    if (!data) return false;
    if (code == QV_FILE_NAME) {
        const std::string title = readable(facts().title);
        copyName(title.empty() ? nameOf(path_) : title, static_cast<char*>(data));
    } else if (code == QV_FILE_CLASSIFICATION) {
        *static_cast<std::uint32_t*>(data) = static_cast<std::uint32_t>(facts().kind);
    } else if (code == QV_FILE_MINIMUM_LENGTH) {
        const auto own = static_cast<__int128>(facts().samples) * kLengthRate / facts().rate;
        *static_cast<std::uint32_t*>(data) = static_cast<std::uint32_t>(std::min<__int128>(own, kMinimum));
    } else {
        return false;
    }
    return true;
}

} // namespace qv::codec
