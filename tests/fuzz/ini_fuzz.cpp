// Any bytes as a settings file: reading it, and changing it so that the change is read back and the rest
// stays.
#include "qvlibs/platform/IniFile.h"

namespace {

std::vector<std::string> allValues(const qv::IniText& ini) {
    std::vector<std::string> all;
    for (const auto& section : ini.sections()) {
        for (const auto& key : ini.keys(section)) all.push_back(ini.value(section, key).value_or("missing"));
    }
    return all;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    qv::IniText ini({reinterpret_cast<const char*>(data), size});
    const bool had = ini.value("fuzz section", "fuzz key").has_value();
    const auto before = allValues(ini);
    if (!ini.set("fuzz section", "fuzz key", "value")) __builtin_trap();
    const qv::IniText again(ini.text());
    if (again.value("Fuzz Section", "FUZZ KEY") != "value") __builtin_trap();
    ini.removeKey("fuzz section", "fuzz key");
    if (!had && allValues(ini) != before) __builtin_trap();
    return 0;
}
