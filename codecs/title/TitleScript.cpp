#include "codecs/title/TitleScript.h"

#include "codecs/common/Text.h"
#include "codecs/title/ScriptText.h"

#include <algorithm>

namespace qv::codec {

namespace {

// The end of a "Dialogue:" line's second time: "H:MM:SS.cc".
std::int64_t endOf(std::string_view line) {
    for (int commas = 0; commas < 2; ++commas) {
        const auto comma = line.find(',');
        if (comma == std::string_view::npos) return 0;
        line.remove_prefix(comma + 1);
    }
    std::int64_t total = 0;
    std::string_view time = line.substr(0, line.find(','));
    for (int part = 0; part < 3; ++part) {
        const auto end = time.find_first_of(part < 2 ? ":" : ".");
        const auto value = number(time.substr(0, end), 0, 99'999);
        if (!value || end == std::string_view::npos) return 0;
        total = total * 60 + *value;
        time.remove_prefix(end + 1);
    }
    return total * 1000 + number(time, 0, 99).value_or(0) * 10;
}

} // namespace

TitleRate rateOfHeight(int height) {
    for (const int pal : {576, 288, 144, 72}) {
        if (height == pal) return {25, 1};
    }
    return {30000, 1001};
}

std::optional<TitleScript> readSubStation(std::string_view text) {
    TitleScript title;
    title.ass = text;
    bool events = false, typed = false;
    while (!text.empty()) {
        const std::string_view line = trimmed(takeLine(text));
        if (line.starts_with("PlayResX:"))
            title.width = number(line.substr(9), 1, kMaxTitleSide).value_or(title.width);
        if (line.starts_with("PlayResY:"))
            title.height = number(line.substr(9), 1, kMaxTitleSide).value_or(title.height);
        if (line.starts_with("[Events]")) events = true;
        if (line.starts_with("[V4") || line.starts_with("ScriptType:")) typed = true;
        if (line.starts_with("Dialogue:")) title.milliseconds = std::max(title.milliseconds, endOf(line));
    }
    // Scripts that say nothing about themselves are of the newer kind.
    if (!typed) title.ass.insert(0, "[Script Info]\nScriptType: v4.00+\n");
    return events ? std::optional(std::move(title)) : std::nullopt;
}

std::optional<TitleScript> readTitle(std::string_view bytes) {
    if (bytes.size() > kMaxTitleBytes) return std::nullopt;
    const std::string text = toUtf8(bytes);
    if (text.find('\0') != std::string::npos) return std::nullopt; // no text
    std::string_view rest = text;
    std::string_view first;
    while (first.empty() && !rest.empty()) {
        first = trimmed(takeLine(rest));
        if (first.starts_with(';')) first = {};
    }
    if (first == "[Title]") return readTitleForm(text);
    if (first.starts_with("[Script Info]")) return readSubStation(text);
    return readSubRip(text);
}

} // namespace qv::codec
