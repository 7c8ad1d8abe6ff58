// qv info: what files are.
#include "tools/qv/Info.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

namespace qv::cli {
namespace {

struct Options {
    std::vector<std::string> files;
};

// Each kind of file that the command knows; the first that takes a file describes it.
constexpr Describe kKinds[] = {describeMovie};

// Why a file cannot be looked at; Done when it can.
int cannotLook(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        const int reason = errno;
        return error(reason == ENOENT || reason == ENOTDIR ? NotFound : Failed,
                     path + ": " + std::strerror(reason));
    }
    if (S_ISDIR(status.st_mode)) return error(NotSupported, path + ": is a folder");
    if (status.st_size == 0 && S_ISREG(status.st_mode)) return error(Damaged, path + ": is empty");
    return Done;
}

void printText(const nlohmann::ordered_json& facts) {
    for (const auto& [name, value] : facts.items()) {
        const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
        std::printf("%-12s %s\n", (name + ":").c_str(), text.c_str());
    }
}

int run(const Options& options, const Common& common) {
    int code = Done;
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const auto& path : options.files) {
        int one = cannotLook(path);
        if (one == Done) {
            nlohmann::ordered_json facts = {{"file", path}};
            one = NotSupported;
            for (const Describe describe : kKinds) {
                one = describe(path, facts);
                if (one != NotSupported) break;
            }
            if (one == Done) {
                if (!common.json && !all.empty()) std::printf("\n");
                if (!common.json) printText(facts);
                all.push_back(std::move(facts));
            } else if (one == NotSupported) {
                error(NotSupported, path + ": is nothing that a codec module reads");
            }
        }
        if (code == Done) code = one;
    }
    if (common.json) printJson(all);
    return code;
}

} // namespace

std::function<int()> setupInfo(CLI::App& app, const Common& common) {
    auto options = std::make_shared<Options>();
    app.add_option("FILE", options->files, "Files of any kind")->required();
    return [options, &common] { return run(*options, common); };
}

} // namespace qv::cli
