// SubRip: numbered blocks of a line with two times and lines of text, ended by an empty line.
#include "codecs/title/ScriptText.h"
#include "codecs/title/TitleScript.h"

#include <algorithm>

namespace qv::codec {

namespace {

// "hours:minutes:seconds,milliseconds" with any number of digits in each; before zero counts as 0.
std::optional<std::int64_t> timeOf(std::string_view text) {
    text = trimmed(text);
    const bool negative = text.starts_with('-');
    if (negative) text.remove_prefix(1);
    std::int64_t total = 0;
    constexpr char kEnds[] = {':', ':', ',', '\0'};
    constexpr int kUnits[] = {60, 60, 1000, 1};
    for (int part = 0; part < 4; ++part) {
        const auto end = part < 2    ? text.find(kEnds[part])
                         : part == 2 ? text.find_first_of(",.")
                                     : text.size();
        if (end == std::string_view::npos) return std::nullopt;
        const auto value = number(text.substr(0, end), 0, 999'999);
        if (!value) return std::nullopt;
        total = (total + *value) * kUnits[part];
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return negative ? 0 : total;
}

struct Times {
    std::int64_t start, end;
};

std::optional<Times> timesOf(std::string_view line) {
    const auto arrow = line.find("-->");
    if (arrow == std::string_view::npos) return std::nullopt;
    std::string_view second = trimmed(line.substr(arrow + 3));
    second = second.substr(0, second.find_first_of(" \t")); // a position may follow
    const auto start = timeOf(line.substr(0, arrow)), end = timeOf(second);
    if (!start || !end) return std::nullopt;
    return Times{*start, *end};
}

// One tag of the few that are in use, as a command; others are left out.
std::string commandOf(std::string_view tag) {
    for (const char letter : {'b', 'i', 'u', 's'}) {
        if (tag == std::string{letter}) return std::string("{\\") + letter + "1}";
        if (tag == std::string{'/', letter}) return std::string("{\\") + letter + "0}";
    }
    if (tag == "/font") return "{\\c}";
    const auto at = tag.find("color=");
    if (!tag.starts_with("font ") || at == std::string_view::npos) return {};
    std::string_view value = tag.substr(at + 6);
    if (value.starts_with('"') || value.starts_with('\'')) value.remove_prefix(1);
    const auto wanted = colour(value.substr(0, 7));
    return wanted ? "{\\c" + scriptColour(*wanted) + "&}" : std::string();
}

bool isTag(std::string_view tag) {
    const std::string_view name = tag.starts_with('/') ? tag.substr(1) : tag;
    return name == "b" || name == "i" || name == "u" || name == "s" || name == "font" ||
           name.starts_with("font ");
}

constexpr size_t kLongestTag = 1000; // what is longer is text

void appendText(std::string& out, std::string_view text) {
    while (!text.empty()) {
        const auto next = text.find_first_of("<{");
        appendPlain(out, text.substr(0, next));
        if (next == std::string_view::npos) return;
        text.remove_prefix(next);
        const bool angle = text[0] == '<';
        const auto end = text.substr(0, kLongestTag).find(angle ? '>' : '}');
        const std::string_view inner =
            end == std::string_view::npos ? std::string_view() : text.substr(1, end - 1);
        if (angle ? isTag(inner) : inner.starts_with('\\')) {
            if (angle) out += commandOf(inner);
            // Of the commands that some programs write into SubRip, the place of the text is the one in use.
            else if (inner.size() == 4 && inner.starts_with("\\an") && inner[3] >= '1' && inner[3] <= '9')
                out.append("{").append(inner).append("}");
            text.remove_prefix(end + 1);
        } else {
            appendPlain(out, text.substr(0, 1));
            text.remove_prefix(1);
        }
    }
}

} // namespace

std::optional<TitleScript> readSubRip(std::string_view text) {
    TitleScript title;
    title.ass =
        scriptHead(title.width, title.height,
                   "sans-serif,34,&H00FFFFFF,&H00FFFFFF,&H00000000,&H00000000,0,0,0,0,100,100,0,0,1,2,0,2,"
                   "30,30,24,1");
    bool any = false;
    while (!text.empty()) {
        const auto times = timesOf(takeLine(text));
        if (!times) continue;
        any = true;
        std::string body;
        while (!text.empty()) {
            const std::string_view line = takeLine(text);
            if (trimmed(line).empty()) break;
            if (!body.empty()) body += '\n';
            body += line;
        }
        if (times->end <= times->start) continue; // never seen
        title.milliseconds = std::max(title.milliseconds, times->end);
        title.ass +=
            "Dialogue: 0," + scriptTime(times->start) + "," + scriptTime(times->end) + ",Default,,0,0,0,,";
        appendText(title.ass, body);
        title.ass += "\n";
    }
    return any ? std::optional(std::move(title)) : std::nullopt;
}

} // namespace qv::codec
