// qv movie: pictures become a DV movie, each held for a while. A picture is encoded once; the frames that show it
// differ in what is written around it: the running label and the length of the sound.
#include "tools/qv/Picture.h"
#include "tools/qv/TapeTexts.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/image/FrameTools.h"
#include "qvlibs/media/DvBridge.h"
#include "qvlibs/media/MovieWriter.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/timecode/DvMetadata.h"
#include "qvlibs/timecode/DvStamp.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

namespace qv::cli {
namespace {

struct Options {
    std::vector<std::string> pictures;
    std::string out;
    double seconds = 5;
    std::string fit = "fit";
    std::string system;
    bool wide = false;
};

constexpr ULONG kOpenEncoder = 0x1010000; // on a fast processor; | 0x10 NTSC, 0x20 PAL
constexpr double kMostSeconds = 3600;

// A movie in the target's folder under a name of its own, which becomes the target when it is whole.
class Target {
public:
    explicit Target(const std::string& path) {
        std::error_code isNew;
        const std::filesystem::path followed = std::filesystem::canonical(path, isNew);
        target_ = isNew ? path : followed.string();
        replaces_ = !isNew;
        const size_t slash = target_.rfind('/');
        temporary_ = (slash == std::string::npos ? "" : target_.substr(0, slash + 1)) + ".qv-XXXXXX.avi";
        const int descriptor = mkstemps(temporary_.data(), 4);
        error_ = descriptor < 0 ? errno : 0;
        if (descriptor < 0) return;
        close(descriptor);
        unlink(temporary_.c_str()); // the module makes it
    }
    ~Target() {
        if (error_ == 0 && !done_) unlink(temporary_.c_str());
    }
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;

    int error() const { return error_; } // errno of making it
    const std::string& temporary() const { return temporary_; }
    [[nodiscard]] bool commit() {
        if (replaces_ && !reachDisk()) return false;
        return done_ = std::rename(temporary_.c_str(), target_.c_str()) == 0;
    }

private:
    // An existing movie is given up only for one that a power failure cannot take.
    bool reachDisk() const {
        const int descriptor = open(temporary_.c_str(), O_RDONLY | O_CLOEXEC);
        const bool reached = descriptor >= 0 && fsync(descriptor) == 0;
        if (descriptor >= 0) close(descriptor);
        return reached;
    }

    std::string target_;
    bool replaces_ = false;
    std::string temporary_;
    int error_ = 0;
    bool done_ = false;
};

// The movie being made, and the encoder. Both are closed on every way out.
class Maker {
public:
    Maker(DvSystem system, bool wide) : system_(system), wide_(wide), dif_(dvFrameBytes(system)) {}
    ~Maker() {
        if (encoder_) DEDVCloseDVCEncoder(encoder_);
        if (movie_) QVTLAVICloseCreateAVI(movie_);
    }
    Maker(const Maker&) = delete;
    Maker& operator=(const Maker&) = delete;

    int open(const std::string& path) {
        const bool pal = system_ == DvSystem::Pal;
        if (DEDVOpenDVCEncoder(kOpenEncoder | (pal ? 0x20u : 0x10u), &encoder_) != QV_OK)
            return error(NotSupported, "no DV encoder is installed");
        movie_ = QVTLAVIInitCreateAVI(path.c_str(), pal ? 1 : 0);
        return movie_ ? Done : error(NotSupported, "no module that writes DV movies is installed");
    }

    CSize frameSize() const { return QVTLGetJustXYSize(system_ == DvSystem::Pal ? 1 : 0); }
    std::int64_t frames() const { return frames_; }
    DvLabel label() const { return dvLabelOf(frames_, system_ == DvSystem::Ntsc, system_); }

    // The picture has the size of a frame.
    bool encode(CQVDIB& picture) {
        const DIB_TYPE shape = wide_ ? DIB_TYPE_16_9 : DIB_TYPE_4_3;
        const ULONG colours = QVGetProfileInt("Common", "ComplusionDR219RGB", 0);
        return DEDVDVCEncode(encoder_, colours, dif_.data(), picture.GetBitsAddress()) == QV_OK &&
               DEDVSetAspect(dif_.data(), shape, system_ == DvSystem::Pal ? 1 : 0) == QV_OK;
    }
    // Appends the encoded picture once more. `starts`: its first frame.
    bool add(bool starts, const std::optional<DvScene::Recorded>& recorded) {
        DvStamp stamp;
        stamp.label = label();
        stamp.soundSamples = dvLockedSamples(frames_, system_);
        stamp.recordingStart = starts;
        if (starts && recorded) stamp.recorded = {recorded->date, recorded->clock};
        if (!stampDvFrame(dif_, stamp)) return false;
        ++frames_;
        return QVTLAVIWriteDIF(movie_, dif_.data(), nullptr, static_cast<LONG>(frames_ - 1)) == QV_OK;
    }
    bool close() {
        const bool done = QVTLAVICloseCreateAVI(movie_) == QV_OK;
        movie_ = nullptr;
        return done;
    }

private:
    DvSystem system_;
    bool wide_;
    std::vector<BYTE> dif_;
    std::int64_t frames_ = 0;
    void* encoder_ = nullptr;
    void* movie_ = nullptr;
};

// When the camera took the picture, where it says so and a tape can.
std::optional<DvScene::Recorded> takenAt(CQVDIB& picture, const std::string& path) {
    SYSTEMTIME time{};
    if (picture.GetDateTimeOriginal(path.c_str(), &time) != 0) return std::nullopt;
    const DvScene::Recorded taken{{time.wYear, time.wMonth, time.wDay},
                                  {time.wHour, time.wMinute, time.wSecond}};
    DvStamp stamp;
    stamp.recorded = {taken.date, taken.clock};
    return isValidStamp(stamp, DvSystem::Ntsc) ? std::optional(taken) : std::nullopt;
}

// Loads a picture, upright, as large as a frame.
int loadFrame(const Options& options, const std::string& path, CSize size, CQVDIB& picture) {
    const SIZE shown{options.wide ? size.cy * 16 / 9 : size.cy * 4 / 3, size.cy};
    if (const int code = loadPicture(path, picture, shown); code != Done) return code;
    const bool done =
        turnMirrored(picture, picture.GetOrientation()) &&
        picture.ResizeFilter(size, nullptr, fitNamed(options.fit), DIB_TYPE_SQUARE,
                             options.wide ? DIB_TYPE_16_9 : DIB_TYPE_4_3, RESIZE_METHOD_SCALER) == 0;
    return done ? Done : error(Failed, path + ": cannot be made the size of a frame");
}

int cannotWrite(const std::string& path) {
    return error(Failed, path + ": cannot be written to its end; is the disk full?");
}

// One picture from its first frame up to `end`.
int addPicture(const Options& options, const std::string& path, std::int64_t end, Maker& maker,
               nlohmann::ordered_json& entries, const std::function<void()>& progress) {
    CQVDIB picture;
    if (const int code = loadFrame(options, path, maker.frameSize(), picture); code != Done) return code;
    if (!maker.encode(picture)) return error(NotSupported, path + ": the DV encoder refuses it");
    const auto recorded = takenAt(picture, path);
    const std::int64_t first = maker.frames();
    nlohmann::ordered_json entry = {
        {"picture", path}, {"frame", first}, {"frames", end - first}, {"timecode", labelText(maker.label())}};
    if (recorded) entry["recorded"] = recordedText(*recorded);
    entries.push_back(entry);
    while (maker.frames() < end) {
        if (interrupted()) return Interrupted;
        progress();
        if (!maker.add(maker.frames() == first, recorded)) return cannotWrite(options.out);
    }
    return Done;
}

int run(const Options& options, const Common& common) {
    const bool pal = options.system.empty() ? QVIsPal() != 0 : options.system == "pal";
    const DvSystem system = pal ? DvSystem::Pal : DvSystem::Ntsc;
    const DvRate rate = dvRate(system);
    interrupted(); // from here on Ctrl-C leaves no temporary file
    Target target(options.out);
    if (target.error() != 0) return error(Failed, options.out + ": " + std::strerror(target.error()));
    Maker maker(system, options.wide);
    if (const int code = maker.open(target.temporary()); code != Done) return code;

    // Ends are rounded each by itself, so that nothing adds up.
    const auto endOf = [&](size_t picture) {
        const double seconds = options.seconds * static_cast<double>(picture + 1);
        return std::max(std::llround(seconds * rate.numerator / rate.denominator),
                        static_cast<long long>(picture + 1));
    };
    const auto total = static_cast<double>(endOf(options.pictures.size() - 1));
    nlohmann::ordered_json entries = nlohmann::ordered_json::array();
    Progress progress(common, "movie");
    for (size_t i = 0; i < options.pictures.size(); ++i) {
        const std::string& path = options.pictures[i];
        const auto show = [&] { progress.show(static_cast<double>(maker.frames()) / total, path); };
        if (const int code = addPicture(options, path, endOf(i), maker, entries, show); code != Done)
            return code;
    }
    if (!maker.close()) return cannotWrite(options.out);
    if (!target.commit()) return error(Failed, options.out + ": " + std::strerror(errno));
    const double seconds = static_cast<double>(maker.frames()) * rate.denominator / rate.numerator;
    if (common.json) {
        printJson({{"movie", options.out},
                   {"system", systemText(system)},
                   {"frames", maker.frames()},
                   {"seconds", seconds},
                   {"pictures", entries}});
    } else {
        message(common, options.out + ": " + std::to_string(entries.size()) + " pictures, " +
                            spanText(seconds, '.') + ", " + systemText(system));
    }
    return Done;
}

} // namespace

std::function<int()> setupMovie(CLI::App& app, const Common& common) {
    auto options = std::make_shared<Options>();
    app.add_option("PICTURE", options->pictures, "The pictures, in their order; shown upright")->required();
    app.add_option("-o,--output", options->out, "The movie to write: DV in AVI")->required();
    app.add_option("--seconds", options->seconds, "How long each picture is shown")
        ->check(CLI::Range(0.03, kMostSeconds))
        ->capture_default_str();
    addFit(app, options->fit);
    app.add_flag("--wide", options->wide, "Frames in 16:9 instead of 4:3");
    app.add_option("--system", options->system, "pal or ntsc; without it, that of the settings")
        ->check(CLI::IsMember({"pal", "ntsc"}));
    return [options, &common] {
        const bool named =
            options->out.size() > 4 && toLower(options->out.substr(options->out.size() - 4)) == ".avi";
        return named ? run(*options, common) : error(Usage, options->out + ": movies are written as .avi");
    };
}

} // namespace qv::cli
