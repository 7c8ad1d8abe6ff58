#include "tools/qv/Shell.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <numeric>

namespace qv::cli {

namespace {

void offer(const std::string& candidate, const std::string& begun) {
    if (candidate.starts_with(begun)) std::printf("%s\n", candidate.c_str());
}

// Section and key names come from the store itself: what `qv settings list --names` prints.
void offerSettings(const Command& settings, const std::vector<std::string>& section) {
    const Common common{.quiet = true};
    CLI::App app;
    const auto list = settings.setup(app, common);
    std::vector<std::string> words{"list", "--names"};
    words.insert(words.end(), section.begin(), section.end());
    std::reverse(words.begin(), words.end()); // as the parser wants them
    app.parse(words);
    list();
}

// The values of an option that has a list of them, from "TEXT:{a,b}".
std::vector<std::string> choicesOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const size_t open = type.find('{'), end = type.find('}');
    if (open == std::string::npos || end == std::string::npos) return {};
    return CLI::detail::split(type.substr(open + 1, end - open - 1), ',');
}

const CLI::Option* optionNamed(const CLI::App& app, const std::string& name) {
    for (const CLI::App* at = &app; at; at = at->get_parent())
        for (const CLI::Option* option : at->get_options())
            if (name.starts_with('-') && option->check_name(name)) return option;
    return nullptr;
}

void offerOptions(const CLI::App& app, const std::string& begun) {
    for (const CLI::App* at = &app; at; at = at->get_parent())
        for (const CLI::Option* option : at->get_options())
            for (const auto& name : option->get_lnames()) offer("--" + name, begun);
}

std::vector<CLI::App*> nestedOf(CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

CLI::App* nestedNamed(CLI::App& app, const std::string& name) {
    for (CLI::App* nested : nestedOf(app))
        if (nested->get_name() == name) return nested;
    return nullptr;
}

const Command* find(std::span<const Command> commands, const std::string& name) {
    const auto found = std::find_if(commands.begin(), commands.end(),
                                    [&](const Command& command) { return name == command.name; });
    return found == commands.end() ? nullptr : &*found;
}

} // namespace

int complete(std::span<const Command> commands, const std::vector<std::string>& words) {
    const std::string begun = words.empty() ? "" : words.back();
    if (words.size() < 2) {
        for (const Command& command : commands) offer(command.name, begun);
        for (const char* option : {"--help", "--version"}) offer(option, begun);
        return Done;
    }
    const Command* const command = find(commands, words[0]);
    if (!command) return Done;
    Common common;
    CLI::App app;
    app.add_flag("--json", common.json);
    app.add_flag("--quiet,-q", common.quiet);
    const auto run = command->setup(app, common);
    CLI::App* at = &app;
    std::vector<std::string> given; // words that are no options
    for (size_t i = 1; i + 1 < words.size(); ++i) {
        if (CLI::App* const nested = given.empty() ? nestedNamed(*at, words[i]) : nullptr) {
            at = nested;
        } else if (const CLI::Option* const option = optionNamed(*at, words[i])) {
            if (option->get_items_expected_max() == 0) continue;
            if (i + 2 == words.size()) {
                for (const auto& choice : choicesOf(*option)) offer(choice, begun);
                return Done;
            }
            ++i; // its value
        } else {
            given.push_back(words[i]);
        }
    }
    if (begun.starts_with('-')) {
        offerOptions(*at, begun);
    } else if (at == &app && given.empty() && !nestedOf(app).empty()) {
        for (const CLI::App* nested : nestedOf(app)) offer(nested->get_name(), begun);
    } else if (words[0] == "settings" && at->get_option_no_throw("SECTION")) {
        const bool oneOnly = at->get_option_no_throw("KEY") != nullptr;
        if (given.size() < 2 || !oneOnly)
            offerSettings(*command, oneOnly ? given : std::vector<std::string>{});
    }
    return Done;
}

std::string nearestCommand(std::span<const Command> commands, const std::string& word) {
    constexpr size_t kMostSteps = 2; // letters changed, added, left out
    std::string nearest;
    size_t best = kMostSteps + 1;
    for (const Command& command : commands) {
        const std::string name = command.name;
        std::vector<size_t> row(name.size() + 1);
        std::iota(row.begin(), row.end(), size_t{0});
        for (size_t i = 1; i <= word.size(); ++i) {
            size_t diagonal = std::exchange(row[0], i);
            for (size_t j = 1; j <= name.size(); ++j) {
                const size_t changed = diagonal + (word[i - 1] != name[j - 1]);
                diagonal = std::exchange(row[j], std::min({changed, row[j] + 1, row[j - 1] + 1}));
            }
        }
        if (row.back() < std::min(best, name.size())) {
            best = row.back();
            nearest = name;
        }
    }
    return nearest;
}

} // namespace qv::cli
