// Makes DV tapes whose truth is known: what a camera recorded, what a tape and a capture did to it, and where
// the scenes begin. Pictures are empty; everything that a frame says about itself is in its right places.
#pragma once

#include "qvlibs/timecode/DvScenes.h"

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace qv::test {

// One frame as it shall be.
struct TapeFrame {
    DvSystem system = DvSystem::Ntsc;
    std::optional<DvLabel> label;
    std::optional<std::int64_t>
        clock; // seconds since 1970, shown by the recorder's clock; nothing: left blank
    DvAspect aspect = DvAspect::Standard;
    DvAudioMode audio{48000, 2, 16};
    bool start = false, end = false;

    double corruptPacks = 0;   // share of all packs with random data
    bool withoutLabel = false; // the packs are not there
    bool withoutClock = false;
    int nullBlocks = 0;      // so many blocks filled with zeros, at random; all when negative
    double markedBlocks = 0; // share of picture blocks marked as bad
};

// The frame's bytes.
void makeFrame(const TapeFrame& frame, std::mt19937& random, std::vector<BYTE>& bytes);
std::vector<BYTE> makeFrame(const TapeFrame& frame, unsigned seed = 1);

struct TrueBreak {
    std::int64_t frame;
    DvBreak reason;
    std::int64_t lost = 0;
};

struct Tape {
    std::vector<TapeFrame> frames;
    std::vector<TrueBreak> breaks; // the first is the start of the tape
    std::string story;             // what happened, for messages
};

// A tape with a mixture of everything that happens to tapes. Equal seeds give equal tapes.
Tape makeMixedTape(unsigned seed);
// One recording without a break, of which `corruptPacks` of all packs are damaged, and one frame in a hundred
// beyond reading.
Tape makeSteadyTape(unsigned seed, std::int64_t frames, double corruptPacks);

} // namespace qv::test
