#include "qvlibs/media/Qvavitools.h"

#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

using namespace qv::test;

namespace {

void* openMovie(const std::string& script, ULONG mode = 0) {
    const auto path = home() / "movie.fake";
    writeFile(path, "qvfake\n" + script);
    return QVTLAVIFileOpen(path.c_str(), mode);
}

std::string lastCall() {
    const auto calls = scriptedCalls(home() / "movie.fake");
    return calls.empty() ? "" : calls.back();
}

} // namespace

TEST(Qvavitools, EveryQuestionReachesThePlugIn) {
    restartWithModules({{"scripted", "scripted.vcp"}});
    void* const movie =
        openMovie("GetTotalFrames=250\nGetMiliseconds=10000\nGetTotalSamples=77\n"
                  "GetVideoCompressionRate=28812345\nGetAudioCompressionRate=1536999\n"
                  "GetVideoAverageRate=28800\nGetFccHeader.code=dvsd\nGetVideoRate.rate=30000\n"
                  "GetVideoRate.scale=1001\nGetAudioFormat.rate=48000\n"
                  "GetAudioFormat.channels=2\nGetAudioFormat.bits=16\n",
                  64);
    ASSERT_TRUE(movie);
    EXPECT_EQ(lastCall(), "OpenR(64)");
    EXPECT_EQ(QVTLAVIGetTotalFrames(movie), 250);
    EXPECT_EQ(QVTLAVIGetMiliseconds(movie), 10000);
    EXPECT_EQ(QVTLAVIGetTotalSamples(movie), 77);
    EXPECT_EQ(lastCall(), "GetTotalSamples(0)");
    QVTLAVIGetTotalSamplesVFW(movie);
    EXPECT_EQ(lastCall(), "GetTotalSamples(1)");
    EXPECT_EQ(QVTLAVIGetVideoCompressionRate(movie), 28812);
    EXPECT_EQ(QVTLAVIGetAudioCompressionRate(movie), 1536);
    EXPECT_EQ(QVTLAVIGetVideoAverageRate(movie), 28800);
    ULONG fcc = 0, rate = 0, scale = 0;
    EXPECT_EQ(QVTLAVIGetFccHeader(movie, &fcc), 0u);
    EXPECT_EQ(fcc, makeFourCC('d', 'v', 's', 'd'));
    EXPECT_EQ(QVTLAVIGetVideoRatio(movie, &rate, &scale), 0u);
    EXPECT_EQ(rate * 1000 / scale, 29970u);
    LONG samples = 0;
    int channels = 0, bits = 0;
    EXPECT_EQ(QVTLAVIGetAudioRatio(movie, &samples), 0u);
    EXPECT_EQ(samples, 48000);
    EXPECT_EQ(QVTLAVIGetAudioChannelsAndBits(movie, &channels, &bits), 0u);
    EXPECT_EQ(channels * 100 + bits, 216);
    EXPECT_EQ(QVTLAVIFileClose(movie), 0u);
}

TEST(Qvavitools, WhatAFailingPlugInLeavesBehind) {
    restartWithModules({{"scripted", "scripted.vcp"}});
    void* const movie =
        openMovie("GetAudioFormat=9\nGetVideoAverageRate=9\nGetVideoCompressionRate=9\nCloseR=5\n");
    ASSERT_TRUE(movie);
    LONG rate = 1;
    int channels = 1, bits = 1;
    EXPECT_EQ(QVTLAVIGetAudioRatio(movie, &rate), 0u) << "always";
    EXPECT_EQ(rate, 0);
    EXPECT_EQ(QVTLAVIGetAudioChannelsAndBits(movie, &channels, &bits), 9u);
    EXPECT_EQ(channels + bits, 0) << "written all the same";
    EXPECT_EQ(QVTLAVIGetVideoAverageRate(movie), 9);
    EXPECT_EQ(QVTLAVIGetVideoCompressionRate(movie), 0);
    EXPECT_EQ(QVTLAVIFileClose(movie), 5u);
    EXPECT_FALSE(openMovie("OpenR=0\n"));
    EXPECT_FALSE(QVTLAVIFileOpen((home() / "nothing").c_str(), 0));
}

TEST(Qvavitools, NullHandles) {
    restartWithModules({{"scripted", "scripted.vcp"}});
    DIB_TYPE type = DIB_TYPE_16_9;
    ULONG value = 3;
    EXPECT_EQ(QVTLAVIGetDIBType(nullptr, type, 0), 1u);
    EXPECT_EQ(type, DIB_TYPE_16_9);
    EXPECT_EQ(QVTLAVIGetStreamParameter(nullptr, value), 1u);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(QVTLAVIGetTotalFrames(nullptr), 14);
    EXPECT_EQ(QVTLAVIGetNonCompressedStream(nullptr, 0, 1), nullptr);
}

TEST(Qvavitools, TypeAndStreamParameterAskWithABareRecord) {
    restartWithModules({{"scripted", "scripted.vcp"}});
    const struct {
        const char* fcc;
        const char* parameter;
        ULONG result, value;
    } rows[] = {{"mpg2", "1", 0, 1},
                {"MPG2", "1", 0, 1},
                {"MPG2", "2", 0, 0},
                {"Mpg2", "1", 1, 0},
                {"dvsd", "1", 1, 0}};
    for (const auto& row : rows) {
        void* const movie =
            openMovie(std::string("GetFccHeader.code=") + row.fcc + "\nGetVideoParam.dibType=3\n" +
                      "GetVideoParam.streamParameter=" + row.parameter + "\n");
        ULONG value = 9;
        EXPECT_EQ(QVTLAVIGetStreamParameter(movie, value), row.result) << row.fcc;
        EXPECT_EQ(value, row.value) << row.fcc;
        DIB_TYPE type = DIB_TYPE_AUTO;
        EXPECT_EQ(QVTLAVIGetDIBType(movie, type, 4, 99), 0u);
        EXPECT_EQ(type, DIB_TYPE_LETTERBOX);
        EXPECT_EQ(lastCall(),
                  "GetVideoParam(4, size=68 version=0 width=0 height=0 bits=0 display=0x0 decode=0 "
                  "type=0 field=0 flags=0x0)");
        QVTLAVIFileClose(movie);
    }
}

TEST(Qvavitools, SoundIsResampledInPlace) {
    restartWithModules({{"scripted", "scripted.vcp"}});
    void* const movie = openMovie("GetAudio.length=16\n");
    unsigned char buffer[64];
    LONG length = 64;
    EXPECT_EQ(QVTLAVIGetWaveDataEx(movie, 0, 4, buffer, &length, 1, 2), 0u);
    EXPECT_EQ(length, 32);
    EXPECT_EQ(buffer[8], 4) << "each sample twice";
    length = 64;
    EXPECT_EQ(QVTLAVIGetWaveDataEx(movie, 0, 4, buffer, &length, 0, 2), 1u);
    EXPECT_EQ(length, 64) << "refused before anything is read";
    QVTLAVIFileClose(movie);
}
