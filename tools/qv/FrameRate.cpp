#include "tools/qv/FrameRate.h"

#include "qvlibs/timecode/QVTimecode.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace qv::cli {

std::string FrameRate::text() const { return std::to_string(rate) + "/" + std::to_string(scale); }

int FrameRate::timecodeMode() const {
    const auto is = [&](std::uint64_t wanted, std::uint64_t of) { return rate * of == wanted * scale; };
    if (is(25, 1)) return TCMODE_PAL;
    if (is(30, 1)) return TCMODE_NDF;
    const double fps = static_cast<double>(rate) / scale;
    return std::fabs(fps - 30000 / 1001.0) < 0.002 ? TCMODE_DF : 0;
}

LONG FrameRate::frameAt(const std::string& label) const {
    unsigned hour = 0, minute = 0, second = 0, frame = 0;
    int used = 0;
    char between = 0;
    const int found =
        std::sscanf(label.c_str(), "%2u:%2u:%2u%c%2u%n", &hour, &minute, &second, &between, &frame, &used);
    const bool isLabel =
        found == 5 && static_cast<size_t>(used) == label.size() && std::strchr(":;.", between);
    if (!isLabel || minute > 59 || second > 59 || rate == 0) return -1;
    const int mode = timecodeMode();
    const double fps = static_cast<double>(rate) / scale;
    if (frame >= std::ceil(fps)) return -1;
    if (mode == TCMODE_DF) {
        CQVTimecode position(LONG{0}, mode);
        if (position.SetTime(static_cast<int>(hour), static_cast<int>(minute), static_cast<int>(second),
                             static_cast<int>(frame)) != 0)
            return -1;
        return position.TotalFrame(mode);
    }
    const double count = std::round((hour * 3600.0 + minute * 60 + second) * fps) + frame;
    return count <= INT32_MAX ? static_cast<LONG>(count) : -1;
}

std::string FrameRate::positionOf(LONG frame) const {
    const int mode = timecodeMode();
    return mode == 0 ? std::string() : CQVTimecode(frame, mode).Format(nullptr);
}

} // namespace qv::cli
