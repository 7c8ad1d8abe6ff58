#include "codecs/title/ScriptText.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace qv::codec {

std::string scriptTime(std::int64_t milliseconds) {
    const std::int64_t hundredths = std::max<std::int64_t>(milliseconds, 0) / 10;
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%lld:%02d:%02d.%02d",
                  static_cast<long long>(hundredths / 360000), static_cast<int>(hundredths / 6000 % 60),
                  static_cast<int>(hundredths / 100 % 60), static_cast<int>(hundredths % 100));
    return text.data();
}

std::string scriptColour(std::uint32_t colour) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "&H00%02X%02X%02X", colour & 0xFF, colour >> 8 & 0xFF,
                  colour >> 16 & 0xFF);
    return text.data();
}

std::optional<std::uint32_t> colour(std::string_view text) {
    text = trimmed(text);
    if (text.size() != 7 || text[0] != '#') return std::nullopt;
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data() + 1, text.data() + 7, value, 16);
    if (error != std::errc() || end != text.data() + 7) return std::nullopt;
    return value;
}

void appendPlain(std::string& out, std::string_view text) {
    for (const char c : text) {
        if (c == '{' || c == '}') {
            out += '\\';
            out += c;
        } else if (c == '\\') {
            // A joiner without width keeps it from meaning something with what follows.
            out += "\\\xE2\x81\xA0";
        } else if (c == '\n') {
            out += "\\N";
        } else if (c != '\r' && c != '\0') {
            out += c;
        }
    }
}

std::string scriptHead(int width, int height, std::string_view style) {
    std::string head = "[Script Info]\nScriptType: v4.00+\nWrapStyle: 0\nScaledBorderAndShadow: yes\n";
    head += "PlayResX: " + std::to_string(width) + "\nPlayResY: " + std::to_string(height) + "\n";
    head += "[V4+ Styles]\nFormat: Name, Fontname, Fontsize, PrimaryColour, SecondaryColour, OutlineColour, "
            "BackColour, Bold, Italic, Underline, StrikeOut, ScaleX, ScaleY, Spacing, Angle, BorderStyle, "
            "Outline, "
            "Shadow, Alignment, MarginL, MarginR, MarginV, Encoding\n";
    head.append("Style: Default,").append(style);
    head += "\n[Events]\nFormat: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n";
    return head;
}

} // namespace qv::codec
