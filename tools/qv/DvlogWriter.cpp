#include "tools/qv/DvlogWriter.h"

#include "tools/qv/Command.h"

#include <cstdio>
#include <utility>

namespace qv::cli {

namespace {

// Subtitles: the recording date and time, a new one each second.
class SubtitleWriter : public DvlogWriter {
public:
    explicit SubtitleWriter(bool web) : web_(web) {}

    void begin() override {
        if (web_) std::puts("WEBVTT\n");
    }
    void frame(const DvFrameInfo& info, std::int64_t, std::int64_t, bool starts, double seconds) override {
        const std::string text = recordedText(info);
        // A frame that does not tell leaves the text standing for the rest of its second.
        const bool isOver = seconds >= start_ + 1 - 1e-6 || starts || (!text.empty() && text != text_);
        if (isOver) {
            flush(seconds);
            text_ = text;
            start_ = seconds;
        } else if (text_.empty() && !text.empty()) {
            text_ = text;
            start_ = seconds;
        }
    }
    void end(const DvlogTotals& totals) override { flush(totals.seconds); }

private:
    void flush(double until) {
        if (text_.empty() || until <= start_) return;
        const char fraction = web_ ? '.' : ',';
        std::printf("%lld\n%s --> %s\n%s\n\n", ++number_, spanText(start_, fraction).c_str(),
                    spanText(until, fraction).c_str(), text_.c_str());
        text_.clear();
    }

    bool web_;
    long long number_ = 0;
    std::string text_;
    double start_ = -1;
};

class ChapterWriter : public DvlogWriter {
public:
    void scene(const DvScene& scene, double start, double) override {
        const auto title = scene.firstRecorded ? recordedText(*scene.firstRecorded) : reasonText(scene);
        std::printf("CHAPTER%02lld=%s\nCHAPTER%02lldNAME=%s\n", static_cast<long long>(scene.number),
                    spanText(start, '.').c_str(), static_cast<long long>(scene.number), title.c_str());
    }
};

// An edit list in the form of the CMX 3600: source is the tape's own counter, record counts from zero.
class EdlWriter : public DvlogWriter {
public:
    explicit EdlWriter(std::string title) : title_(std::move(title)) {}

    void begin() override { std::printf("TITLE: %s\n", printable(title_).c_str()); }
    void scene(const DvScene& scene, double, double) override {
        const bool drop = scene.firstLabel && scene.firstLabel->dropFrame;
        if (scene.system == DvSystem::Ntsc && std::exchange(counting_, drop) != drop)
            std::printf("FCM: %s FRAME\n", drop ? "DROP" : "NON-DROP");
        const std::int64_t first = scene.firstLabel ? dvLabelCount(*scene.firstLabel, scene.system) : record_;
        const auto label = [&](std::int64_t count) {
            return labelText(dvLabelOf(count, drop, scene.system));
        };
        std::printf("\n%03lld  AX       V     C        %s %s %s %s\n", static_cast<long long>(scene.number),
                    label(first).c_str(), label(first + scene.frames).c_str(), label(record_).c_str(),
                    label(record_ + scene.frames).c_str());
        if (scene.firstRecorded) std::printf("* RECORDED: %s\n", recordedText(*scene.firstRecorded).c_str());
        std::printf("* BREAK: %s\n", reasonText(scene).c_str());
        record_ += scene.frames;
    }

private:
    std::string title_;
    std::optional<bool> counting_;
    std::int64_t record_ = 0;
};

} // namespace

const std::vector<std::string>& dvlogForms() {
    static const std::vector<std::string> forms{"text", "json", "csv", "srt", "vtt", "chapters", "edl"};
    return forms;
}

std::unique_ptr<DvlogWriter> makeDvlogWriter(const DvlogForm& form) {
    if (form.name == "json") return makeJsonWriter(form);
    if (form.name == "csv") return makeCsvWriter(form);
    if (form.name == "srt" || form.name == "vtt") return std::make_unique<SubtitleWriter>(form.name == "vtt");
    if (form.name == "chapters") return std::make_unique<ChapterWriter>();
    if (form.name == "edl") return std::make_unique<EdlWriter>(form.file.substr(form.file.rfind('/') + 1));
    return makeTextWriter(form);
}

const char* reasonName(DvBreak reason) {
    switch (reason) {
    case DvBreak::Start: return "start";
    case DvBreak::Pause: return "pause";
    case DvBreak::LostFrames: return "lost-frames";
    case DvBreak::TapeDamage: return "tape-damage";
    case DvBreak::ClockChanged: return "clock-changed";
    case DvBreak::CounterReset: return "counter-reset";
    case DvBreak::OlderRecording: return "older-recording";
    case DvBreak::SystemChanged: return "system-changed";
    case DvBreak::AspectChanged: return "aspect-changed";
    case DvBreak::AudioChanged: return "audio-changed";
    }
    return "";
}

std::string reasonText(const DvScene& scene) {
    const std::string lost =
        std::to_string(scene.lostFrames) + (scene.lostFrames == 1 ? " frame lost" : " frames lost");
    std::string text;
    switch (scene.reason) {
    case DvBreak::Start: return "start of the tape";
    case DvBreak::Pause: text = "camera paused"; break;
    case DvBreak::LostFrames: text = lost; break;
    case DvBreak::TapeDamage: text = "tape damaged, " + lost; break;
    case DvBreak::ClockChanged: text = "clock changed"; break;
    case DvBreak::CounterReset: text = "counter reset"; break;
    case DvBreak::OlderRecording: text = "older recording goes on"; break;
    case DvBreak::SystemChanged: text = std::string("system changed to ") + systemText(scene.system); break;
    case DvBreak::AspectChanged:
    case DvBreak::AudioChanged: break;
    }
    if (scene.aspectChanged) text += std::string(text.empty() ? "" : ", ") + "picture shape changed";
    if (scene.audioChanged) text += std::string(text.empty() ? "" : ", ") + "sound mode changed";
    return text;
}

const char* unknownName(DvUnknown unknown) {
    switch (unknown) {
    case DvUnknown::Known: return "";
    case DvUnknown::Absent: return "absent";
    case DvUnknown::Empty: return "empty";
    case DvUnknown::Impossible: return "impossible";
    case DvUnknown::Disputed: return "disputed";
    }
    return "";
}

} // namespace qv::cli
