// Words of the script language, shared by the readers of the forms.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qv::codec {

inline std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// Takes the first line off the text, without its end.
inline std::string_view takeLine(std::string_view& text) {
    const auto end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

// A whole number that fills the text, in a range.
inline std::optional<int> number(std::string_view text, int low, int high) {
    text = trimmed(text);
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < low || value > high)
        return std::nullopt;
    return value;
}

// "H:MM:SS.cc", rounded down.
std::string scriptTime(std::int64_t milliseconds);
// 0xRRGGBB as "&H00BBGGRR".
std::string scriptColour(std::uint32_t colour);
// "#RRGGBB".
std::optional<std::uint32_t> colour(std::string_view text);
// Appends plain text so that nothing in it is a command.
void appendPlain(std::string& out, std::string_view text);
// The head of a script: sections up to and with the line of the events' format. `style` ends the style's line
// after its name.
std::string scriptHead(int width, int height, std::string_view style);

} // namespace qv::codec
