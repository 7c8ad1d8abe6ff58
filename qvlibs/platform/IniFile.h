// Settings files of the plain kind: "[section]" lines with "key = value" lines below them.
//
// Names are compared without ASCII case, blanks around names and values do not count, and one pair of quotes
// (" or ') around a value is taken away. Where a section or a key stands twice, the first one counts. Lines
// that start with ";" are comments. A byte order mark at the start is skipped; files above 16 MiB count as
// missing. All functions may be called from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qv {

// The text of a file taken apart: for reading, and for changing single lines of it while all others stay.
class IniText {
public:
    explicit IniText(std::string_view text);

    [[nodiscard]] std::vector<std::string> sections() const;
    [[nodiscard]] std::vector<std::string> keys(std::string_view section) const;
    [[nodiscard]] std::optional<std::string> value(std::string_view section, std::string_view key) const;

    // False when a name or the value cannot stand in such a file (line breaks, a "]" in a section, an "=" in
    // a key, a name that is empty, has blanks around it or starts with "[" or ";"); nothing has changed then.
    [[nodiscard]] bool set(std::string_view section, std::string_view key, std::string_view value);
    void removeKey(std::string_view section, std::string_view key);
    void removeSection(std::string_view section);
    [[nodiscard]] std::string text() const;

private:
    // The lines of a section: its heading, and one behind its last line. Equal when there is none.
    struct Span {
        size_t heading, end;
    };
    [[nodiscard]] Span find(std::string_view section) const;
    [[nodiscard]] size_t findKey(const Span& span, std::string_view key) const;

    std::string lineEnd_ = "\n";
    bool mark_ = false;
    std::vector<std::string> lines_; // without their ends
};

[[nodiscard]] std::optional<std::string> readIni(const std::string& file, std::string_view section,
                                                 std::string_view key);
[[nodiscard]] std::vector<std::string> iniSections(const std::string& file);
[[nodiscard]] std::vector<std::string> iniKeys(const std::string& file, std::string_view section);

// Replaces the file as a whole; processes that write files of the same folder wait for each other. Without
// `value` the key goes, without `key` the whole section. True when done.
[[nodiscard]] bool writeIni(const std::string& file, std::string_view section,
                            std::optional<std::string_view> key, std::optional<std::string_view> value);

// The number at the start of a text: an optional sign and decimal digits, its low 32 bits; 0 without digits.
[[nodiscard]] int leadingNumber(std::string_view text);

} // namespace qv
