// qv dvlog: what is on a tape, when it was filmed, where its scenes begin and why; and the scenes as files.
#include "tools/qv/Command.h"
#include "tools/qv/DvlogWriter.h"

#include "qvlibs/media/DvSplit.h"
#include "qvlibs/media/DvTape.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>

#include <unistd.h>

namespace qv::cli {

namespace {

struct Options {
    std::string file;
    std::string form;
    bool frames = false;
    std::string folder;
    std::vector<std::string> ignored;
};

constexpr struct {
    const char* name;
    bool DvSceneRules::*rule;
} kRules[] = {
    {"start", &DvSceneRules::recordingStart}, {"date", &DvSceneRules::recordingTime},
    {"timecode", &DvSceneRules::timecode},    {"aspect", &DvSceneRules::aspect},
    {"audio", &DvSceneRules::audio},          {"system", &DvSceneRules::system},
};

std::unique_ptr<DvTape> openTape(const std::string& file, int& code) {
    DvTapeError problem{};
    auto tape = file == "-" ? DvTape::open(STDIN_FILENO, problem) : DvTape::open(file.c_str(), problem);
    const int reason = errno;
    switch (problem) {
    case DvTapeError::None: break;
    case DvTapeError::NotFound: code = error(NotFound, file + ": no such file"); break;
    case DvTapeError::NotReadable: code = fileError(file, reason); break;
    case DvTapeError::NoDv: code = error(NotSupported, file + ": holds no DV frames"); break;
    case DvTapeError::NoFrame: code = error(Damaged, file + ": holds not one whole DV frame"); break;
    }
    return tape;
}

// Goes over the tape once; everything that is printed or written comes from here.
class Walk {
public:
    Walk(const Options& options, const Common& common, DvTape& tape, DvlogWriter* writer, DvSplit* split)
        : tape_(tape), writer_(writer), split_(split), progress_(common, "reading " + options.file),
          finder_(
              rulesOf(options), [this](const DvScene& scene) { take(scene); },
              [this](const DvFrameInfo& frame, std::int64_t number, std::int64_t scene, bool starts) {
                  take(frame, number, scene, starts);
              }) {}

    // False when it was interrupted.
    bool run() {
        if (writer_) writer_->begin();
        for (auto frame = tape_.next(); !frame.empty(); frame = tape_.next()) {
            if (interrupted()) return false;
            if (split_) {
                split_->keep(frame);
                if (split_->error()) return true;
            }
            if (const auto info = readDvFrame(frame)) finder_.add(*info);
            progress_.show(tape_.share(), std::to_string(totals_.scenes) + " scenes");
        }
        if (interrupted()) return false; // it may be why a pipe came to its end
        finder_.finish();
        totals_.losses = tape_.losses();
        if (writer_) writer_->end(totals_);
        return true;
    }
    const DvlogTotals& totals() const { return totals_; }

private:
    static DvSceneRules rulesOf(const Options& options) {
        DvSceneRules rules;
        for (const auto& row : kRules) {
            for (const auto& name : options.ignored) {
                if (name == row.name) rules.*row.rule = false;
            }
        }
        return rules;
    }
    // Counted in frames of each system, so that an hour of them is exact.
    double seconds() const {
        return static_cast<double>(ntscFrames_) * 1001 / 30000 + static_cast<double>(palFrames_) / 25;
    }
    void take(const DvFrameInfo& frame, std::int64_t number, std::int64_t scene, bool starts) {
        if (starts) {
            sceneStart_ = seconds();
            totals_.scenes = scene;
        }
        if (writer_) writer_->frame(frame, number, scene, starts, seconds());
        if (split_) split_->decide(starts);
        ++(frame.system == DvSystem::Pal ? palFrames_ : ntscFrames_);
        ++totals_.frames;
        totals_.seconds = seconds();
    }
    void take(const DvScene& scene) {
        if (writer_) writer_->scene(scene, sceneStart_, seconds() - sceneStart_);
        if (split_) split_->name(scene);
    }

    DvTape& tape_;
    DvlogWriter* writer_;
    DvSplit* split_;
    Progress progress_;
    DvlogTotals totals_;
    std::int64_t ntscFrames_ = 0, palFrames_ = 0;
    double sceneStart_ = 0;
    DvSceneFinder finder_;
};

int splitError(const DvSplit& split) {
    const std::string path = split.errorPath().GetString();
    if (split.error() == EEXIST) return error(Failed, path + " exists; nothing was written");
    if (split.error() == EILSEQ) return error(Failed, path + ": what was read back is not what was written");
    return error(Failed, path + ": " + std::strerror(split.error()));
}

int run(const Options& options, const Common& common) {
    int code = Done;
    interrupted(); // from here on Ctrl-C stops in an orderly way
    // The scenes are wanted even where nobody reads the log to its end, as in `| head`.
    if (!options.folder.empty()) std::signal(SIGPIPE, SIG_IGN);
    const auto tape = openTape(options.file, code);
    if (!tape) return code;
    std::unique_ptr<DvSplit> split;
    if (!options.folder.empty()) {
        split = std::make_unique<DvSplit>(options.folder.c_str());
        if (split->error()) return splitError(*split);
    }
    const std::string form = !options.form.empty() ? options.form : common.json ? "json" : "text";
    const auto writer = makeDvlogWriter({form, options.file, options.frames});
    Walk walk(options, common, *tape, writer.get(), split.get());
    if (!walk.run()) return Interrupted;
    if (split) {
        if (!split->finish(interrupted)) return split->error() == EINTR ? Interrupted : splitError(*split);
        // The log may be meant for a program: what was split goes where messages go.
        for (const auto& part : split->parts())
            message(common, options.folder + "/" + part.name.GetString() + ": " +
                                std::to_string(part.frames) + " frames");
        message(common, "written: all " + std::to_string(walk.totals().frames) +
                            " frames of the tape, xxh128 " + split->checksum().GetString());
    }
    if (walk.totals().losses.endsEarly) message(common, options.file + ": ends within a frame");
    return Done;
}

} // namespace

std::function<int()> setupDvlog(CLI::App& app, const Common& common) {
    auto options = std::make_shared<Options>();
    app.add_option("FILE", options->file,
                   "A .dv, DV AVI or other movie with DV frames; - reads a pipe (raw or AVI)")
        ->required();
    app.add_option("--format", options->form, "text, json, csv, srt, vtt, chapters or edl")
        ->check(CLI::IsMember(dvlogForms()));
    app.add_flag("--frames", options->frames, "Every frame, not only scenes (text, json, csv)");
    app.add_option("--split", options->folder, "Write each scene as a file of its own into this folder");
    std::vector<std::string> rules;
    for (const auto& row : kRules) rules.emplace_back(row.name);
    app.add_option("--ignore", options->ignored, "What shall not end a scene (comma-separated)")
        ->delimiter(',')
        ->check(CLI::IsMember(rules));
    return [options, &common] { return run(*options, common); };
}

} // namespace qv::cli
