// The describers behind `qv info`, one for each kind of file.
#pragma once

#include "tools/qv/Command.h"

#include <nlohmann/json.hpp>

namespace qv::cli {

// Adds what is known about the file. Done; NotSupported, with nothing added and nothing said, when it is of
// another kind; any other code after one line that says what is wrong with it.
using Describe = int (*)(const std::string& path, nlohmann::ordered_json& facts);

int describeMovie(const std::string& path, nlohmann::ordered_json& facts);

} // namespace qv::cli
