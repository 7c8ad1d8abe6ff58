// Our own form of titles: sections of "Name=value" lines.
#include "codecs/title/ScriptText.h"
#include "codecs/title/TitleScript.h"

#include <algorithm>
#include <vector>

namespace qv::codec {

namespace {

constexpr int kMaxFrames = 10'000'000;
constexpr int kMaxLines = 1000;

struct Line {
    std::string text;
    std::string font = "sans-serif";
    int size = 0; // 0: a tenth of the picture's height
    std::uint32_t colour = 0xFFFFFF, outlineColour = 0;
    int outline = 2;
    bool bold = false, italic = false;
    bool placed = false; // else in the middle
    int x = 0, y = 0;
    int anchor = 5;
    int from = 0, to = -1; // -1: the title's last frame
    int fadeIn = 0, fadeOut = 0;
};

struct Form {
    TitleScript title;
    std::vector<Line> lines;
};

// "first<separator>second".
bool pair(std::string_view text, char separator, int low, int high, int& first, int& second) {
    const auto at = text.find(separator);
    if (at == std::string_view::npos) return false;
    const auto a = number(text.substr(0, at), low, high), b = number(text.substr(at + 1), low, high);
    if (a && b) {
        first = *a;
        second = *b;
    }
    return a && b;
}

template <class Value>
bool set(Value& value, const std::optional<Value>& read) {
    if (read) value = *read;
    return read.has_value();
}

bool setFlag(bool& value, std::string_view text) {
    const auto read = number(text, 0, 1);
    if (read) value = *read == 1;
    return read.has_value();
}

// "width #RRGGBB", the colour may be left out.
bool setOutline(Line& line, std::string_view text) {
    const auto blank = text.find(' ');
    if (!set(line.outline, number(text.substr(0, blank), 0, 100))) return false;
    return blank == std::string_view::npos || set(line.outlineColour, colour(text.substr(blank)));
}

std::string unescaped(std::string_view text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '\\' && i + 1 < text.size();
        if (escape) ++i;
        out += escape && text[i] == 'n' ? '\n' : text[i];
    }
    return out;
}

// Font names end at commas in the script.
std::string fontName(std::string_view text) {
    std::string name(text.substr(0, 100));
    std::replace(name.begin(), name.end(), ',', ' ');
    return name;
}

// Names of other things are passed over, so that later forms can add some; known names with bad values are not.
bool setTitle(TitleScript& title, std::string_view name, std::string_view value) {
    if (name == "Size") return pair(value, 'x', 1, kMaxTitleSide, title.width, title.height);
    if (name == "Rate") return pair(value, '/', 1, 1'000'000, title.rate.rate, title.rate.scale);
    if (name == "Key") return set(title.key, colour(value));
    if (name != "Frames") return true;
    const auto frames = number(value, 1, kMaxFrames);
    if (frames) title.frames = *frames;
    return frames.has_value();
}

bool setLine(Line& line, std::string_view name, std::string_view value) {
    if (name == "Text") line.text = unescaped(value);
    if (name == "Font") line.font = fontName(value);
    if (name == "Height") return set(line.size, number(value, 1, 2000));
    if (name == "Colour") return set(line.colour, colour(value));
    if (name == "Outline") return setOutline(line, value);
    if (name == "Bold") return setFlag(line.bold, value);
    if (name == "Italic") return setFlag(line.italic, value);
    if (name == "Position")
        return line.placed = pair(value, ',', -kMaxTitleSide, 2 * kMaxTitleSide, line.x, line.y);
    if (name == "Anchor") return set(line.anchor, number(value, 1, 9));
    if (name == "From") return set(line.from, number(value, 0, kMaxFrames));
    if (name == "To") return set(line.to, number(value, 0, kMaxFrames));
    if (name == "FadeIn") return set(line.fadeIn, number(value, 0, kMaxFrames));
    if (name == "FadeOut") return set(line.fadeOut, number(value, 0, kMaxFrames));
    return true;
}

std::optional<Form> parse(std::string_view text) {
    Form form;
    enum { Before, InTitle, InLine } section = Before;
    while (!text.empty()) {
        const std::string_view row = trimmed(takeLine(text));
        if (row.empty() || row[0] == ';') continue;
        if (row == "[Title]" && section == Before) {
            section = InTitle;
        } else if (row == "[Line]" && section != Before && form.lines.size() < kMaxLines) {
            section = InLine;
            form.lines.emplace_back();
        } else {
            const auto equal = row.find('=');
            if (section == Before || equal == std::string_view::npos) return std::nullopt;
            const auto name = trimmed(row.substr(0, equal)), value = trimmed(row.substr(equal + 1));
            if (!(section == InTitle ? setTitle(form.title, name, value)
                                     : setLine(form.lines.back(), name, value)))
                return std::nullopt;
        }
    }
    return section == Before ? std::nullopt : std::optional(std::move(form));
}

void appendLine(const TitleScript& title, const Line& line, std::string& out) {
    const auto at = [&](std::int64_t frame) { return frame * 1000 * title.rate.scale / title.rate.rate; };
    const std::int64_t last =
        std::min<std::int64_t>(line.to < 0 ? title.frames - 1 : line.to, title.frames - 1);
    if (last < line.from) return;
    const int size = line.size ? line.size : std::max(title.height / 10, 1);
    out += "Dialogue: 0," + scriptTime(at(line.from)) + "," + scriptTime(at(last + 1)) + ",Default,,0,0,0,,{";
    out += "\\an" + std::to_string(line.anchor) + "\\pos(" +
           std::to_string(line.placed ? line.x : title.width / 2) + "," +
           std::to_string(line.placed ? line.y : title.height / 2) + ")";
    out += "\\fn" + line.font + "\\fs" + std::to_string(size) + "\\b" + (line.bold ? "1" : "0") + "\\i" +
           (line.italic ? "1" : "0");
    out += "\\c" + scriptColour(line.colour) + "&\\3c" + scriptColour(line.outlineColour) + "&\\bord" +
           std::to_string(line.outline);
    if (line.fadeIn || line.fadeOut)
        out += "\\fad(" + std::to_string(at(line.fadeIn)) + "," + std::to_string(at(line.fadeOut)) + ")";
    out += "}";
    appendPlain(out, line.text);
    out += "\n";
}

} // namespace

std::optional<TitleScript> readTitleForm(std::string_view text) {
    auto form = parse(text);
    if (!form) return std::nullopt;
    TitleScript title = std::move(form->title);
    if (title.rate.rate == 0) title.rate = rateOfHeight(title.height);
    if (title.frames == 0) {
        for (const Line& line : form->lines) title.frames = std::max<std::int64_t>(title.frames, line.to + 1);
        if (title.frames == 0) title.frames = 5 * title.rate.rate / title.rate.scale; // nothing says how long
        title.frames = std::max<std::int64_t>(title.frames, 1);
    }
    title.milliseconds = title.frames * 1000 * title.rate.scale / title.rate.rate;
    title.ass =
        scriptHead(title.width, title.height,
                   "sans-serif,20,&H00FFFFFF,&H00FFFFFF,&H00000000,&H00000000,0,0,0,0,100,100,0,0,1,2,0,5,"
                   "0,0,0,1");
    for (const Line& line : form->lines) appendLine(title, line, title.ass);
    return title;
}

} // namespace qv::codec
