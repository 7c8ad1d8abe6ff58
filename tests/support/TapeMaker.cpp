#include "tests/support/TapeMaker.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>

namespace qv::test {

namespace {

constexpr size_t kBlock = 80, kSequence = 12000;

BYTE bcd(int value) { return static_cast<BYTE>(value / 10 << 4 | value % 10); }

using Pack = std::array<BYTE, 5>;

struct Civil {
    int year, month, day, hour, minute, second;
};

Civil civil(std::int64_t seconds) {
    const std::time_t time = seconds;
    std::tm parts{};
    gmtime_r(&time, &parts);
    return {parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec};
}

struct Packs {
    Pack label{0x13, 0xFF, 0xFF, 0xFF, 0xFF};
    Pack date{0x62, 0xFF, 0xFF, 0xFF, 0xFF}, time{0x63, 0xFF, 0xFF, 0xFF, 0xFF};
    Pack source, control, audioSource, audioControl;

    explicit Packs(const TapeFrame& frame) {
        const bool pal = frame.system == DvSystem::Pal;
        if (frame.label) {
            const auto& l = *frame.label;
            const BYTE flags = static_cast<BYTE>(0x80 | (l.dropFrame && !pal ? 0x40 : 0));
            label = {0x13, static_cast<BYTE>(bcd(l.frames) | flags), static_cast<BYTE>(bcd(l.seconds) | 0x80),
                     static_cast<BYTE>(bcd(l.minutes) | 0x80), static_cast<BYTE>(bcd(l.hours) | 0xC0)};
        }
        if (frame.clock) {
            const Civil c = civil(*frame.clock);
            date = {0x62, 0xFF, static_cast<BYTE>(bcd(c.day) | 0xC0), static_cast<BYTE>(bcd(c.month) | 0xE0),
                    bcd(c.year % 100)};
            time = {0x63, 0xFF, static_cast<BYTE>(bcd(c.second) | 0x80),
                    static_cast<BYTE>(bcd(c.minute) | 0x80), static_cast<BYTE>(bcd(c.hour) | 0xC0)};
        }
        source = {0x60, 0xFF, 0xFF, static_cast<BYTE>(pal ? 0x20 : 0), 0xFF};
        control = {0x61, 0x03,
                   static_cast<BYTE>((frame.start ? 0 : 0x80) | (frame.aspect == DvAspect::Wide ? 2 : 0)),
                   0xFC, 0xFF};
        const int sampling = frame.audio.rate == 48000 ? 0 : frame.audio.rate == 44100 ? 1 : 2;
        audioSource = {0x50, 0xCF, static_cast<BYTE>(frame.audio.channels == 4 ? 0x30 : 0x10),
                       static_cast<BYTE>(pal ? 0xE0 : 0xC0),
                       static_cast<BYTE>(0xC0 | sampling << 3 | (frame.audio.bits == 12 ? 1 : 0))};
        audioControl = {0x51, 0x03,
                        static_cast<BYTE>((frame.start ? 0 : 0x80) | (frame.end ? 0 : 0x40) | 0x0F), 0xA0,
                        0xFF};
    }
};

void put(std::vector<BYTE>& bytes, size_t at, const Pack& pack, const TapeFrame& frame,
         std::mt19937& random) {
    if (frame.withoutLabel && pack[0] == 0x13) return;
    if (frame.withoutClock && (pack[0] & 0x0E) == 0x02) return; // date and time, of picture and sound
    std::copy(pack.begin(), pack.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
    if (frame.corruptPacks > 0 && random() < frame.corruptPacks * 4294967295.0) {
        const DWORD noise = random();
        for (size_t i = 0; i < 4; ++i) bytes[at + 1 + i] = static_cast<BYTE>(noise >> (8 * i));
    }
}

// Addresses of all blocks, blank packs.
std::vector<BYTE> blankFrame(DvSystem system) {
    std::vector<BYTE> bytes(dvFrameBytes(system), 0xFF);
    for (size_t block = 0; block < bytes.size() / kBlock; ++block) {
        const size_t place = block % 150, group = (place - 6) / 16,
                     inGroup = place >= 6 ? (place - 6) % 16 : 0;
        int section = 0;
        size_t number = 0;
        if (place == 0) {
            section = 0;
        } else if (place < 3) {
            section = 1, number = place - 1;
        } else if (place < 6) {
            section = 2, number = place - 3;
        } else if (inGroup == 0) {
            section = 3, number = group;
        } else {
            section = 4, number = group * 15 + inGroup - 1;
        }
        BYTE* at = bytes.data() + block * kBlock;
        at[0] = static_cast<BYTE>(section << 5 | 0x1F);
        at[1] = static_cast<BYTE>(block / 150 << 4 | 7);
        at[2] = static_cast<BYTE>(number);
        if (section == 0) at[3] = system == DvSystem::Pal ? 0xBF : 0x3F, at[4] = 0x78;
        if (section == 3) std::fill(at + 8, at + kBlock, BYTE{0});
        if (section == 4) at[3] = 0x0F, std::fill(at + 4, at + kBlock, BYTE{0});
    }
    return bytes;
}

} // namespace

void makeFrame(const TapeFrame& frame, std::mt19937& random, std::vector<BYTE>& bytes) {
    static const auto* blank =
        new std::array<std::vector<BYTE>, 2>{blankFrame(DvSystem::Ntsc), blankFrame(DvSystem::Pal)};
    bytes = (*blank)[frame.system == DvSystem::Pal ? 1 : 0];
    const Packs packs(frame);
    const size_t sequences = bytes.size() / kSequence;
    for (size_t i = 0; i < sequences; ++i) {
        const size_t at = i * kSequence;
        const auto here = [&](size_t place, const Pack& pack) {
            put(bytes, at + place, pack, frame, random);
        };
        for (size_t sync = 0; sync < 12; ++sync) {
            const size_t place = 80 * (1 + sync / 6) + 6 + 8 * (sync % 6);
            const bool secondHalf = i >= sequences / 2;
            here(place, secondHalf && sync % 6 == 4   ? packs.date
                        : secondHalf && sync % 6 == 5 ? packs.time
                                                      : packs.label);
        }
        const size_t vaux = i % 2 == 0 ? 448 : 243;
        here(vaux, packs.source);
        here(vaux + 5, packs.control);
        here(vaux + 10, packs.date);
        here(vaux + 15, packs.time);
        const size_t audio = 480 + (i % 2 == 0 ? 3 : 0) * 1280 + 3;
        Pack date = packs.date, time = packs.time;
        date[0] = 0x52, time[0] = 0x53;
        here(audio, packs.audioSource);
        here(audio + 1280, packs.audioControl);
        here(audio + 2560, date);
        here(audio + 3840, time);
        for (size_t block = 6; block < 150 && frame.markedBlocks > 0; ++block) {
            if ((block - 6) % 16 != 0 && random() < frame.markedBlocks * 4294967295.0)
                bytes[at + block * kBlock + 3] = 0xFF;
        }
    }
    const size_t blocks = bytes.size() / kBlock;
    if (frame.nullBlocks < 0) std::fill(bytes.begin(), bytes.end(), BYTE{0});
    for (int i = 0; i < frame.nullBlocks; ++i) {
        const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(random() % blocks * kBlock);
        std::fill(first, first + kBlock, BYTE{0});
    }
}

std::vector<BYTE> makeFrame(const TapeFrame& frame, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<BYTE> bytes;
    makeFrame(frame, random, bytes);
    return bytes;
}

namespace {

// A camera with its tape. Time is kept in frames so that clock and counter never drift apart.
class Camera {
public:
    explicit Camera(unsigned seed) : random_(seed) {
        system_ = one(3) ? DvSystem::Pal : DvSystem::Ntsc;
        drop_ = system_ == DvSystem::Ntsc && !one(3);
        clock_ = 1.0e9 + static_cast<double>(random_() % 300000000) + real();
        counter_ = one(2) ? 0 : random_() % 1000000;
        const unsigned clockKind = random_() % 8;
        hasClock_ = clockKind != 0;
        isStuck_ = clockKind == 1;
        corrupt_ = one(2) ? 0.01 * real() : 0;
        if (!hasClock_) tape_.story += "clock never set, ";
        if (isStuck_) tape_.story += "clock stands still, ";
    }

    Tape live() {
        record(60 + below(300), DvBreak::Start);
        const unsigned events = 2 + below(9);
        for (unsigned i = 0; i < events; ++i) happen();
        if (one(3)) overwrite();
        if (one(2)) damageSingleFrames();
        return std::move(tape_);
    }

private:
    bool one(unsigned in) { return random_() % in == 0; }
    unsigned below(unsigned limit) { return random_() % limit; }
    double real() { return random_() / 4294967296.0; }
    double perSecond() const {
        return static_cast<double>(dvRate(system_).numerator) / dvRate(system_).denominator;
    }

    void tell(const std::string& what) {
        tape_.story += what + " at " + std::to_string(tape_.frames.size()) + ", ";
    }

    // One uncut stretch. The camera marks its first frame where the recording was started there.
    void record(std::int64_t frames, std::optional<DvBreak> reason, bool marked = true,
                std::int64_t lost = 0) {
        if (reason) tape_.breaks.push_back({static_cast<std::int64_t>(tape_.frames.size()), *reason, lost});
        for (std::int64_t i = 0; i < frames; ++i) {
            TapeFrame frame;
            frame.system = system_;
            frame.label = dvLabelOf(counter_++, drop_, system_);
            if (hasClock_) frame.clock = static_cast<std::int64_t>(isStuck_ ? 946684800 : std::floor(clock_));
            clock_ += 1 / perSecond();
            latest_ = std::max(latest_, clock_);
            frame.aspect = aspect_;
            frame.audio = audio_;
            frame.start = marked && i == 0;
            frame.corruptPacks = corrupt_;
            tape_.frames.push_back(frame);
        }
    }
    std::int64_t length() { return 60 + below(300); }
    void switchAspect() { aspect_ = aspect_ == DvAspect::Wide ? DvAspect::Standard : DvAspect::Wide; }
    void switchAudio() {
        audio_ = audio_.rate == 48000 ? DvAudioMode{32000, 4, 12} : DvAudioMode{48000, 2, 16};
    }

    void happen() {
        switch (below(12)) {
        case 0:
        case 1:
        case 2: return pause();
        case 3: return loseFrames();
        case 4: return damageTape();
        case 5: return resetCounter();
        case 6: return changeClock();
        case 7: return splice();
        case 8:
            tell("aspect");
            switchAspect();
            return record(length(), DvBreak::AspectChanged, false);
        case 9:
            tell("audio");
            switchAudio();
            return record(length(), DvBreak::AudioChanged, false);
        case 10: return nullFill();
        default: return dropPacks();
        }
    }
    void pause() {
        const bool marked = !hasClock_ || isStuck_ || !one(3);
        clock_ += 3 + real() * (one(4) ? 1.0e6 : 600);
        if (one(4)) switchAspect();
        if (one(4)) switchAudio();
        tell("pause");
        record(length(), DvBreak::Pause, marked);
    }
    void loseFrames() {
        const int lost = 1 + static_cast<int>(below(one(3) ? 3000 : 40));
        counter_ += lost;
        clock_ += lost / perSecond();
        tell("loss of " + std::to_string(lost));
        record(length(), DvBreak::LostFrames, false, lost);
    }
    void damageTape() {
        const size_t first = tape_.frames.size();
        const int unreadable = 3 + static_cast<int>(below(18)), lost = 1 + static_cast<int>(below(200));
        record(unreadable, std::nullopt, false);
        for (size_t i = first; i < tape_.frames.size(); ++i) {
            TapeFrame& frame = tape_.frames[i];
            frame.markedBlocks = 0.6 + 0.4 * real();
            frame.nullBlocks = 300 + static_cast<int>(below(600));
            frame.withoutLabel = !one(3);
            frame.withoutClock = !one(3);
            frame.corruptPacks = 0.9;
        }
        counter_ += lost;
        clock_ += lost / perSecond();
        tell("damage with loss of " + std::to_string(lost));
        record(length(), DvBreak::TapeDamage, false, lost);
    }
    void resetCounter() {
        counter_ = one(2) ? 0 : static_cast<std::int64_t>(real() * static_cast<double>(counter_) * 0.5);
        if (!one(4)) clock_ += 3 + real() * 100000;
        tell("counter reset");
        record(length(), DvBreak::CounterReset, !one(3));
    }
    void changeClock() {
        if (!hasClock_) {
            hasClock_ = true;
        } else if (isStuck_) {
            return pause();
        } else {
            clock_ -= 3600 + real() * 1.0e8;
        }
        tell("clock changed");
        record(length(), DvBreak::ClockChanged, !one(3));
    }
    void splice() {
        system_ = system_ == DvSystem::Pal ? DvSystem::Ntsc : DvSystem::Pal;
        drop_ = system_ == DvSystem::Ntsc && one(2);
        counter_ = below(1000000);
        clock_ += 100 + real() * 1.0e6;
        tell("splice");
        record(length(), DvBreak::SystemChanged, one(2));
    }
    void nullFill() {
        const size_t first = tape_.frames.size();
        record(20 + below(60), std::nullopt, false);
        for (size_t i = first; i < tape_.frames.size(); ++i)
            tape_.frames[i].nullBlocks = one(12) ? -1 : static_cast<int>(below(150));
        record(30 + below(60), std::nullopt, false);
        tell("null-filled before");
    }
    void dropPacks() {
        const size_t first = tape_.frames.size();
        record(20 + below(60), std::nullopt, false);
        for (size_t i = first; i < tape_.frames.size(); ++i) {
            tape_.frames[i].withoutLabel = one(3);
            tape_.frames[i].withoutClock = one(3);
            if (one(6)) tape_.frames[i].corruptPacks = 1;
        }
        record(30 + below(60), std::nullopt, false);
        tell("packs missing before");
    }
    // Something newer, in the middle of one of the recordings; the camera took over the counter of the tape.
    void overwrite() {
        if (!hasClock_ || isStuck_) return;
        std::vector<size_t> roomy;
        for (size_t i = 0; i < tape_.breaks.size(); ++i) {
            const std::int64_t end = i + 1 < tape_.breaks.size()
                                         ? tape_.breaks[i + 1].frame
                                         : static_cast<std::int64_t>(tape_.frames.size());
            const TapeFrame& first = tape_.frames[static_cast<size_t>(tape_.breaks[i].frame)];
            if (end - tape_.breaks[i].frame >= 200 && first.clock) roomy.push_back(i);
        }
        if (roomy.empty()) return;
        const size_t chosen = roomy[below(static_cast<unsigned>(roomy.size()))];
        const std::int64_t from = tape_.breaks[chosen].frame + 50 + below(30);
        const std::int64_t count = 40 + below(40);
        const double now = latest_ + 86400 + real() * 1.0e7;
        for (std::int64_t i = 0; i < count; ++i) {
            TapeFrame& frame = tape_.frames[static_cast<size_t>(from + i)];
            frame.clock = static_cast<std::int64_t>(std::floor(now + static_cast<double>(i) / perSecond()));
            frame.start = i == 0;
        }
        const auto next = tape_.breaks.begin() + static_cast<std::ptrdiff_t>(chosen) + 1;
        tape_.breaks.insert(next, {{from, DvBreak::Pause}, {from + count, DvBreak::OlderRecording}});
        tape_.story +=
            "overwritten from " + std::to_string(from) + " to " + std::to_string(from + count) + ", ";
    }
    void damageSingleFrames() {
        for (TapeFrame& frame : tape_.frames) {
            if (one(150)) frame.corruptPacks = 1;
        }
    }

    std::mt19937 random_;
    Tape tape_;
    DvSystem system_;
    bool drop_;
    double clock_, latest_ = 0; // what it shows, and the latest it ever showed
    std::int64_t counter_;
    bool hasClock_ = true, isStuck_ = false;
    DvAspect aspect_ = DvAspect::Standard;
    DvAudioMode audio_{48000, 2, 16};
    double corrupt_ = 0;
};

} // namespace

Tape makeMixedTape(unsigned seed) { return Camera(seed).live(); }

Tape makeSteadyTape(unsigned seed, std::int64_t frames, double corruptPacks) {
    std::mt19937 random(seed);
    Tape tape;
    const DvSystem system = seed % 2 ? DvSystem::Pal : DvSystem::Ntsc;
    const double perSecond = static_cast<double>(dvRate(system).numerator) / dvRate(system).denominator;
    for (std::int64_t i = 0; i < frames; ++i) {
        TapeFrame frame;
        frame.system = system;
        frame.label = dvLabelOf(i, system == DvSystem::Ntsc, system);
        frame.clock = 1100000000 + static_cast<std::int64_t>(static_cast<double>(i) / perSecond);
        frame.start = i == 0;
        frame.corruptPacks = random() % 100 == 0 ? 1 : corruptPacks;
        tape.frames.push_back(frame);
    }
    tape.breaks.push_back({0, DvBreak::Start});
    return tape;
}

} // namespace qv::test
