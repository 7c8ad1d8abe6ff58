#include "tools/qv/TapeTexts.h"

#include <cmath>
#include <cstdio>

namespace qv::cli {

std::string labelText(const DvLabel& label) {
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d%c%02d", label.hours, label.minutes, label.seconds,
                  label.dropFrame ? ';' : ':', label.frames);
    return text;
}

std::string recordedText(const DvScene::Recorded& recorded) {
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", recorded.date.year, recorded.date.month,
                  recorded.date.day, recorded.clock.hours, recorded.clock.minutes, recorded.clock.seconds);
    return text;
}

std::string spanText(double seconds, char fraction) {
    const long long ms = std::llround(seconds * 1000);
    char text[64];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld%c%03lld", ms / 3600000, ms / 60000 % 60,
                  ms / 1000 % 60, fraction, ms % 1000);
    return text;
}

std::string audioText(const DvAudioMode& audio) {
    char text[48];
    std::snprintf(text, sizeof text, "%g kHz %d bit %d ch", audio.rate / 1000.0, audio.bits, audio.channels);
    return text;
}

const char* aspectText(DvAspect aspect) { return aspect == DvAspect::Wide ? "16:9" : "4:3"; }
const char* systemText(DvSystem system) { return system == DvSystem::Pal ? "PAL" : "NTSC"; }

std::string labelText(const DvFrameInfo& info) { return info.timecode ? labelText(*info.timecode) : ""; }
std::string recordedText(const DvFrameInfo& info) {
    return info.date && info.time ? recordedText({*info.date, *info.time}) : "";
}

} // namespace qv::cli
