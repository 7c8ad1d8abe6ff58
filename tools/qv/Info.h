// What `qv info` tells about one file, and the describers behind it, one for each kind of file.
#pragma once

#include "tools/qv/Command.h"
#include "tools/qv/Content.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <string_view>

class CPluginInfo;

namespace qv::cli {

// What is known about one file. docs/info.md lists the facts, in the order that they have here.
struct Description {
    nlohmann::ordered_json facts;
    int code = 0;        // Done; NotSupported for a kind that no module reads; Damaged; Failed
    std::string problem; // why the code is not Done, without the path
};
Description describeFile(const std::string& path);
// One line of JSON, and back: nothing when the text is none of these lines.
std::string toText(const Description& description);
std::optional<Description> fromText(std::string_view text);
// What can be said of every file.
nlohmann::ordered_json commonFacts(const std::string& path, Kind kind, const Content& content);

// Adds what is known about a file of one kind. Done; NotSupported, with nothing added, when it is of another kind;
// any other code with the reason in `problem`.
using Describe = int (*)(const std::string& path, nlohmann::ordered_json& facts, std::string& problem);
int describeMovie(const std::string& path, nlohmann::ordered_json& facts, std::string& problem);
int describePicture(const std::string& path, nlohmann::ordered_json& facts, std::string& problem);
int describeSound(const std::string& path, nlohmann::ordered_json& facts, std::string& problem);
int describeTitle(const std::string& path, nlohmann::ordered_json& facts, std::string& problem);
int describeSideFile(const std::string& path, nlohmann::ordered_json& facts, std::string& problem);

double rounded3(double value);
std::string moduleName(const CPluginInfo& plugin); // its file's name

} // namespace qv::cli
