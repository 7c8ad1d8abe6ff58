#include "qvlibs/timecode/DvScenes.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <vector>

namespace qv {

namespace {

// So many frames must bear a change out (or all that are left at the end of the tape, but two at least).
constexpr int kWitnesses = 3;
// The clock counts whole seconds: two readings of one recording differ from the frames between them by less
// than one second, and a recorder may be late in stepping its clock.
constexpr double kClockSlack = 1.5;
// How far back unreadable frames explain a jump.
constexpr int kDamageReach = 12;
// Earlier recordings that are remembered, to tell when one of them goes on.
constexpr size_t kRemembered = 1024;

struct Frame {
    std::int64_t number;
    DvFrameInfo info;

    double perSecond() const {
        const DvRate rate = dvRate(info.system);
        return static_cast<double>(rate.numerator) / rate.denominator;
    }
    // Where the counter would stand at frame 0 of the tape: constant while it runs.
    std::optional<std::int64_t> counterBase() const {
        if (!info.timecode) return std::nullopt;
        const std::int64_t day = dvLabelsOfDay(info.timecode->dropFrame, info.system);
        return ((dvLabelCount(*info.timecode, info.system) - number) % day + day) % day;
    }
    std::optional<std::int64_t> seconds() const {
        if (!info.date || !info.time) return std::nullopt;
        return dvClockSeconds(*info.date, *info.time);
    }
    bool isClockBlank() const {
        return info.date.unknown == DvUnknown::Empty || info.time.unknown == DvUnknown::Empty;
    }
    // Nothing to be read from it, or half of it gone.
    bool isUnreadable() const {
        return (info.missing + info.damagedVideo) * 2 >= info.blocks ||
               (!info.timecode && info.missing + info.damagedVideo > info.blocks / 10);
    }
};

struct ClockReading {
    std::int64_t frame, seconds;
};

// How far `frame` is ahead of where the clock should be, in seconds.
double clockJump(const ClockReading& from, const Frame& frame, std::int64_t seconds) {
    return static_cast<double>(seconds - from.seconds) -
           static_cast<double>(frame.number - from.frame) / frame.perSecond();
}

// What holds for the scene so far.
struct Timeline {
    DvSystem system = DvSystem::Ntsc;
    std::optional<std::int64_t> counterBase;
    bool dropFrame = false;
    std::optional<ClockReading> clock; // the last one believed
    std::int64_t tickedAt = 0;         // the frame where it last moved on
    bool isClockBlank = false;
    std::optional<DvAspect> aspect;
    std::optional<DvAudioMode> audio;

    // A clock that was never set may stand still: then it tells nothing of what passed.
    bool isClockRunning(const Frame& at) const {
        return clock && static_cast<double>(at.number - tickedAt) / at.perSecond() < 2 * kClockSlack;
    }
    // Recorder's clock at counter zero: one number for one recording, wherever on the tape its parts lie.
    std::optional<double> origin(const Frame& at) const {
        if (!counterBase || !clock) return std::nullopt;
        return static_cast<double>(clock->seconds) -
               static_cast<double>(clock->frame + *counterBase) / at.perSecond();
    }
};

} // namespace

struct DvSceneFinder::State {
    DvSceneRules rules;
    SceneSink onScene;
    FrameSink onFrame;

    std::deque<Frame> queue; // the undecided frames; all judgements look at these
    std::int64_t next = 0;
    bool ending = false;
    Timeline now;
    bool wasStart = false;
    int sinceUnreadable = 1000;
    std::vector<double> origins;
    DvScene scene;

    const Frame& head() const { return queue.front(); }

    // The run of frames in the queue that share the head's system.
    template <class Matches>
    int count(Matches matches) const {
        int found = 0;
        for (const Frame& frame : queue) {
            if (frame.info.system != head().info.system) break;
            found += matches(frame) ? 1 : 0;
        }
        return found;
    }
    bool isEnough(int witnesses, int against) const {
        const int wanted =
            ending ? std::min<int>(kWitnesses, std::max<int>(2, static_cast<int>(queue.size()))) : kWitnesses;
        return witnesses >= wanted && witnesses > against;
    }

    // Enough to take over what was not known before: even a tape of one frame has a date.
    bool isShared(int witnesses) const {
        return witnesses >= (ending ? std::min(kWitnesses, static_cast<int>(queue.size())) : kWitnesses);
    }

    int withCounterBase(std::int64_t base) const {
        return count([&](const Frame& frame) { return frame.counterBase() == base; });
    }
    int withClock(const ClockReading& reading) const {
        return count([&](const Frame& frame) {
            const auto seconds = frame.seconds();
            return seconds && std::abs(clockJump(reading, frame, *seconds)) < kClockSlack;
        });
    }
    int withBlankClock() const {
        return count([](const Frame& frame) { return frame.isClockBlank(); });
    }
    int withSomeClock() const {
        return count([](const Frame& frame) { return frame.seconds().has_value(); });
    }

    // The first value in the queue that enough frames share.
    template <class Get, class Count>
    auto firstShared(Get get, Count witnesses) const -> decltype(get(queue.front())) {
        for (const Frame& frame : queue) {
            if (frame.info.system != head().info.system) break;
            const auto value = get(frame);
            if (value && isShared(witnesses(frame, *value))) return value;
        }
        return std::nullopt;
    }

    Timeline timelineAhead() const {
        Timeline line;
        line.system = head().info.system;
        const Frame* source = nullptr;
        line.counterBase = firstShared([](const Frame& frame) { return frame.counterBase(); },
                                       [&](const Frame& frame, std::int64_t base) {
                                           source = &frame;
                                           return withCounterBase(base);
                                       });
        if (line.counterBase && source) line.dropFrame = source->info.timecode->dropFrame;
        line.clock = firstShared(
            [](const Frame& frame) -> std::optional<ClockReading> {
                const auto seconds = frame.seconds();
                if (!seconds) return std::nullopt;
                return ClockReading{frame.number, *seconds};
            },
            [&](const Frame&, const ClockReading& reading) { return withClock(reading); });
        line.isClockBlank = !line.clock && isShared(withBlankClock());
        line.aspect = firstShared([](const Frame& frame) { return frame.info.aspect.value; },
                                  [&](const Frame&, DvAspect aspect) { return withAspect(aspect); });
        line.audio = firstShared([](const Frame& frame) { return frame.info.audio.value; },
                                 [&](const Frame&, const DvAudioMode& audio) { return withAudio(audio); });
        return line;
    }
    int withAspect(DvAspect aspect) const {
        return count([&](const Frame& frame) { return frame.info.aspect.value == aspect; });
    }
    int withAudio(const DvAudioMode& audio) const {
        return count([&](const Frame& frame) { return frame.info.audio.value == audio; });
    }

    // What speaks for a break before the head of the queue.
    bool counterJumps() const {
        const auto base = head().counterBase();
        return now.counterBase && base && base != now.counterBase &&
               isEnough(withCounterBase(*base), withCounterBase(*now.counterBase));
    }
    bool clockJumps() const {
        const auto seconds = head().seconds();
        if (now.clock && seconds && std::abs(clockJump(*now.clock, head(), *seconds)) >= kClockSlack)
            return isEnough(withClock({head().number, *seconds}), withClock(*now.clock));
        if (now.isClockBlank && seconds)
            return isEnough(withClock({head().number, *seconds}), withBlankClock());
        if (now.clock && head().isClockBlank()) return isEnough(withBlankClock(), withSomeClock());
        return false;
    }
    bool aspectChanges() const {
        const auto& aspect = head().info.aspect;
        return now.aspect && aspect && *aspect != *now.aspect &&
               isEnough(withAspect(*aspect), withAspect(*now.aspect));
    }
    bool audioChanges() const {
        const auto& audio = head().info.audio;
        return now.audio && audio && *audio != *now.audio &&
               isEnough(withAudio(*audio), withAudio(*now.audio));
    }
    bool startIsMarked() const {
        const auto& start = head().info.recordingStart;
        return start && *start && start.confidence > 0.5F && !wasStart;
    }

    // Counter frames that the new timeline is ahead of the old one, the shorter way round the clock face.
    static std::int64_t counterJump(const Timeline& from, const Timeline& to) {
        const std::int64_t day = dvLabelsOfDay(to.dropFrame, to.system);
        const std::int64_t ahead = ((*to.counterBase - *from.counterBase) % day + day) % day;
        return ahead > day / 2 ? ahead - day : ahead;
    }

    bool isOlderRecording(const Timeline& to) const {
        const auto origin = to.origin(head());
        return origin && std::any_of(origins.begin(), origins.end(),
                                     [&](double old) { return std::abs(old - *origin) < 2 * kClockSlack; });
    }

    void explain(const Timeline& to, DvScene& begun) const {
        const double perSecond = head().perSecond();
        const bool knowsCounters = now.counterBase && to.counterBase && now.dropFrame == to.dropFrame;
        const std::int64_t counter = knowsCounters ? counterJump(now, to) : 0;
        const bool knowsClocks =
            now.clock && to.clock && (now.isClockRunning(head()) || now.clock->seconds != to.clock->seconds);
        const double clock = knowsClocks
                                 ? static_cast<double>(to.clock->seconds - now.clock->seconds) -
                                       static_cast<double>(to.clock->frame - now.clock->frame) / perSecond
                                 : 0;
        const bool together =
            !knowsClocks || std::abs(clock - static_cast<double>(counter) / perSecond) < kClockSlack;

        begun.aspectChanged = now.aspect && to.aspect && *now.aspect != *to.aspect;
        begun.audioChanged = now.audio && to.audio && *now.audio != *to.audio;
        if (now.system != to.system) {
            begun.reason = DvBreak::SystemChanged;
        } else if (knowsClocks && clock <= -kClockSlack && isOlderRecording(to)) {
            begun.reason = DvBreak::OlderRecording;
        } else if (counter > 0 && together) {
            begun.reason = sinceUnreadable <= kDamageReach ? DvBreak::TapeDamage : DvBreak::LostFrames;
            begun.lostFrames = counter;
        } else if (counter < 0 || (counter > 0 && clock < kClockSlack) || now.dropFrame != to.dropFrame) {
            begun.reason = DvBreak::CounterReset;
        } else if (clock <= -kClockSlack || now.isClockBlank != to.isClockBlank) {
            begun.reason = DvBreak::ClockChanged;
        } else if (clock >= kClockSlack || startIsMarked()) {
            begun.reason = DvBreak::Pause;
        } else {
            begun.reason = begun.aspectChanged ? DvBreak::AspectChanged : DvBreak::AudioChanged;
        }
    }

    bool breaksHere() const {
        return (rules.system && head().info.system != now.system) || (rules.timecode && counterJumps()) ||
               (rules.recordingTime && clockJumps()) || (rules.recordingStart && startIsMarked()) ||
               (rules.aspect && aspectChanges()) || (rules.audio && audioChanges());
    }

    void closeScene() {
        // A value that single frames gave and no others bore out.
        const auto doubt = [](bool isKnown, DvUnknown& unknown) {
            if (!isKnown && unknown == DvUnknown::Known) unknown = DvUnknown::Disputed;
        };
        doubt(scene.firstLabel.has_value(), scene.labelUnknown);
        doubt(scene.firstRecorded.has_value(), scene.recordedUnknown);
        doubt(scene.aspect.has_value(), scene.aspectUnknown);
        doubt(scene.audio.has_value(), scene.audioUnknown);
        if (scene.frames && onScene) onScene(scene);
    }

    void openScene(const Timeline& to) {
        DvScene begun;
        begun.number = scene.number + 1;
        begun.firstFrame = head().number;
        begun.system = to.system;
        begun.labelUnknown = head().info.timecode.unknown;
        begun.recordedUnknown = head().info.date ? head().info.time.unknown : head().info.date.unknown;
        begun.aspectUnknown = head().info.aspect.unknown;
        begun.audioUnknown = head().info.audio.unknown;
        if (scene.number) {
            explain(to, begun);
            if (const auto origin = now.origin(head())) {
                if (origins.size() == kRemembered) origins.erase(origins.begin());
                origins.push_back(*origin);
            }
        }
        scene = begun;
        const bool stands = now.clock && to.clock && now.clock->seconds == to.clock->seconds;
        const std::int64_t tickedAt = stands ? now.tickedAt : head().number;
        now = to;
        now.tickedAt = tickedAt;
    }

    // The head bears the scene out, or is silent, or is a damaged frame that counts for nothing.
    void follow() {
        const Frame& frame = head();
        const DvFrameInfo& info = frame.info;
        if (!now.counterBase || !now.clock || !now.aspect || !now.audio) {
            const Timeline ahead = timelineAhead();
            if (!now.counterBase) {
                now.counterBase = ahead.counterBase;
                now.dropFrame = ahead.dropFrame;
            }
            if (!now.clock && !now.isClockBlank) {
                now.clock = ahead.clock;
                now.isClockBlank = ahead.isClockBlank;
            }
            if (!now.aspect) now.aspect = ahead.aspect;
            if (!now.audio) now.audio = ahead.audio;
        }
        const auto seconds = frame.seconds();
        const bool clockFits =
            now.clock && seconds && std::abs(clockJump(*now.clock, frame, *seconds)) < kClockSlack;
        if (clockFits) {
            if (now.clock->seconds != *seconds) now.tickedAt = frame.number;
            now.clock = ClockReading{frame.number, *seconds};
            const DvScene::Recorded recorded{*info.date, *info.time};
            if (!scene.firstRecorded) scene.firstRecorded = recorded;
            scene.lastRecorded = recorded;
        }
        const bool counterFits =
            now.counterBase ? frame.counterBase() == now.counterBase : bool{info.timecode};
        if (counterFits) {
            if (!scene.firstLabel) scene.firstLabel = *info.timecode;
            scene.lastLabel = *info.timecode;
        }
        scene.aspect = now.aspect;
        scene.audio = now.audio;
        ++scene.frames;
        scene.damagedFrames += info.missing + info.damagedVideo + info.damagedAudio > 0;
        scene.missingBlocks += info.missing;
        scene.damagedVideoBlocks += info.damagedVideo;
        scene.damagedAudioBlocks += info.damagedAudio;
        sinceUnreadable = frame.isUnreadable() ? 0 : std::min(sinceUnreadable + 1, 1000);
        if (info.recordingStart) wasStart = *info.recordingStart;
    }

    void decideHead() {
        const bool starts = scene.number == 0 || breaksHere();
        if (starts) {
            closeScene();
            openScene(timelineAhead());
        }
        follow();
        if (onFrame) onFrame(head().info, head().number, scene.number, starts);
        queue.pop_front();
    }
};

DvSceneFinder::DvSceneFinder(const DvSceneRules& rules, SceneSink scenes, FrameSink frames)
    : state_(std::make_unique<State>()) {
    state_->rules = rules;
    state_->onScene = std::move(scenes);
    state_->onFrame = std::move(frames);
}

DvSceneFinder::~DvSceneFinder() = default;

void DvSceneFinder::add(const DvFrameInfo& frame) {
    state_->queue.push_back({state_->next++, frame});
    if (state_->queue.size() == kAhead) state_->decideHead();
}

void DvSceneFinder::finish() {
    state_->ending = true;
    while (!state_->queue.empty()) state_->decideHead();
    state_->closeScene();
    state_->scene.frames = 0;
}

} // namespace qv
