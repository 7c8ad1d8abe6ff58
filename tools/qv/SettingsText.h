// Settings as text: what `qv settings export` writes and `qv settings import` reads.
//
//   # a remark, also behind a value
//   [Common]                      a section, below the root of the settings
//   GUIIconSizeX = 80             a number: -2147483648 to 4294967295, or 0x...
//   LastDirName = "/tapes"        a text; \\ \" \n \r \t and \xHH stand for bytes
//   "Two words" = TRUE            TRUE and FALSE are texts
//   Other = binary 00 FF          bytes
//   Odd = type 4 01 02            bytes of any type
//   [\CurrentUser\Software\X]     a key of any hive, with its full path
//
// A key's text takes \ as its separator; % [ ] and control characters stand as %HH.
#pragma once

#include "qvlibs/platform/Registry.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qv::cli {

struct SettingsKey {
    HKEY hive = HKEY_LOCAL_MACHINE;
    std::string path;
    std::vector<registry::NamedValue> values;
};

// Where a section's text lies: `\LocalMachine\...`, `\CurrentUser\...`, or a section below the root. Nothing
// for another hive.
[[nodiscard]] std::optional<SettingsKey> keyOf(std::string_view text);
// The shortest text for which keyOf gives this key.
[[nodiscard]] std::string textOf(HKEY hive, const std::string& path);

[[nodiscard]] std::string valueText(const registry::Value& value);
// Nothing when the text is none of the forms above.
[[nodiscard]] std::optional<registry::Value> parseValue(std::string_view text);
[[nodiscard]] registry::Value numberValue(std::uint32_t number);
[[nodiscard]] registry::Value textValue(std::string_view text);

[[nodiscard]] std::string settingsText(const std::vector<SettingsKey>& keys);

struct SettingsParse {
    std::vector<SettingsKey> keys;
    std::string problem; // "line 3: ..."; empty when all is well
};
[[nodiscard]] SettingsParse parseSettings(std::string_view text);

} // namespace qv::cli
