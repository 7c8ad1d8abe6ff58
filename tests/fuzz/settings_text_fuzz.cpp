// Any bytes as exported settings; what was read is written so that it reads the same.
#include "tools/qv/SettingsText.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    const auto first = qv::cli::parseSettings({reinterpret_cast<const char*>(data), size});
    if (!first.problem.empty()) return 0;
    const std::string text = qv::cli::settingsText(first.keys);
    const auto second = qv::cli::parseSettings(text);
    if (!second.problem.empty() || second.keys.size() != first.keys.size()) __builtin_trap();
    for (size_t i = 0; i < first.keys.size(); ++i) {
        const auto &a = first.keys[i], &b = second.keys[i];
        if (a.hive != b.hive || a.path != b.path || a.values.size() != b.values.size()) __builtin_trap();
        for (size_t v = 0; v < a.values.size(); ++v) {
            if (a.values[v].name != b.values[v].name || a.values[v].value != b.values[v].value)
                __builtin_trap();
        }
    }
    return 0;
}
