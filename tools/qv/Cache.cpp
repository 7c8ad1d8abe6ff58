// qv cache: the support-check cache.
#include "qvlibs/classify/SupportChecks.h"
#include "tools/qv/Command.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cstdio>

using nlohmann::ordered_json;

namespace qv::cli {
namespace {

int show(const Common& common) {
    ordered_json checks = ordered_json::array();
    const auto counts = qv::supportCacheCounts();
    for (POSITION at = counts.GetHeadPosition(); at;) {
        const qv::SupportCheckCount& row = counts.GetNext(at);
        checks.push_back({{"check", row.check.str()}, {"files", row.files}});
    }
    const std::string file = qv::supportCacheFile().str();
    const bool writes = qv::savesSupportCache();
    if (common.json) {
        printJson({{"file", file}, {"saved", writes}, {"checks", checks}});
        return Done;
    }
    std::printf("%s%s\n", file.c_str(), writes ? "" : "  (not written by this program)");
    for (const auto& row : checks) {
        std::printf("%8llu  %s\n", row["files"].get<unsigned long long>(),
                    row["check"].get<std::string>().c_str());
    }
    return Done;
}

int refuse() {
    return error(NotSupported,
                 "the cache is written by the main application only; to make this program the one, run "
                 "`qv settings set Common MainApplication qv`");
}

} // namespace

std::function<int()> setupCache(CLI::App& app, const Common& common) {
    app.require_subcommand(1);
    auto* showing = app.add_subcommand("show", "Where it is and how many files each check knows");
    auto* clearing = app.add_subcommand("clear", "Forget everything");
    auto* saving = app.add_subcommand("save", "Write it now");
    return [=, &common]() -> int {
        if (*showing) return show(common);
        if (!qv::savesSupportCache()) return refuse();
        if (*clearing) QVTLCheckSupportClear();
        if (*saving) QVTLCheckSupportSave();
        return Done;
    };
}

} // namespace qv::cli
