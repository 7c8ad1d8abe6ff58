#include "qvlibs/platform/IniFile.h"

#include "qvlibs/framework/OpenWithoutWaiting.h"
#include "qvlibs/framework/Strings.h"
#include "qvlibs/platform/FolderLock.h"
#include "qvlibs/util/AtomicFile.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>

#include <sys/stat.h>

namespace qv {

namespace {

constexpr std::string_view kMark = "\xEF\xBB\xBF";
constexpr size_t kMostBytes = 16u * 1024 * 1024;

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// The name inside a "[name]" line.
std::optional<std::string_view> heading(std::string_view line) {
    line = trimmed(line);
    if (!line.starts_with('[')) return std::nullopt;
    const auto end = line.find(']');
    return trimmed(line.substr(1, end == std::string_view::npos ? end : end - 1));
}

struct Entry {
    std::string_view key, value;
};
std::optional<Entry> entry(std::string_view line) {
    line = trimmed(line);
    const auto equals = line.find('=');
    if (line.starts_with(';') || equals == std::string_view::npos) return std::nullopt;
    return Entry{trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1))};
}

std::string_view unquoted(std::string_view value) {
    const bool quoted =
        value.size() >= 2 && value.front() == value.back() && (value.front() == '"' || value.front() == '\'');
    return quoted ? value.substr(1, value.size() - 2) : value;
}

bool isName(std::string_view name, std::string_view forbidden) {
    return !name.empty() && trimmed(name) == name &&
           name.find_first_of(forbidden) == std::string_view::npos && name.front() != ';' &&
           name.front() != '[';
}

// Missing is an answer (an empty text); what cannot be read or is too large is none.
std::optional<std::string> readText(const std::string& file) {
    const int descriptor = openWithoutWaiting(file.c_str(), O_RDONLY);
    if (descriptor < 0) return errno == ENOENT ? std::optional<std::string>("") : std::nullopt;
    const std::unique_ptr<FILE, int (*)(FILE*)> in(fdopen(descriptor, "rb"), &std::fclose);
    struct stat status;
    if (fstat(fileno(in.get()), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    if (static_cast<std::uint64_t>(status.st_size) > kMostBytes) return std::nullopt;
    std::string text(static_cast<size_t>(status.st_size), '\0');
    text.resize(std::fread(text.data(), 1, text.size(), in.get()));
    return text;
}

} // namespace

IniText::IniText(std::string_view text) {
    mark_ = text.starts_with(kMark);
    if (mark_) text.remove_prefix(kMark.size());
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        auto line = text.substr(0, end);
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
            if (lines_.empty()) lineEnd_ = "\r\n";
        }
        lines_.emplace_back(line);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

IniText::Span IniText::find(std::string_view section) const {
    Span span{lines_.size(), lines_.size()};
    section = trimmed(section);
    for (size_t i = 0; i < lines_.size(); ++i) {
        const auto name = heading(lines_[i]);
        if (!name) continue;
        if (span.heading != lines_.size()) return {span.heading, i};
        if (equalNoCase(*name, section)) span.heading = i;
    }
    return span;
}

size_t IniText::findKey(const Span& span, std::string_view key) const {
    key = trimmed(key);
    for (size_t i = span.heading + 1; i < span.end; ++i) {
        if (const auto found = entry(lines_[i]); found && equalNoCase(found->key, key)) return i;
    }
    return span.end;
}

std::vector<std::string> IniText::sections() const {
    std::vector<std::string> names;
    for (const auto& line : lines_) {
        if (const auto name = heading(line)) names.emplace_back(*name);
    }
    return names;
}

std::vector<std::string> IniText::keys(std::string_view section) const {
    std::vector<std::string> names;
    const Span span = find(section);
    for (size_t i = span.heading + 1; i < span.end; ++i) {
        if (const auto found = entry(lines_[i])) names.emplace_back(found->key);
    }
    return names;
}

std::optional<std::string> IniText::value(std::string_view section, std::string_view key) const {
    const Span span = find(section);
    const size_t line = findKey(span, key);
    if (line >= span.end) return std::nullopt;
    return std::string(unquoted(entry(lines_[line])->value));
}

bool IniText::set(std::string_view section, std::string_view key, std::string_view value) {
    if (!isName(section, "]\r\n") || !isName(key, "=\r\n")) return false;
    if (value.find_first_of("\r\n") != std::string_view::npos) return false;
    const std::string line = std::string(key).append("=").append(value);
    const Span span = find(section);
    if (span.heading == span.end) {
        lines_.push_back(std::string("[").append(section).append("]"));
        lines_.push_back(line);
        return true;
    }
    if (const size_t old = findKey(span, key); old < span.end) {
        lines_[old] = line;
        return true;
    }
    size_t at = span.end; // behind the section's last line that is not blank
    while (trimmed(lines_[at - 1]).empty()) --at;
    lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(at), line);
    return true;
}

void IniText::removeKey(std::string_view section, std::string_view key) {
    const Span span = find(section);
    const size_t line = findKey(span, key);
    if (line < span.end) lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(line));
}

void IniText::removeSection(std::string_view section) {
    const Span span = find(section);
    lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(span.heading),
                 lines_.begin() + static_cast<std::ptrdiff_t>(span.end));
}

std::string IniText::text() const {
    std::string all(mark_ ? kMark : "");
    for (const auto& line : lines_) all.append(line).append(lineEnd_);
    return all;
}

std::optional<std::string> readIni(const std::string& file, std::string_view section, std::string_view key) {
    return IniText(readText(file).value_or("")).value(section, key);
}

std::vector<std::string> iniSections(const std::string& file) {
    return IniText(readText(file).value_or("")).sections();
}

std::vector<std::string> iniKeys(const std::string& file, std::string_view section) {
    return IniText(readText(file).value_or("")).keys(section);
}

bool writeIni(const std::string& file, std::string_view section, std::optional<std::string_view> key,
              std::optional<std::string_view> value) {
    const FolderLock lock(folderOf(file));
    const auto old = readText(file);
    if (!old) return false;
    IniText ini(*old);
    if (!key)
        ini.removeSection(section);
    else if (!value)
        ini.removeKey(section, *key);
    else if (!ini.set(section, *key, *value))
        return false;
    const std::string text = ini.text();
    if (text == *old) return true;
    AtomicFile out(file);
    return out.isOpen() && out.write(text.data(), text.size()) && out.commit();
}

int leadingNumber(std::string_view text) {
    text = trimmed(text);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    std::uint32_t number = 0; // on purpose without a bound: only the low 32 bits count
    for (const char c : text) {
        if (c < '0' || c > '9') break;
        number = number * 10 + static_cast<std::uint32_t>(c - '0');
    }
    return static_cast<int>(negative ? 0u - number : number);
}

} // namespace qv
