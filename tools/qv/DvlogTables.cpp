// The log as a table for people and as comma-separated values.
#include "tools/qv/DvlogWriter.h"

#include <cstdio>

namespace qv::cli {

namespace {

std::string orDash(const std::string& text) { return text.empty() ? "-" : text; }

// Why there is no recording date and time; "" where there is one.
const char* recordedUnknown(const DvFrameInfo& info) {
    return unknownName(info.date ? info.time.unknown : info.date.unknown);
}
std::string flagsOf(const DvFrameInfo& info) {
    std::string flags;
    if (info.recordingStart.value.value_or(false)) flags += "start";
    if (info.recordingEnd.value.value_or(false)) flags += flags.empty() ? "end" : "+end";
    return flags;
}

class TextWriter : public DvlogWriter {
public:
    explicit TextWriter(bool frames) : frames_(frames) {}

    void begin() override {
        if (frames_)
            std::printf("%8s %5s  %-11s  %-19s  %-4s %-20s %-9s %s\n", "frame", "scene", "timecode",
                        "recorded", "shape", "sound", "flags", "damaged blocks");
        else
            std::printf("%5s  %-12s  %-12s  %-19s  %-11s  %-4s %-4s  %-20s  %s\n", "scene", "start", "length",
                        "recorded", "timecode", "tv", "form", "sound", "because");
    }
    void frame(const DvFrameInfo& info, std::int64_t number, std::int64_t scene, bool, double) override {
        if (!frames_) return;
        const int damaged = info.missing + info.damagedVideo + info.damagedAudio;
        std::printf("%8lld %5lld  %-11s  %-19s  %-5s %-20s %-9s %d\n", static_cast<long long>(number),
                    static_cast<long long>(scene), orDash(labelText(info)).c_str(),
                    orDash(recordedText(info)).c_str(), info.aspect ? aspectText(*info.aspect) : "-",
                    orDash(info.audio ? audioText(*info.audio) : "").c_str(), orDash(flagsOf(info)).c_str(),
                    damaged);
    }
    void scene(const DvScene& scene, double start, double length) override {
        if (frames_) return;
        std::printf("%5lld  %-12s  %-12s  %-19s  %-11s  %-4s %-4s  %-20s  %s\n",
                    static_cast<long long>(scene.number), spanText(start, '.').c_str(),
                    spanText(length, '.').c_str(),
                    orDash(scene.firstRecorded ? recordedText(*scene.firstRecorded) : "").c_str(),
                    orDash(scene.firstLabel ? labelText(*scene.firstLabel) : "").c_str(),
                    systemText(scene.system), scene.aspect ? aspectText(*scene.aspect) : "-",
                    orDash(scene.audio ? audioText(*scene.audio) : "").c_str(), reasonText(scene).c_str());
        damaged_ += scene.damagedFrames;
    }
    void end(const DvlogTotals& totals) override {
        if (frames_) return;
        std::printf("%lld %s, %lld frames, %s", static_cast<long long>(totals.scenes),
                    totals.scenes == 1 ? "scene" : "scenes", static_cast<long long>(totals.frames),
                    spanText(totals.seconds, '.').c_str());
        if (damaged_) std::printf(", %lld with damaged blocks", static_cast<long long>(damaged_));
        if (totals.losses.skippedBytes)
            std::printf(", %lld bytes belong to no frame",
                        static_cast<long long>(totals.losses.skippedBytes));
        if (totals.losses.emptyFrames)
            std::printf(", %lld frames left empty", static_cast<long long>(totals.losses.emptyFrames));
        if (totals.losses.oddFrames)
            std::printf(", %lld chunks that are no DV frame",
                        static_cast<long long>(totals.losses.oddFrames));
        std::puts(totals.losses.endsEarly ? ", ends within a frame" : "");
    }

private:
    bool frames_;
    std::int64_t damaged_ = 0;
};

class CsvWriter : public DvlogWriter {
public:
    explicit CsvWriter(bool frames) : frames_(frames) {}

    void begin() override {
        std::puts(
            frames_
                ? "frame,scene,starts,seconds,system,timecode,timecode_unknown,timecode_confidence,recorded,"
                  "recorded_unknown,recorded_confidence,aspect,audio_rate,audio_channels,audio_bits,"
                  "recording_start,recording_end,missing_blocks,damaged_video_blocks,damaged_audio_blocks"
                : "scene,reason,lost_frames,aspect_changed,audio_changed,first_frame,frames,start_seconds,"
                  "length_seconds,system,first_timecode,last_timecode,timecode_unknown,first_recorded,"
                  "last_recorded,recorded_unknown,aspect,audio_rate,audio_channels,audio_bits,"
                  "damaged_frames,missing_blocks,damaged_video_blocks,damaged_audio_blocks");
    }
    void frame(const DvFrameInfo& info, std::int64_t number, std::int64_t scene, bool starts,
               double seconds) override {
        if (!frames_) return;
        const auto flag = [](const DvField<bool>& field) { return !field ? "" : *field ? "1" : "0"; };
        std::printf("%lld,%lld,%d,%.3f,%s,%s,%s,%s,%s,%s,%s,%s,%s,%s,%s,%d,%d,%d\n",
                    static_cast<long long>(number), static_cast<long long>(scene), starts ? 1 : 0, seconds,
                    systemText(info.system), labelText(info).c_str(), unknownName(info.timecode.unknown),
                    confidence(info.timecode.confidence).c_str(), recordedText(info).c_str(),
                    recordedUnknown(info),
                    confidence(std::min(info.date.confidence, info.time.confidence)).c_str(),
                    info.aspect ? aspectText(*info.aspect) : "", audio(info.audio.value).c_str(),
                    flag(info.recordingStart), flag(info.recordingEnd), info.missing, info.damagedVideo,
                    info.damagedAudio);
    }
    void scene(const DvScene& s, double start, double length) override {
        if (frames_) return;
        const auto label = [](const std::optional<DvLabel>& value) { return value ? labelText(*value) : ""; };
        const auto recorded = [](const std::optional<DvScene::Recorded>& value) {
            return value ? recordedText(*value) : "";
        };
        std::printf("%lld,%s,%lld,%d,%d,%lld,%lld,%.3f,%.3f,%s,%s,%s,%s,%s,%s,%s,%s,%s,%lld,%lld,%lld,%lld\n",
                    static_cast<long long>(s.number), reasonName(s.reason),
                    static_cast<long long>(s.lostFrames), s.aspectChanged ? 1 : 0, s.audioChanged ? 1 : 0,
                    static_cast<long long>(s.firstFrame), static_cast<long long>(s.frames), start, length,
                    systemText(s.system), label(s.firstLabel).c_str(), label(s.lastLabel).c_str(),
                    s.firstLabel ? "" : unknownName(s.labelUnknown), recorded(s.firstRecorded).c_str(),
                    recorded(s.lastRecorded).c_str(), s.firstRecorded ? "" : unknownName(s.recordedUnknown),
                    s.aspect ? aspectText(*s.aspect) : "", audio(s.audio).c_str(),
                    static_cast<long long>(s.damagedFrames), static_cast<long long>(s.missingBlocks),
                    static_cast<long long>(s.damagedVideoBlocks),
                    static_cast<long long>(s.damagedAudioBlocks));
    }

private:
    static std::string confidence(float share) {
        char text[16];
        std::snprintf(text, sizeof text, "%.2f", static_cast<double>(share));
        return share > 0 ? text : "";
    }
    static std::string audio(const std::optional<DvAudioMode>& mode) {
        if (!mode) return ",,";
        return std::to_string(mode->rate) + "," + std::to_string(mode->channels) + "," +
               std::to_string(mode->bits);
    }

    bool frames_;
};

} // namespace

std::unique_ptr<DvlogWriter> makeTextWriter(const DvlogForm& form) {
    return std::make_unique<TextWriter>(form.frames);
}
std::unique_ptr<DvlogWriter> makeCsvWriter(const DvlogForm& form) {
    return std::make_unique<CsvWriter>(form.frames);
}

} // namespace qv::cli
