// qv plugins: the modules beside the library, and which of them takes a file.
#include "tools/qv/Command.h"

#include "qvlibs/plugins/PluginInfo.h"
#include "qvlibs/plugins/PropertyRegistry.h"
#include "qvlibs/plugins/plugin_api.h"
#include "qvlibs/util/FileIdentity.h"
#include "qvlibs/util/Qvfiletools.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <memory>
#include <optional>

namespace qv::cli {

namespace {

constexpr const char* kPropertyPattern = "*.pbp";

constexpr struct {
    const char* pattern;
    const char* name;
} kKinds[] = {{"*.pcp", "pictures"},
              {"*.vcp", "movies"},
              {"*.acp", "sounds"},
              {"*.tcp", "titles"},
              {kPropertyPattern, "properties"}};

constexpr const char* kExports[] = {"IsSupported",
                                    "Investigate",
                                    "GetNumOfSupportedExtentions",
                                    "GetSupportedExtention",
                                    "Decode",
                                    "Encode",
                                    "GetStillImageInfo",
                                    "OpenR",
                                    "CloseR",
                                    "GetTotalFrames",
                                    "GetMiliseconds",
                                    "GetTotalSamples",
                                    "GetVideo",
                                    "GetVideoEx",
                                    "GetVideoParam",
                                    "GetDIBfromLastParam",
                                    "GetDif",
                                    "GetAudio",
                                    "GetFccHeader",
                                    "GetVideoRate",
                                    "GetAudioFormat",
                                    "GetVideoFormat",
                                    "GetVideoCompressionRate",
                                    "GetAudioCompressionRate",
                                    "GetVideoAverageRate",
                                    "OpenW",
                                    "Write",
                                    "Write2",
                                    "WriteDif",
                                    "WriteDif2",
                                    "CloseW",
                                    "SetParameters",
                                    "ResetCodec",
                                    "SetTotalSample",
                                    "GetFileInfo",
                                    "GetFileData",
                                    "GetDib",
                                    "SetDibSize",
                                    "IsExifFile",
                                    "GetOrientation",
                                    "SetOrientation",
                                    "SetDateTimeOriginal",
                                    "GetDateTimeOriginal",
                                    "GetMakerNoteValue",
                                    "Initialize",
                                    "Terminate"};

struct Module {
    const char* kind;
    std::string path;
    HMODULE handle;
    std::vector<std::string> extensions;

    std::string file() const { return QVTLGetFileName(path.c_str()).str(); }
    std::vector<std::string> exports() const {
        std::vector<std::string> names;
        for (const char* name : kExports) {
            if (QVTLHasPlugInExport(handle, name)) names.emplace_back(name);
        }
        return names;
    }
};

std::vector<std::string> extensionsOf(CPluginInfo& plugin) {
    std::vector<std::string> extensions;
    const ULONG count = plugin.GetNumOfSupportedExtentions(nullptr);
    char text[QV_EXTENSION_SIZE] = "";
    for (ULONG i = 0; i < count && plugin.GetSupportedExtention(i, text) == 0; ++i)
        extensions.emplace_back(text);
    return extensions;
}

// All modules, kind after kind, each kind in load order.
std::vector<Module> modules() {
    std::vector<Module> all;
    for (const auto& kind : kKinds) {
        CPluginEnumerator codecs;
        while (const std::unique_ptr<CPluginInfo> plugin{codecs.Next(kind.pattern)})
            all.push_back({kind.name, plugin->path.str(), plugin->module, extensionsOf(*plugin)});
    }
    const CStringList properties = QVTLGetPbPlugIns(kPropertyPattern);
    for (POSITION at = properties.GetHeadPosition(); at;) {
        const CString& path = properties.GetNext(at);
        all.push_back({"properties", path.str(), CPbPluginInfo(path).module, {}});
    }
    return all;
}

int list(const Common& common) {
    const auto all = modules();
    if (common.json) {
        auto document = nlohmann::ordered_json::array();
        for (const Module& module : all)
            document.push_back({{"kind", module.kind},
                                {"path", module.path},
                                {"extensions", module.extensions},
                                {"exports", module.exports()}});
        printJson(document);
        return Done;
    }
    for (const Module& module : all) {
        std::string extensions;
        for (const auto& extension : module.extensions) extensions += " " + extension;
        std::printf("%-10s  %-18s %2zu functions %s\n", module.kind, module.file().c_str(),
                    module.exports().size(), extensions.c_str());
    }
    if (all.empty()) message(common, "there are no modules in " + QVTLGetExeDir().str());
    return Done;
}

bool takes(const Module& module, const char* path) {
    int supported = 0;
    if (module.kind == std::string("properties")) {
        CPbPluginInfo plugin(module.path.c_str());
        return plugin.IsSupported(path, &supported) >= 0 && supported;
    }
    CPluginInfo(CString(module.path), module.handle).IsSupported(path, &supported);
    return supported != 0;
}

// Of each kind the first module that takes the file is the one that is used.
int check(const std::string& path, const Common& common) {
    QVFILESTATUS status;
    if (!QVTLGetStatus(path.c_str(), status)) return error(NotFound, path + ": there is no such file");
    auto document = nlohmann::ordered_json::array();
    std::string last;
    for (const Module& module : modules()) {
        if (!takes(module, path.c_str())) continue;
        const bool used = last != module.kind;
        last = module.kind;
        document.push_back({{"kind", module.kind}, {"path", module.path}, {"used", used}});
        if (!common.json)
            std::printf("%-10s  %s%s\n", module.kind, module.file().c_str(),
                        used ? "" : "  (not used: a former one takes it)");
    }
    if (common.json) printJson(document);
    if (document.empty()) return error(NotSupported, path + ": no module takes it");
    return Done;
}

} // namespace

std::function<int()> setupPlugins(CLI::App& app, const Common& common) {
    auto file = std::make_shared<std::optional<std::string>>();
    app.require_subcommand(0, 1);
    app.add_subcommand("list", "Every module with its kind, extensions and functions (the default)")
        ->fallthrough();
    CLI::App* sub = app.add_subcommand("check", "Which modules take a file")->fallthrough();
    sub->add_option("FILE", *file, "Any file")->required();
    return [file, &common] { return *file ? check(**file, common) : list(common); };
}

} // namespace qv::cli
