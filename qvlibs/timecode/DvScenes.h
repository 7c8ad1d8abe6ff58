// Where one recording on a tape ends and the next begins, and why.
//
// A scene runs as long as timecode and recording time go on as they began. A change counts when it lasts: what
// a few frames say, and the frames behind them take back, is damage and ends nothing. So frames are decided a
// little later than they are given, and memory does not grow with the tape.
#pragma once

#include "qvlibs/timecode/DvFrameInfo.h"

#include <functional>
#include <memory>

namespace qv {

// Why a scene begins where it does.
enum class DvBreak : int {
    Start,          // of the tape
    Pause,          // the camera was paused: time went by, the counter went on
    LostFrames,     // counter and clock jump ahead together: frames in between are not here
    TapeDamage,     // the same, out of a stretch of unreadable frames
    ClockChanged,   // the recorder's clock was set, set back, or lost
    CounterReset,   // the tape counter begins anew or jumps while the clock goes on
    OlderRecording, // an earlier recording goes on: the end of what was recorded over it
    SystemChanged,  // from NTSC to PAL or back
    AspectChanged,
    AudioChanged,
};

// What may end a scene.
struct DvSceneRules {
    bool recordingStart = true; // the recorder's own mark
    bool recordingTime = true;  // that jumps
    bool timecode = true;       // that jumps or restarts
    bool aspect = true;
    bool audio = true;
    bool system = true;
};

struct DvScene {
    std::int64_t number = 0;     // from 1
    std::int64_t firstFrame = 0; // on the tape, from 0
    std::int64_t frames = 0;
    DvBreak reason = DvBreak::Start;
    // Counter frames missing before the scene; only with LostFrames and TapeDamage.
    std::int64_t lostFrames = 0;
    bool aspectChanged = false; // at the break, whatever the reason
    bool audioChanged = false;

    DvSystem system = DvSystem::Ntsc;
    std::optional<DvLabel> firstLabel, lastLabel; // the first and last that are known
    struct Recorded {
        DvDate date;
        DvClock clock;
    };
    std::optional<Recorded> firstRecorded, lastRecorded;
    std::optional<DvAspect> aspect;
    std::optional<DvAudioMode> audio;
    // Why the fields above are empty, where they are: of the scene's first frame.
    DvUnknown labelUnknown = DvUnknown::Known, recordedUnknown = DvUnknown::Known;
    DvUnknown aspectUnknown = DvUnknown::Known, audioUnknown = DvUnknown::Known;

    std::int64_t damagedFrames = 0; // with any of the following
    std::int64_t missingBlocks = 0, damagedVideoBlocks = 0, damagedAudioBlocks = 0;
};

class QVLIBS_API DvSceneFinder {
public:
    // Called in the order of the tape. `starts`: the frame is the first of scene `scene` (from 1).
    using FrameSink =
        std::function<void(const DvFrameInfo& frame, std::int64_t number, std::int64_t scene, bool starts)>;
    using SceneSink = std::function<void(const DvScene& scene)>; // a whole scene, after its last frame
    // Frames that may be undecided at a time.
    static constexpr int kAhead = 16;

    // Either sink may be empty.
    DvSceneFinder(const DvSceneRules& rules, SceneSink scenes, FrameSink frames = {});
    ~DvSceneFinder();
    DvSceneFinder(const DvSceneFinder&) = delete;
    DvSceneFinder& operator=(const DvSceneFinder&) = delete;

    void add(const DvFrameInfo& frame);
    void finish(); // decides what is left; add nothing after it

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace qv
