#include "qvlibs/media/AudioFamily.h"

#include "qvlibs/media/SoundFile.h"
#include "qvlibs/media/TitleFamily.h"
#include "qvlibs/plugins/StreamHandle.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using testing::ElementsAre;

namespace {

// The current test again with these fakes, on a PAL or an NTSC system.
void restart(bool pal, const std::vector<qv::test::ModuleChoice>& modules = {{"scripted", "s.acp"}}) {
    qv::test::restartWithModules(modules,
                                 [&](const fs::path&) { QVWriteProfileInt("Common", "SystemInfo", pal, 0); });
}

fs::path script(const std::string& lines, const std::string& name = "a.snd") {
    const fs::path path = qv::test::home() / name;
    qv::test::writeFile(path, "qvfake\n" + lines);
    return path;
}

std::vector<std::string> callsOf(const fs::path& path) {
    auto calls = qv::test::scriptedCalls(path);
    fs::remove(path.string() + ".log");
    return calls;
}

void conversionsOf(bool pal) {
    const struct {
        LONG samples;
        DWORD rate;
        LONG palFrames, ntscFrames;
    } rows[] = {{480000, 48000, 250, 300}, // 299.7 rounded
                {441000, 44100, 250, 300}, // the file's own rate counts
                {959, 48000, 0, 1},
                {960, 48000, 1, 1},
                {9, 48000, 0, 0},
                {480000, 0, 0, 0},                     // no rate, no length
                {INT32_MAX, 1, INT32_MAX, INT32_MAX}}; // more than can be said
    for (const auto& row : rows) {
        const fs::path path = script("GetTotalSamples=" + std::to_string(row.samples) +
                                     "\nGetAudioFormat.rate=" + std::to_string(row.rate) + "\n");
        void* sound = QVTLAudioFileOpen(path.c_str());
        ASSERT_NE(sound, nullptr);
        EXPECT_EQ(callsOf(path).back(), pal ? "OpenR(1)" : "OpenR(0)");
        EXPECT_EQ(QVTLAudioGetTotalFrames(sound), pal ? row.palFrames : row.ntscFrames) << row.samples;
        EXPECT_EQ(QVTLAudioFileClose(sound), 0u);
    }
    // The argument decides here, not the system.
    const fs::path path = script("SetTotalSample=7\n");
    void* sound = QVTLAudioFileOpen(path.c_str());
    callsOf(path);
    EXPECT_EQ(QVTLAudioSetTotalFrame(sound, 250, 1), 7u);
    QVTLAudioSetTotalFrame(sound, 250, 0);
    QVTLAudioSetTotalFrame(sound, 10'000'000'000, 1);
    QVTLAudioSetTotalFrame(sound, INT64_MAX, 1);
    EXPECT_THAT(callsOf(path),
                ElementsAre("SetTotalSample(480000, 1)", "SetTotalSample(400400, 0)",
                            "SetTotalSample(19200000000000, 1)", "SetTotalSample(9000000000000000000, 1)"));
    QVTLAudioFileClose(sound);
}

} // namespace

TEST(AudioFamily, CountsFramesOfPal) {
    restart(true);
    conversionsOf(true);
}

TEST(AudioFamily, CountsFramesOfNtsc) {
    restart(false);
    conversionsOf(false);
}

// On purpose 30 and not 29.97.
TEST(AudioFamily, MinimumLengthsCountThirtyOnNtsc) {
    restart(false);
    const fs::path path = script("Information.minimum=480000\n");
    EXPECT_EQ(QVTLAudioGetMinimumLength(path.c_str()), 300);
    void* sound = QVTLAudioFileOpen(path.c_str());
    EXPECT_EQ(QVTLAudioGetMinimumLength(sound), 300);
    QVTLAudioFileClose(sound);
    EXPECT_EQ(QVTLAudioGetMinimumLength(script("Information.minimum=48000\n").c_str()), 30);
}

TEST(AudioFamily, MinimumLengthsOfPal) {
    restart(true);
    EXPECT_EQ(QVTLAudioGetMinimumLength(script("Information.minimum=48000\n").c_str()), 25);
    EXPECT_EQ(QVTLAudioGetMinimumLength(script("Information.minimum=959\n").c_str()), 0);
    EXPECT_EQ(QVTLAudioGetMinimumLength(script("Information.minimum=960\n").c_str()), 1)
        << "half a frame rounds up";
}

TEST(AudioFamily, NullHandlesGiveOneEverywhere) {
    WAVEFORMATEX format{};
    int word = 5, bits = 5;
    LONG number = 5;
    ULONG value = 5;
    unsigned char byte = 5;
    char name[260] = "5";
    void* const none = nullptr;
    EXPECT_EQ(QVTLAudioFileClose(none), 1u);
    EXPECT_EQ(QVTLAudioGetTotalFrames(none), 1);
    EXPECT_EQ(QVTLAudioGetTotalSamples(none), 1);
    EXPECT_EQ(QVTLAudioGetWaveFormat(none, &format), 1u);
    EXPECT_EQ(QVTLAudioGetAudioFormat(none, 0, 1, &byte, &number), 1u);
    EXPECT_EQ(QVTLAudioGetAudioChannelsAndBits(none, &word, &bits), 1u);
    EXPECT_EQ(QVTLAudioGetAudioRatio(none, &number), 1u);
    EXPECT_EQ(QVTLAudioSetTotalFrame(none, 1, 1), 1u);
    EXPECT_EQ(QVTLAudioGetMinimumLength(none), 1);
    EXPECT_EQ(QVTLAudioDisplayName(none, name), 1u);
    EXPECT_EQ(QVTLAudioClassification(none, &value), 1u);
    EXPECT_EQ(QVTLAudioGetCriticalFrame(none, 1, 1), 1u);
    EXPECT_EQ(QVTLTitleFileClose(none), 1u);
    EXPECT_EQ(QVTLTitleGetDib(none, 0, &byte), 1u);
    EXPECT_EQ(QVTLTitleSetDibSize(none, 1, 1), 1u);
    EXPECT_TRUE(word == 5 && bits == 5 && number == 5 && value == 5 && byte == 5 && name[0] == '5');
}

TEST(AudioFamily, MissingExportsLeakOrNotAsEachSays) {
    restart(false, {{"accept_all", "a.acp"}});
    void* sound = QVTLAudioFileOpen("/any");
    ASSERT_NE(sound, nullptr);
    WAVEFORMATEX format{};
    int channels = 5, bits = 5;
    LONG number = 5;
    ULONG value = 5;
    char name[260] = "5";
    EXPECT_EQ(QVTLAudioGetTotalSamples(sound), 9) << "the code counts as samples";
    EXPECT_EQ(QVTLAudioGetTotalFrames(sound), 0) << "no rate";
    EXPECT_EQ(QVTLAudioGetWaveFormat(sound, &format), 9u);
    EXPECT_EQ(QVTLAudioGetAudioFormat(sound, 0, 1, nullptr, &number), 9u);
    EXPECT_EQ(QVTLAudioGetAudioChannelsAndBits(sound, &channels, &bits), 0u);
    EXPECT_TRUE(channels == 0 && bits == 0);
    EXPECT_EQ(QVTLAudioGetAudioRatio(sound, &number), 0u);
    EXPECT_EQ(number, 0);
    EXPECT_EQ(QVTLAudioSetTotalFrame(sound, 1, 1), 9u);
    EXPECT_EQ(QVTLAudioGetMinimumLength(sound), 0);
    EXPECT_EQ(QVTLAudioDisplayName(sound, name), 0u);
    EXPECT_EQ(QVTLAudioClassification(sound, &value), 0u);
    EXPECT_EQ(QVTLAudioGetCriticalFrame(sound, 1, 1), 0u);
    EXPECT_TRUE(value == 5 && name[0] == '5');
    EXPECT_EQ(QVTLAudioFileClose(sound), 0u);
}

TEST(AudioFamily, WhatThePluginTellsComesThrough) {
    restart(false);
    const fs::path path =
        script("GetAudioFormat.rate=44100\nGetAudioFormat.channels=1\nInformation.name=Evening\n"
               "Information.classification=3\nGetTotalSamples=12\nCloseR=6\nGetFileInfo=8\n");
    char name[260] = "";
    ULONG kind = 0;
    EXPECT_EQ(QVTLAudioDisplayName(path.c_str(), name), 0u);
    EXPECT_STREQ(name, "Evening");
    EXPECT_EQ(QVTLAudioClassification(path.c_str(), &kind), 0u);
    EXPECT_EQ(kind, 3u);
    void* sound = QVTLAudioFileOpen(path.c_str());
    int channels = 0, bits = 0;
    LONG rate = 0, length = 0;
    unsigned char bytes[8] = {};
    QVTLAudioGetAudioChannelsAndBits(sound, &channels, &bits);
    QVTLAudioGetAudioRatio(sound, &rate);
    EXPECT_TRUE(channels == 1 && bits == 16 && rate == 44100);
    EXPECT_EQ(QVTLAudioGetTotalSamples(sound), 12);
    callsOf(path);
    EXPECT_EQ(QVTLAudioGetAudioFormat(sound, 5, 2, bytes, &length), 0u);
    EXPECT_TRUE(length == 8 && bytes[0] == 5 && bytes[7] == 12);
    EXPECT_EQ(QVTLAudioGetCriticalFrame(sound, 77, 1), 0u);
    EXPECT_THAT(callsOf(path), ElementsAre("GetAudio(5, 2, set, 0)", "GetFileData(1, null)",
                                           "GetFileData(2, null)", "GetFileData(3, null)"));
    EXPECT_EQ(QVTLAudioFileClose(sound), 6u) << "the plug-in's own result";
}

TEST(AudioFamily, FilesNobodyTakes) {
    restart(false);
    char name[260] = "old";
    ULONG kind = 5;
    EXPECT_EQ(QVTLAudioFileOpen("/nonexistent"), nullptr);
    EXPECT_EQ(QVTLAudioGetMinimumLength("/nonexistent"), 0);
    EXPECT_EQ(QVTLAudioDisplayName("/nonexistent", name), 0u);
    EXPECT_EQ(QVTLAudioClassification("/nonexistent", &kind), 0u);
    EXPECT_STREQ(name, "old");
    EXPECT_EQ(kind, 5u);
    EXPECT_EQ(QVTLAudioFileOpen(script("OpenR=0\n").c_str()), nullptr) << "taken, but it cannot be opened";
}

TEST(SoundFile, ClosesOnceAndKeepsItsHandle) {
    restart(false);
    EXPECT_EQ(sizeof(WAVEFORMATEX), 18u);
    const fs::path path = script("GetAudioFormat.rate=8000\nGetTotalSamples=12\n");
    {
        CSoundFile sound(path.c_str());
        EXPECT_EQ(sound.format.cbSize, 18);
        EXPECT_EQ(sound.format.nSamplesPerSec, 0u);
        ASSERT_NE(static_cast<void*>(sound), nullptr);
        ASSERT_NE(sound.GetWaveFormat(), nullptr);
        EXPECT_EQ(sound.GetWaveFormat(), &sound.format);
        EXPECT_EQ(sound.format.nSamplesPerSec, 8000u);
        EXPECT_EQ(sound.GetTotalSamples(), 12);
        callsOf(path);
        EXPECT_EQ(sound.Close(), 1);
        EXPECT_NE(sound.handle, nullptr) << "on purpose it stays";
        EXPECT_EQ(sound.Close(), 0);
        EXPECT_EQ(sound.GetWaveFormat(), nullptr);
        EXPECT_EQ(sound.GetTotalSamples(), 1);
    }
    EXPECT_THAT(callsOf(path), ElementsAre("CloseR()"));
    {
        CSoundFile sound(nullptr);
        EXPECT_EQ(sound.handle, nullptr);
        EXPECT_EQ(sound.Close(), 0);
        EXPECT_EQ(sound.Open(path.c_str()), 1);
        EXPECT_EQ(sound.Open(path.c_str()), 1) << "the first is closed";
        EXPECT_EQ(sound.Open("/nonexistent"), 0);
    }
    EXPECT_THAT(callsOf(path), ElementsAre("OpenR(0)", "CloseR()", "OpenR(0)", "CloseR()"));
    CSoundFile refused(script("CloseR=1\n").c_str());
    EXPECT_EQ(refused.Close(), 0);
}

TEST(TitleFamily, ForwardsAndAnswersZero) {
    restart(true, {{"scripted", "s.tcp"}, {"accept_all", "z.acp"}});
    const fs::path path = script("GetDib=3\nSetDibSize=4\nCloseR=5\n");
    void* title = QVTLTitleFileOpen(path.c_str());
    ASSERT_NE(title, nullptr);
    unsigned char bytes[16 * 3 * 8];
    EXPECT_EQ(QVTLTitleSetDibSize(title, 16, -8), 0u);
    EXPECT_EQ(QVTLTitleGetDib(title, 11, bytes), 0u);
    EXPECT_EQ(QVTLTitleFileClose(title), 5u);
    EXPECT_THAT(callsOf(path), ElementsAre("OpenR(0)", "SetDibSize(16, -8)", "GetDib(11, set)", "CloseR()"));
    EXPECT_EQ(QVTLTitleFileOpen("/nonexistent"), nullptr) << "sound plug-ins are not asked";
    auto* empty = new PluginStreamHandle; // freed by the close
    EXPECT_EQ(QVTLTitleGetDib(empty, 0, bytes), 1u);
    EXPECT_EQ(QVTLTitleSetDibSize(empty, 1, 1), 1u);
    EXPECT_EQ(QVTLTitleFileClose(empty), 1u);
}
