// What the parts of `qv settings` share.
#pragma once

#include "tools/qv/Command.h"

#include <string>
#include <vector>

namespace qv::cli {

struct SettingsOptions {
    std::vector<std::string> sections;
    std::string section, key, value, type, file;
    bool names = false;   // list: names only, for completion
    bool all = false;     // export: both hives
    bool replace = false; // import: what the file's sections hold now goes
    bool repair = false;  // doctor
};

int doctorSettings(const SettingsOptions& options, const Common& common);

} // namespace qv::cli
