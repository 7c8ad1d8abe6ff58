// The log as JSON; its form is laid down in docs/tape-log.md.
#include "tools/qv/DvlogWriter.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdio>

namespace qv::cli {

namespace {

using Json = nlohmann::ordered_json;

constexpr int kVersion = 1; // goes up when a field changes its meaning or goes away

std::string written(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

double rounded(double seconds) { return std::round(seconds * 1000) / 1000; }

std::string isoText(const DvScene::Recorded& recorded) {
    std::string text = recordedText(recorded);
    text[10] = 'T';
    return text;
}

// A value that may be unknown stands beside the reason why it is, which is null where it is known.
void put(Json& object, const std::string& name, const std::optional<Json>& value, DvUnknown unknown) {
    object[name] = value ? *value : Json();
    object[name + "Unknown"] = value ? Json() : Json(unknownName(unknown));
}

std::optional<Json> audioOf(const std::optional<DvAudioMode>& audio) {
    if (!audio) return std::nullopt;
    return Json{{"rate", audio->rate}, {"channels", audio->channels}, {"bits", audio->bits}};
}

class JsonWriter : public DvlogWriter {
public:
    explicit JsonWriter(const DvlogForm& form) : form_(form) {}

    void begin() override {
        std::printf("{\n  \"format\": \"qv-dvlog\",\n  \"version\": %d,\n  \"file\": %s,\n", kVersion,
                    written(form_.file).c_str());
        std::printf(form_.frames ? "  \"frames\": [" : "  \"scenes\": [");
    }
    void frame(const DvFrameInfo& info, std::int64_t number, std::int64_t scene, bool starts,
               double seconds) override {
        if (!form_.frames) return;
        Json frame{{"frame", number},
                   {"scene", scene},
                   {"starts", starts},
                   {"seconds", rounded(seconds)},
                   {"system", systemText(info.system)}};
        std::optional<Json> label, recorded, aspect;
        if (info.timecode) label = labelText(*info.timecode);
        if (info.date && info.time) recorded = isoText({*info.date, *info.time});
        if (info.aspect) aspect = aspectText(*info.aspect);
        put(frame, "timecode", label, info.timecode.unknown);
        put(frame, "recorded", recorded, info.date ? info.time.unknown : info.date.unknown);
        put(frame, "aspect", aspect, info.aspect.unknown);
        put(frame, "audio", audioOf(info.audio.value), info.audio.unknown);
        const auto flag = [](const DvField<bool>& field) { return field ? Json(*field) : Json(); };
        frame["recordingStart"] = flag(info.recordingStart);
        frame["recordingEnd"] = flag(info.recordingEnd);
        const auto share = [](float confidence) {
            return confidence > 0 ? Json(rounded(static_cast<double>(confidence))) : Json();
        };
        frame["confidence"] = {{"timecode", share(info.timecode.confidence)},
                               {"recorded", share(std::min(info.date.confidence, info.time.confidence))},
                               {"aspect", share(info.aspect.confidence)},
                               {"audio", share(info.audio.confidence)}};
        frame["missingBlocks"] = info.missing;
        frame["damagedVideoBlocks"] = info.damagedVideo;
        frame["damagedAudioBlocks"] = info.damagedAudio;
        element(written(frame));
    }
    void scene(const DvScene& s, double start, double length) override {
        Json scene{{"scene", s.number},
                   {"reason", reasonName(s.reason)},
                   {"lostFrames", s.lostFrames},
                   {"aspectChanged", s.aspectChanged},
                   {"audioChanged", s.audioChanged},
                   {"firstFrame", s.firstFrame},
                   {"frames", s.frames},
                   {"start", rounded(start)},
                   {"length", rounded(length)},
                   {"system", systemText(s.system)}};
        std::optional<Json> labels, recorded, aspect;
        if (s.firstLabel)
            labels = Json{{"first", labelText(*s.firstLabel)}, {"last", labelText(*s.lastLabel)}};
        if (s.firstRecorded)
            recorded = Json{{"first", isoText(*s.firstRecorded)}, {"last", isoText(*s.lastRecorded)}};
        if (s.aspect) aspect = aspectText(*s.aspect);
        put(scene, "timecode", labels, s.labelUnknown);
        put(scene, "recorded", recorded, s.recordedUnknown);
        put(scene, "aspect", aspect, s.aspectUnknown);
        put(scene, "audio", audioOf(s.audio), s.audioUnknown);
        scene["damagedFrames"] = s.damagedFrames;
        scene["missingBlocks"] = s.missingBlocks;
        scene["damagedVideoBlocks"] = s.damagedVideoBlocks;
        scene["damagedAudioBlocks"] = s.damagedAudioBlocks;
        if (form_.frames)
            scenes_.push_back(written(scene));
        else
            element(written(scene));
    }
    void end(const DvlogTotals& totals) override {
        std::printf("\n  ],\n");
        if (form_.frames) {
            std::printf("  \"scenes\": [");
            isFirst_ = true;
            for (const auto& scene : scenes_) element(scene);
            std::printf("\n  ],\n");
        }
        const Json all{{"scenes", totals.scenes},
                       {"frames", totals.frames},
                       {"seconds", rounded(totals.seconds)},
                       {"skippedBytes", totals.losses.skippedBytes},
                       {"emptyFrames", totals.losses.emptyFrames},
                       {"oddFrames", totals.losses.oddFrames},
                       {"endsEarly", totals.losses.endsEarly}};
        std::printf("  \"totals\": %s\n}\n", written(all).c_str());
    }

private:
    void element(const std::string& text) {
        std::printf("%s\n    %s", isFirst_ ? "" : ",", text.c_str());
        isFirst_ = false;
    }

    DvlogForm form_;
    bool isFirst_ = true;
    std::vector<std::string> scenes_;
};

} // namespace

std::unique_ptr<DvlogWriter> makeJsonWriter(const DvlogForm& form) {
    return std::make_unique<JsonWriter>(form);
}

} // namespace qv::cli
