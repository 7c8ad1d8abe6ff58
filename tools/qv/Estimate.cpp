// qv estimate: how much fits, how large it becomes.
#include "qvlibs/sidefiles/Estimates.h"
#include "qvlibs/timecode/DvMetadata.h"
#include "tools/qv/Command.h"
#include "tools/qv/FrameRate.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cstdio>

using nlohmann::ordered_json;

namespace qv::cli {
namespace {

struct Options {
    std::string kind, place = ".";
    unsigned rate = 6000;
    long long frames = -1;
    std::string length;
};

constexpr struct {
    const char* name;
    ULONG kind;
} kKinds[] = {{"dv", QV_OUTPUT_DV_AVI},
              {"mpeg2", QV_OUTPUT_MPEG2},
              {"mpeg2+dv", QV_OUTPUT_MPEG2_AND_DV},
              {"pcm", QV_OUTPUT_PCM}};

ULONG kindOf(const std::string& name) {
    for (const auto& row : kKinds) {
        if (name == row.name) return row.kind;
    }
    return 0;
}

std::string clock(LONG seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%d:%02d:%02d", seconds / 3600, seconds / 60 % 60, seconds % 60);
    return text;
}

const char* driveName(DISK_TYPE type) {
    return type == DISK_TYPE_FAT ? "FAT" : type == DISK_TYPE_NTFS ? "NTFS" : "no file size limit";
}

// What a drive takes: the shorter of its free space and of one file.
int space(const Options& options, const Common& common) {
    const ULONG kind = kindOf(options.kind);
    const LONG fit = QVTLGetOutputMaxSecond(options.place, kind, options.rate, 0);
    const LONG oneFile = QVTLGetOutput1FileMaxSecond(options.place, kind, options.rate, 0);
    const LONG capture = QVTLGetMaxCaptureSize(options.place.c_str()) / (QVIsPal() ? 25 : 30);
    const DISK_TYPE drive = QVTLGetDiskFormatType(options.place.c_str());
    if (common.json) {
        printJson({{"place", options.place},
                   {"kind", options.kind},
                   {"drive", driveName(drive)},
                   {"secondsInFreeSpace", fit},
                   {"secondsInOneFile", oneFile},
                   {"secondsInOneCapture", capture}});
        return Done;
    }
    std::printf("free space    %s\none file      %s\none capture   %s\ndrive         %s\n",
                clock(fit).c_str(), clock(oneFile).c_str(), clock(capture).c_str(), driveName(drive));
    if (drive == DISK_TYPE_OTHER)
        message(common, "captures are split after eighteen minutes on every drive but NTFS");
    return Done;
}

int size(const Options& options, const Common& common) {
    long long frames = options.frames;
    if (frames < 0 && options.length.empty()) return error(Usage, "--frames or --length is needed");
    if (!options.length.empty()) {
        frames = FrameRate{QVIsPal() ? 25u : 30u, 1}.frameAt(options.length);
        if (frames < 0) return error(Usage, "\"" + options.length + "\" is no length HH:MM:SS:FF");
    }
    const ULONG kind = kindOf(options.kind);
    // Sound alone is estimated in kilobytes, everything else in megabytes.
    const double estimate = QVTLGetExchengedFileSize(frames, kind, options.rate, QVIsPal(), 0);
    const double megabytes = kind == QV_OUTPUT_PCM ? estimate / 1024 : estimate;
    if (common.json)
        printJson({{"kind", options.kind}, {"frames", frames}, {"megabytes", megabytes}});
    else
        std::printf("%.1f MB\n", megabytes);
    return Done;
}

} // namespace

std::function<int()> setupEstimate(CLI::App& app, const Common& common) {
    auto options = std::make_shared<Options>();
    const auto kinds = CLI::IsMember({"dv", "mpeg2", "mpeg2+dv"});
    app.require_subcommand(1);
    auto* spaceFor = app.add_subcommand("space", "How long an output may become on a drive");
    spaceFor->add_option("KIND", options->kind, "dv, mpeg2 or mpeg2+dv")->required()->check(kinds);
    spaceFor->add_option("PLACE", options->place, "Any path on the drive (default: here)");
    spaceFor->add_option("--rate", options->rate, "Video bit rate in kbit/s (default 6000)");
    auto* sizeOf = app.add_subcommand("size", "How large an output of a length becomes");
    sizeOf->add_option("KIND", options->kind, "dv, mpeg2 or pcm")
        ->required()
        ->check(CLI::IsMember({"dv", "mpeg2", "pcm"}));
    auto* frames =
        sizeOf->add_option("--frames", options->frames, "Length in frames")->check(CLI::NonNegativeNumber);
    sizeOf->add_option("--length", options->length, "Length as HH:MM:SS:FF")->excludes(frames);
    sizeOf->add_option("--rate", options->rate, "Video bit rate in kbit/s (default 6000)");
    return [=, &common] { return *spaceFor ? space(*options, common) : size(*options, common); };
}

} // namespace qv::cli
