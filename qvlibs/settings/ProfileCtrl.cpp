#include "qvlibs/settings/ProfileCtrl.h"

#include "qvlibs/framework/Trace.h"
#include "qvlibs/settings/ProfileRoot.h"

#include <cstdint>
#include <cstring>

namespace {

namespace registry = qv::registry;

constexpr size_t kBuffer = 768; // with the zero

std::string_view textOf(const char* text) { return text ? text : ""; }

std::string pathOf(const char* section, const char* regPath) {
    return qv::sectionPath(regPath ? std::string_view(regPath) : qv::profileRoot(), textOf(section));
}

// Value names are cut when they are written and not when they are read, on purpose: the whole name of a long
// one is never found again (ProfileCtrl.NamesAreCutOnWritingOnly).
int write(const char* section, const char* key, registry::Type type, std::string_view bytes,
          const char* regPath) {
    const auto name = textOf(key).substr(0, kBuffer - 1);
    return registry::writeValue(HKEY_LOCAL_MACHINE, pathOf(section, regPath), name, type, bytes) ==
                   registry::Done
               ? 1
               : 0;
}

} // namespace

unsigned int QVGetProfileInt(const char* section, const char* key, int def) {
    return QVGetProfileIntEx(section, key, def, nullptr);
}

unsigned int QVGetProfileIntEx(const char* section, const char* key, int def, const char* regPath) {
    QVTL_TRACE();
    unsigned char bytes[4] = {};
    const int size =
        registry::readInto(HKEY_LOCAL_MACHINE, pathOf(section, regPath), textOf(key), bytes, sizeof bytes);
    if (size < 0) return static_cast<unsigned>(def);
    return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

int QVGetProfileBool(const char* section, const char* key, int def) {
    const CString text = QVGetProfileString(section, key, def ? "TRUE" : "FALSE");
    if (text.CompareNoCase("TRUE") == 0) return 1;
    if (text.CompareNoCase("FALSE") == 0) return 0;
    return def;
}

CString QVGetProfileString(const char* section, const char* key, const char* def) {
    return QVGetProfileStringEx(section, key, def, nullptr);
}

CString QVGetProfileStringEx(const char* section, const char* key, const char* def, const char* regPath) {
    QVTL_TRACE();
    char bytes[kBuffer];
    const int size =
        registry::readInto(HKEY_LOCAL_MACHINE, pathOf(section, regPath), textOf(key), bytes, kBuffer);
    if (size < 0) return textOf(def);
    return std::string_view(bytes, strnlen(bytes, static_cast<size_t>(size))); // its zero may be missing
}

int QVWriteProfileInt(const char* section, const char* key, int value, unsigned short flags) {
    return QVWriteProfileIntEx(section, key, value, flags, nullptr);
}

int QVWriteProfileIntEx(const char* section, const char* key, int value, unsigned short /*flags*/,
                        const char* regPath) {
    QVTL_TRACE();
    const auto number = static_cast<std::uint32_t>(value);
    const char bytes[] = {static_cast<char>(number), static_cast<char>(number >> 8),
                          static_cast<char>(number >> 16), static_cast<char>(number >> 24)};
    return write(section, key, registry::Type::Number, {bytes, sizeof bytes}, regPath);
}

int QVWriteProfileBool(const char* section, const char* key, int value, unsigned short flags) {
    return QVWriteProfileString(section, key, value ? "TRUE" : "FALSE", flags);
}

int QVWriteProfileString(const char* section, const char* key, const char* value, unsigned short flags) {
    return QVWriteProfileStringEx(section, key, value, flags, nullptr);
}

int QVWriteProfileStringEx(const char* section, const char* key, const char* value, unsigned short /*flags*/,
                           const char* regPath) {
    QVTL_TRACE();
    const char* text = value ? value : "";
    return write(section, key, registry::Type::Text, {text, std::strlen(text) + 1}, regPath);
}

ULONG QVRemoveProfileKey(const char* section, const char* key) {
    QVTL_TRACE();
    registry::removeValue(HKEY_LOCAL_MACHINE, pathOf(section, nullptr), textOf(key));
    return 0;
}
