#include "qvlibs/timecode/LabelRules.h"

#include <cstdio>

namespace qv {

std::string withFrameField(const char* pattern, int frame) {
    std::string text = pattern ? pattern : "%H:%M:%S:%F";
    const size_t field = text.find("%F");
    if (field == std::string::npos) return text;
    char number[16];
    std::snprintf(number, sizeof number, "%02d", frame);
    return text.replace(field, 2, number, 2);
}

} // namespace qv
