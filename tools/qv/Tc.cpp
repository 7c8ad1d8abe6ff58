// qv tc: labels to frames and back, sums and differences of labels.
#include "tools/qv/Command.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/timecode/QVTimecode.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <memory>
#include <optional>

namespace qv::cli {

namespace {

struct Options {
    std::string mode;
    std::string label;
    std::string other;
    LONG count = 0;
};

constexpr struct {
    const char* name;
    int mode;
    LONG dayFrames;
} kModes[] = {
    {"pal", TCMODE_PAL, 24 * 90000},
    {"ndf", TCMODE_NDF, 24 * 108000},
    {"df", TCMODE_DF, 24 * 107892},
};
using Mode = decltype(kModes[0]);

Mode& modeOf(const Options& options) {
    for (const auto& row : kModes) {
        if (options.mode == row.name || (options.mode.empty() && row.mode == defaultTimecodeMode()))
            return row;
    }
    return kModes[1];
}

// Stricter than the timecode value itself, which takes dates and any separator: a slip of the keyboard must
// not become a wrong sum. Complains where the text is no label of the mode.
std::optional<CQVTimecode> labelOf(const std::string& text, Mode& mode) {
    const bool shaped = (text.size() == 8 || (text.size() == 11 && std::strchr(":;.", text[8]))) &&
                        text[2] == ':' && text[5] == ':';
    CQVTimecode label(LONG{0}, mode.mode);
    if (!shaped || label.SetAllTime(text.c_str()) != QV_OK) {
        error(Usage, "\"" + text + "\" is no HH:MM:SS:FF label of mode " + mode.name);
        return std::nullopt;
    }
    if (mode.mode == TCMODE_DF && label.GetMinute() % 10 != 0 && label.GetSecond() == 0 &&
        label.GetFrame() < 2) {
        error(Usage, "drop-frame counting leaves out the label " + text);
        return std::nullopt;
    }
    return label;
}

int printLabel(std::int64_t count, Mode& mode, const Common& common) {
    if (count < 0 || count >= mode.dayFrames) {
        return error(Failed, "frame " + std::to_string(count) + " is outside the day (0 to " +
                                 std::to_string(mode.dayFrames - 1) + " in mode " + mode.name + ")");
    }
    const CQVTimecode label(static_cast<LONG>(count), mode.mode);
    if (common.json) {
        printJson({{"mode", mode.name}, {"frames", count}, {"label", label.Format(nullptr)}});
    } else {
        std::printf("%s\n", label.Format(nullptr));
    }
    return Done;
}

int printFrames(LONG count, Mode& mode, const Common& common) {
    if (common.json)
        printJson({{"mode", mode.name}, {"frames", count}});
    else
        std::printf("%d\n", count);
    return Done;
}

int frames(const Options& options, const Common& common) {
    Mode& mode = modeOf(options);
    const auto label = labelOf(options.label, mode);
    return label ? printFrames(label->TotalFrame(mode.mode), mode, common) : Usage;
}

int label(const Options& options, const Common& common) {
    return printLabel(options.count, modeOf(options), common);
}

int add(const Options& options, const Common& common) {
    Mode& mode = modeOf(options);
    const auto start = labelOf(options.label, mode);
    if (!start) return Usage;
    return printLabel(std::int64_t{start->TotalFrame(mode.mode)} + options.count, mode, common);
}

int diff(const Options& options, const Common& common) {
    Mode& mode = modeOf(options);
    const auto a = labelOf(options.label, mode);
    const auto b = a ? labelOf(options.other, mode) : std::nullopt;
    if (!b) return Usage;
    return printFrames(a->TotalFrame(mode.mode) - b->TotalFrame(mode.mode), mode, common);
}

} // namespace

std::function<int()> setupTc(CLI::App& app, const Common& common) {
    auto options = std::make_shared<Options>();
    auto run = std::make_shared<int (*)(const Options&, const Common&)>(nullptr);
    app.require_subcommand(1);
    const auto action = [&](const char* name, const char* what,
                            int (*function)(const Options&, const Common&)) {
        CLI::App* sub = app.add_subcommand(name, what)->fallthrough();
        sub->callback([run, function] { *run = function; });
        return sub;
    };
    app.add_option("--mode", options->mode,
                   "Counting: pal (25), ndf (30), df (30 drop-frame); else the system of the settings")
        ->check(CLI::IsMember({"pal", "ndf", "df"}));
    CLI::App* sub = action("frames", "Frames since 00:00:00:00 of a label", frames);
    sub->add_option("LABEL", options->label, "HH:MM:SS:FF")->required();
    sub = action("label", "The label of a frame, counted from 0", label);
    sub->add_option("COUNT", options->count, "Frames since 00:00:00:00")->required();
    sub = action("add", "The label so many frames later, or earlier", add);
    sub->add_option("LABEL", options->label, "HH:MM:SS:FF")->required();
    sub->add_option("COUNT", options->count, "Frames, may be negative")->required();
    sub = action("diff", "Frames from B to A", diff);
    sub->add_option("A", options->label, "HH:MM:SS:FF")->required();
    sub->add_option("B", options->other, "HH:MM:SS:FF")->required();
    return [options, run, &common] { return (*run)(*options, common); };
}

} // namespace qv::cli
