#include "tools/qv/Shell.h"

#include "qvlibs/library/Version.h"

#include <CLI/CLI.hpp>

#include <cstdio>

namespace qv::cli {

namespace {

// As running text: backslashes and leading dots mean something to the formatter.
std::string roff(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '\\')
            out += "\\e";
        else if (c == '-')
            out += "\\-";
        else if ((c == '.' || c == '\'') && (out.empty() || out.back() == '\n'))
            (out += "\\&") += c;
        else
            out += c;
    }
    return out;
}

void printOptions(const CLI::App& app) {
    for (const CLI::Option* option : app.get_options()) {
        const bool takesValue = option->get_items_expected_max() != 0;
        std::printf(".TP\n.B %s", roff(option->get_name(option->get_positional())).c_str());
        if (takesValue && !option->get_positional())
            std::printf(" \\fI%s\\fP", roff(option->get_type_name()).c_str());
        std::printf("\n%s\n", roff(option->get_description()).c_str());
    }
}

void printCommand(const Command& command) {
    const Common common;
    CLI::App app;
    app.set_help_flag();
    const auto run = command.setup(app, common);
    std::printf(".SS qv %s\n%s.\n", command.name, roff(command.summary).c_str());
    printOptions(app);
    for (const CLI::App* nested : app.get_subcommands([](const CLI::App*) { return true; })) {
        std::printf(".TP\n.B qv %s %s\n%s.\n", command.name, roff(nested->get_name()).c_str(),
                    roff(nested->get_description()).c_str());
        if (nested->get_options().size() > 1) {
            std::printf(".RS\n");
            printOptions(*nested);
            std::printf(".RE\n");
        }
    }
    std::printf(".PP\n.nf\n%s\n.fi\n", roff(command.examples).c_str());
}

} // namespace

int printManual(std::span<const Command> commands) {
    std::printf(
        ".TH QV 1 \"\" \"qv %s\" \"Home video\"\n"
        ".SH NAME\nqv \\- home\\-video tools: tapes, thumbnails, timecodes, pictures and settings\n"
        ".SH SYNOPSIS\n.B qv\n.I COMMAND\n[\\fIARGUMENTS\\fP]\n"
        ".SH DESCRIPTION\nResults go to standard output, messages and progress to standard error. Every "
        "command "
        "takes\n.B \\-\\-json\n(the result as JSON) and\n.B \\-\\-quiet\n(no messages, no progress).\n"
        ".SH COMMANDS\n",
        libraryVersion());
    for (const Command& command : commands) printCommand(command);
    std::printf(".SH EXIT STATUS\n0 done, 1 failed, 2 wrong usage, 3 not found, 4 not supported, 5 damaged "
                "input, 130 "
                "interrupted.\n"
                ".SH ENVIRONMENT\n.TP\n.B QVLIBS_HOME\nThe folder of settings and caches; else qvlibs in "
                "$XDG_DATA_HOME or ~/.local/share.\n");
    return Done;
}

} // namespace qv::cli
