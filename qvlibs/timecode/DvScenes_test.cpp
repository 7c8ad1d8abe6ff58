#include "qvlibs/timecode/DvScenes.h"

#include "tests/support/TapeMaker.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace {

using qv::DvBreak;
using qv::DvScene;

std::vector<DvScene> scenesOf(const qv::test::Tape& tape, const qv::DvSceneRules& rules = {}) {
    std::vector<DvScene> scenes;
    qv::DvSceneFinder finder(rules, [&](const DvScene& scene) { scenes.push_back(scene); });
    std::mt19937 random(7);
    std::vector<BYTE> bytes;
    for (const auto& frame : tape.frames) {
        qv::test::makeFrame(frame, random, bytes);
        finder.add(*qv::readDvFrame(bytes));
    }
    finder.finish();
    return scenes;
}

// How the breaks found compare with the true ones (the start of the tape is none).
struct Score {
    int right = 0, missed = 0, invented = 0, exact = 0, rightReason = 0, rightLoss = 0, losses = 0;
    double f1() const { return 2.0 * right / (2.0 * right + missed + invented); }
};

// Where the packs of a break's own frames are gone it cannot be told to the frame.
constexpr std::int64_t kNear = 8;

void compare(const qv::test::Tape& tape, const std::vector<DvScene>& scenes, Score& score) {
    std::vector<bool> used(scenes.size());
    std::string wrong;
    for (size_t t = 1; t < tape.breaks.size(); ++t) {
        const auto& truth = tape.breaks[t];
        const DvScene* match = nullptr;
        for (size_t i = 1; i < scenes.size() && !match; ++i) {
            if (!used[i] && std::abs(scenes[i].firstFrame - truth.frame) <= kNear) {
                used[i] = true;
                match = &scenes[i];
            }
        }
        if (!match) {
            ++score.missed;
            wrong += " missed " + std::to_string(truth.frame);
            continue;
        }
        ++score.right;
        score.exact += match->firstFrame == truth.frame;
        score.rightReason += match->reason == truth.reason;
        if (match->reason != truth.reason)
            wrong += " reason " + std::to_string(static_cast<int>(match->reason)) + " for " +
                     std::to_string(static_cast<int>(truth.reason)) + " at " + std::to_string(truth.frame);
        score.losses += truth.lost > 0;
        score.rightLoss += truth.lost > 0 && match->lostFrames == truth.lost;
    }
    for (size_t i = 1; i < scenes.size(); ++i) {
        if (used[i]) continue;
        ++score.invented;
        wrong += " invented " + std::to_string(scenes[i].firstFrame) + " for reason " +
                 std::to_string(static_cast<int>(scenes[i].reason));
    }
    if (!wrong.empty()) std::printf("%s:%s\n", tape.story.c_str(), wrong.c_str());
}

} // namespace

TEST(DvScenes, TapesOfKnownTruth) {
    Score score;
    for (unsigned seed = 1; seed <= 240; ++seed) {
        const auto tape = qv::test::makeMixedTape(seed);
        const auto scenes = scenesOf(tape);
        std::int64_t next = 0;
        for (const DvScene& scene : scenes) { // no frame is lost or counted twice
            ASSERT_EQ(scene.firstFrame, next);
            next += scene.frames;
        }
        ASSERT_EQ(next, static_cast<std::int64_t>(tape.frames.size()));
        compare(tape, scenes, score);
    }
    std::printf("240 tapes: %d breaks found, %d missed, %d invented, F1 %.4f; to the frame %.1f %%; right "
                "reason %.1f %%; "
                "right number of lost frames %d of %d\n",
                score.right, score.missed, score.invented, score.f1(), 100.0 * score.exact / score.right,
                100.0 * score.rightReason / score.right, score.rightLoss, score.losses);
    EXPECT_GE(score.f1(), 0.99);
    EXPECT_GE(score.rightReason, score.right * 0.98);
    EXPECT_GE(score.rightLoss, score.losses * 0.98);
}

TEST(DvScenes, SteadyTapesWithDamagedPacksAreOneScene) {
    for (unsigned seed = 1; seed <= 6; ++seed) {
        const auto tape = qv::test::makeSteadyTape(seed, 10000, 0.01);
        EXPECT_EQ(scenesOf(tape).size(), 1u) << seed;
    }
}
