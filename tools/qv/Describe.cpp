// Everything about one file: what is the same for all kinds, and which describer says the rest.
#include "tools/qv/Info.h"

#include "qvlibs/classify/InformationText.h"
#include "qvlibs/classify/SupportChecks.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/plugins/PluginInfo.h"
#include "qvlibs/plugins/plugin_api.h"

#include <cmath>

#include <sys/stat.h>

namespace qv::cli {
namespace {

constexpr struct {
    Kind kind;
    Describe describe;
    const char* modules; // null: needs none
} kDescribers[] = {{Kind::Movie, describeMovie, "*.vcp"},
                   {Kind::Picture, describePicture, "*.pcp"},
                   {Kind::Sound, describeSound, "*.acp"},
                   {Kind::Title, describeTitle, "*.tcp"},
                   {Kind::SideFile, describeSideFile, nullptr}};

// The kind that the first bytes tell is asked first; a container of movies may still hold a sound alone.
int describeAs(Kind& kind, const std::string& path, nlohmann::ordered_json& facts, std::string& problem) {
    const Kind seen = kind;
    int first = NotSupported;
    for (const bool isSeen : {true, false}) {
        for (const auto& row : kDescribers) {
            if ((row.kind == seen) != isSeen) continue;
            std::string reason;
            const int code = row.describe(path, facts, reason);
            if (code == NotSupported) continue;
            if (code == Done || first == NotSupported) {
                kind = row.kind;
                problem = reason;
                first = code;
            }
            if (code == Done) return Done;
        }
        if (seen == Kind::SideFile) break; // nothing else has these bytes
    }
    return first;
}

// Whether an installed module reads files of the extensions that such content usually has.
bool isReadByModules(const Content& content) {
    if (content.kind == Kind::SideFile) return true;
    std::string known = content.kind == Kind::Picture ? " bmp " : ""; // without a module
    for (const auto& row : kDescribers) {
        if (row.kind != content.kind) continue;
        CPluginEnumerator modules;
        while (const std::unique_ptr<CPluginInfo> module{modules.Next(row.modules)}) {
            for (ULONG i = 0, count = module->GetNumOfSupportedExtentions(nullptr); i < count; ++i) {
                char extension[QV_EXTENSION_SIZE + 1] = {};
                if (module->GetSupportedExtention(i, extension) == QV_OK)
                    known += std::string(" ") + extension + " ";
            }
        }
    }
    const std::string usual = content.extensions;
    for (size_t at = 1, end; at < usual.size(); at = end + 1) {
        end = usual.find(' ', at);
        if (known.find(usual.substr(at - 1, end - at + 2)) != std::string::npos) return true;
    }
    return false;
}

} // namespace

double rounded3(double value) { return std::round(value * 1000) / 1000; }

std::string moduleName(const CPluginInfo& plugin) {
    return plugin.path.Mid(plugin.path.ReverseFind('/') + 1).str();
}

nlohmann::ordered_json commonFacts(const std::string& path, Kind kind, const Content& content) {
    constexpr int kVersion = 1; // of the facts, as docs/info.md lists them
    struct stat status {};
    stat(path.c_str(), &status);
    nlohmann::ordered_json facts = {
        {"version", kVersion}, {"file", path}, {"kind", nameOf(kind)}, {"format", content.format}};
    if (!content.nameSays.empty()) facts["nameSays"] = content.nameSays;
    facts["bytes"] = status.st_size;
    facts["modified"] = localTime(status.st_mtime);
    return facts;
}

std::string toText(const Description& description) {
    const nlohmann::ordered_json document = {
        {"facts", description.facts}, {"code", description.code}, {"problem", description.problem}};
    return document.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::optional<Description> fromText(std::string_view text) {
    auto document = nlohmann::ordered_json::parse(text, nullptr, false);
    const bool known = document.is_object() && document.contains("facts") && document["facts"].is_object() &&
                       document.contains("code") && document["code"].is_number_integer() &&
                       document.contains("problem") && document["problem"].is_string();
    if (!known) return std::nullopt;
    return Description{std::move(document["facts"]), document["code"], document["problem"]};
}

Description describeFile(const std::string& path) {
    Description description;
    Content content = contentOf(path);
    Kind kind = content.kind;
    nlohmann::ordered_json own;
    description.code = describeAs(kind, path, own, description.problem);
    if (description.code == Done && content.kind == Kind::Other) {
        // A module knows better than the first bytes do.
        content.format = content.nameSays.empty() ? nameOf(kind) : std::exchange(content.nameSays, {});
    }
    auto& facts = description.facts;
    facts = commonFacts(path, kind, content);
    facts["supported"] = QVTLCheckSupportFile(path.c_str()) != 0;
    if (description.code == Done) {
        facts.update(own);
        const CString text = QVTLGetInformationString(path.c_str(), 1);
        if (!text.IsEmpty()) facts["text"] = text.str();
        return description;
    }
    if (facts["bytes"] == 0) {
        description.code = Damaged;
        description.problem = "is empty";
    } else if (description.code == NotSupported) {
        const bool damaged = isReadByModules(content);
        description.code = damaged ? Damaged : NotSupported;
        description.problem = damaged ? "is damaged " + content.format
                                      : "is " + content.format + ", which no codec module reads";
    }
    if (description.code != NotSupported) facts["problem"] = description.problem;
    return description;
}

} // namespace qv::cli
