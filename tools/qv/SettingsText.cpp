#include "tools/qv/SettingsText.h"

#include "qvlibs/framework/Strings.h"
#include "qvlibs/settings/ProfileRoot.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace qv::cli {

namespace {

using registry::Type;
using registry::Value;

constexpr struct {
    HKEY hive;
    const char* name;
} kHives[] = {{HKEY_LOCAL_MACHINE, "\\LocalMachine"}, {HKEY_CURRENT_USER, "\\CurrentUser"}};

constexpr struct {
    char escape, byte;
} kEscapes[] = {{'\\', '\\'}, {'"', '"'}, {'n', '\n'}, {'r', '\r'}, {'t', '\t'}};

constexpr char kHex[] = "0123456789ABCDEF";

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

std::optional<unsigned char> hexByte(std::string_view text) {
    unsigned value = 0;
    if (text.size() < 2) return std::nullopt;
    const auto end = std::from_chars(text.data(), text.data() + 2, value, 16);
    if (end.ptr != text.data() + 2) return std::nullopt;
    return static_cast<unsigned char>(value);
}

// The length of the UTF-8 character at the start, 0 when there is none.
size_t characterLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    const size_t length = first < 0x80   ? 1
                          : first < 0xC2 ? 0
                          : first < 0xE0 ? 2
                          : first < 0xF0 ? 3
                          : first < 0xF5 ? 4
                                         : 0;
    if (length == 0 || length > text.size()) return 0;
    for (size_t i = 1; i < length; ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) return 0;
    }
    return length;
}

// Copies text; bytes that are control characters, no UTF-8, or in `special` are given to `escape`.
template <class Escape>
std::string escaped(std::string_view text, std::string_view special, const Escape& escape) {
    std::string out;
    while (!text.empty()) {
        const size_t length = characterLength(text);
        const char c = text[0];
        const bool plain = length > 0 && static_cast<unsigned char>(c) >= 0x20 && c != 0x7F &&
                           special.find(c) == std::string_view::npos;
        if (plain)
            out += text.substr(0, length);
        else
            escape(out, c);
        text.remove_prefix(plain ? length : 1);
    }
    return out;
}

void addHex(std::string& out, char c) {
    out += kHex[static_cast<unsigned char>(c) >> 4];
    out += kHex[static_cast<unsigned char>(c) & 15];
}

std::string quoted(std::string_view text) {
    std::string out(1, '"');
    out += escaped(text, "\\\"", [](std::string& to, char c) {
        to += '\\';
        for (const auto& row : kEscapes) {
            if (row.byte != c) continue;
            to += row.escape;
            return;
        }
        to += 'x';
        addHex(to, c);
    });
    return out += '"';
}

// Takes a quoted text off the front of `text`.
std::optional<std::string> takeQuoted(std::string_view& text) {
    if (!text.starts_with('"')) return std::nullopt;
    std::string out;
    for (size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '"') {
            text.remove_prefix(i + 1);
            return out;
        }
        if (text[i] != '\\') {
            out += text[i];
            continue;
        }
        if (++i == text.size()) return std::nullopt;
        const auto* row = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                       [&](const auto& each) { return each.escape == text[i]; });
        if (row != std::end(kEscapes)) {
            out += row->byte;
        } else if (const auto byte = text[i] == 'x' ? hexByte(text.substr(i + 1)) : std::nullopt) {
            out += static_cast<char>(*byte);
            i += 2;
        } else {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

bool isPlainName(std::string_view name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
               c == '.' || c == '-';
    });
}

std::string hexText(std::string_view bytes) {
    std::string out;
    for (const char c : bytes) {
        out += ' ';
        addHex(out, c);
    }
    return out;
}

std::optional<std::string> hexBytes(std::string_view text) {
    std::string bytes;
    for (text = trimmed(text); !text.empty(); text = trimmed(text.substr(2))) {
        const auto byte = hexByte(text);
        if (!byte) return std::nullopt;
        bytes += static_cast<char>(*byte);
    }
    return bytes;
}

std::optional<std::uint32_t> wholeNumber(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative) text.remove_prefix(1);
    const int base = text.starts_with("0x") ? 16 : 10;
    if (base == 16) text.remove_prefix(2);
    std::uint64_t number = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (text.empty() || end.ec != std::errc() || end.ptr != text.data() + text.size()) return std::nullopt;
    if (number > (negative ? 0x80000000u : 0xFFFFFFFFu)) return std::nullopt;
    return static_cast<std::uint32_t>(negative ? 0 - number : number);
}

// The type's number and the bytes behind it.
std::optional<Value> typedValue(std::string_view text) {
    std::uint32_t type = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), type);
    if (end.ec != std::errc() || end.ptr == text.data()) return std::nullopt;
    auto bytes = hexBytes(text.substr(static_cast<size_t>(end.ptr - text.data())));
    return bytes ? std::optional(Value{static_cast<Type>(type), std::move(*bytes)}) : std::nullopt;
}

std::string unescapedKey(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const auto byte = text[0] == '%' ? hexByte(text.substr(1)) : std::nullopt;
        out += byte ? static_cast<char>(*byte) : text[0];
        text.remove_prefix(byte ? 3 : 1);
    }
    return out;
}

std::string escapedKey(std::string_view path) {
    return escaped(path, "%[]", [](std::string& out, char c) {
        out += '%';
        addHex(out, c);
    });
}

// Elements without empty ones, as the registry takes a path.
std::string normalised(std::string_view path) {
    std::string out;
    while (!path.empty()) {
        const auto end = std::min(path.find('\\'), path.size());
        if (end > 0) out.append(out.empty() ? "" : "\\").append(path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return out;
}

// What stands before a remark, which starts with # outside the quotes.
std::string_view withoutRemark(std::string_view text) {
    std::string_view rest = text;
    if (text.starts_with('"') && !takeQuoted(rest)) return text;
    const size_t quotes = text.starts_with('"') ? text.size() - rest.size() : 0;
    return text.substr(0, text.find('#', quotes));
}

struct Parser {
    SettingsParse result;
    int line = 0;

    bool fail(const char* what) {
        result.problem = "line " + std::to_string(line) + ": " + what;
        return false;
    }
    bool take(std::string_view text) {
        ++line;
        text = trimmed(text);
        if (text.empty() || text.starts_with('#') || text.starts_with(';')) return true;
        return text.starts_with('[') ? takeSection(text) : takeValue(text);
    }
    bool takeSection(std::string_view text) {
        if (!text.ends_with(']')) return fail("a section ends with ]");
        auto key = keyOf(text.substr(1, text.size() - 2));
        if (!key) return fail("a full path starts with \\LocalMachine or \\CurrentUser");
        result.keys.push_back(std::move(*key));
        return true;
    }
    bool takeValue(std::string_view text) {
        std::string name;
        if (text.starts_with('"')) {
            auto read = takeQuoted(text);
            if (!read) return fail("the name's quotes do not end, or hold an unknown escape");
            name = std::move(*read);
        } else {
            const auto end = std::min(text.find('='), text.size());
            name = trimmed(text.substr(0, end));
            if (!isPlainName(name))
                return fail("a line is [section] or name = value; other names stand in quotes");
            text.remove_prefix(end);
        }
        text = trimmed(text);
        if (!text.starts_with('=')) return fail("there is no = behind the name");
        auto value = parseValue(withoutRemark(trimmed(text.substr(1))));
        if (!value) return fail("the value is no number, \"text\", TRUE, FALSE, binary or type");
        if (result.keys.empty()) return fail("a value stands before the first section");
        result.keys.back().values.push_back({std::move(name), std::move(*value)});
        return true;
    }
};

} // namespace

std::optional<SettingsKey> keyOf(std::string_view text) {
    SettingsKey key;
    if (!text.starts_with('\\')) {
        key.path = normalised(sectionPath(profileRoot(), unescapedKey(text)));
        return key;
    }
    for (const auto& row : kHives) {
        const auto name = text.substr(0, std::strlen(row.name));
        const auto rest = text.substr(name.size());
        if (!equalNoCase(name, row.name) || (!rest.empty() && rest[0] != '\\')) continue;
        key.hive = row.hive;
        key.path = normalised(unescapedKey(rest));
        return key;
    }
    return std::nullopt;
}

std::string textOf(HKEY hive, const std::string& path) {
    const std::string root = normalised(profileRoot());
    const bool below = hive == HKEY_LOCAL_MACHINE && equalNoCase(path.substr(0, root.size()), root) &&
                       (path.size() == root.size() || path[root.size()] == '\\');
    if (below && path.size() == root.size()) return {};
    if (below) {
        std::string section = path.substr(root.size() + 1);
        // A numbered record under the name that the settings' functions take.
        const bool record = section.size() > 5 && section[section.size() - 5] == '\\';
        std::string joined = section;
        if (record) joined.erase(joined.size() - 5, 1);
        for (const auto& text : {joined, section}) {
            if (equalNoCase(normalised(sectionPath(root, text)), path)) return escapedKey(text);
        }
    }
    for (const auto& row : kHives) {
        if (row.hive == hive) return std::string(row.name) + (path.empty() ? "" : "\\") + escapedKey(path);
    }
    return {};
}

Value numberValue(std::uint32_t number) {
    Value value{Type::Number, {}};
    for (int i = 0; i < 4; ++i) value.bytes += static_cast<char>(number >> (8 * i));
    return value;
}

Value textValue(std::string_view text) { return {Type::Text, std::string(text) + '\0'}; }

std::string valueText(const Value& value) {
    const std::string_view bytes = value.bytes;
    if (value.type == Type::Number && bytes.size() == 4) {
        std::uint32_t number = 0;
        for (int i = 3; i >= 0; --i)
            number = number << 8 | static_cast<unsigned char>(bytes[static_cast<size_t>(i)]);
        return std::to_string(static_cast<std::int32_t>(number));
    }
    if (value.type == Type::Text && bytes.find('\0') == bytes.size() - 1 && !bytes.empty())
        return quoted(bytes.substr(0, bytes.size() - 1));
    if (value.type == Type::Binary) return "binary" + hexText(bytes);
    return "type " + std::to_string(static_cast<DWORD>(value.type)) + hexText(bytes);
}

std::optional<Value> parseValue(std::string_view text) {
    text = trimmed(text);
    if (text.starts_with('"')) {
        const auto read = takeQuoted(text);
        if (!read || !text.empty() || read->find('\0') != std::string::npos) return std::nullopt;
        return textValue(*read);
    }
    for (const char* word : {"TRUE", "FALSE"}) {
        if (equalNoCase(text, word)) return textValue(word);
    }
    if (text.starts_with("type ")) return typedValue(trimmed(text.substr(5)));
    if (text.starts_with("binary") && (text.size() == 6 || text[6] == ' ')) {
        auto bytes = hexBytes(text.substr(6));
        return bytes ? std::optional(Value{Type::Binary, std::move(*bytes)}) : std::nullopt;
    }
    const auto number = wholeNumber(text);
    return number ? std::optional(numberValue(*number)) : std::nullopt;
}

std::string settingsText(const std::vector<SettingsKey>& keys) {
    std::string out = "# Settings of QvLibs; read by: qv settings import FILE\n";
    for (const auto& key : keys) {
        out += "\n[" + textOf(key.hive, key.path) + "]\n";
        for (const auto& [name, value] : key.values)
            out += (isPlainName(name) ? name : quoted(name)) + " = " + valueText(value) + "\n";
    }
    return out;
}

SettingsParse parseSettings(std::string_view text) {
    Parser parser;
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        if (!parser.take(text.substr(0, end))) return std::move(parser.result);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return std::move(parser.result);
}

} // namespace qv::cli
