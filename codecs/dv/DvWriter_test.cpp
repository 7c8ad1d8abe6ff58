// Writing through dv.vcp, as callers meet it.
#include "qvlibs/image/QVDib.h"
#include "qvlibs/media/MovieWriter.h"
#include "qvlibs/media/Qvavitools.h"
#include "qvlibs/plugins/PluginInfo.h"
#include "qvlibs/timecode/DvStamp.h"
#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace qv::test;

namespace {

void useModules() { restartWithModules({{"dv.vcp"}, {"dvcodec.so"}, {"dvcodec-libav.so"}}); }

std::string target() { return (home() / "out.avi").string(); }

BITMAPINFOHEADER frameHeader(bool pal) {
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = 720;
    header.biHeight = pal ? 576 : 480;
    header.biPlanes = 1;
    header.biBitCount = 24;
    return header;
}

unsigned char* bytesOf(BITMAPINFOHEADER& header) { return reinterpret_cast<unsigned char*>(&header); }

ULONG writePicture(void* movie, bool pal, unsigned char level, DIB_TYPE type = DIB_TYPE_AUTO) {
    BITMAPINFOHEADER header = frameHeader(pal);
    std::vector<unsigned char> bits(static_cast<size_t>(2160 * header.biHeight), level);
    return QVTLAVIWrite2(movie, bytesOf(header), type, bits.data(), 0);
}

// A frame of DV data with its number as a label.
std::vector<unsigned char> frameNumber(int number, bool pal = false) {
    static auto* const blank = new std::vector<unsigned char>[2];
    if (blank[pal].empty()) {
        const std::string one = (home() / "one.avi").string();
        void* const movie = QVTLAVIInitCreateAVI(one.c_str(), pal ? 1 : 0);
        EXPECT_EQ(writePicture(movie, pal, 100), 0u);
        EXPECT_EQ(QVTLAVICloseCreateAVI(movie), 0u);
        blank[pal].resize(pal ? 144000 : 120000);
        void* const read = QVTLAVIFileOpen(one.c_str(), 0);
        EXPECT_EQ(QVTLAVIGetCompressedStream(read, 0, blank[pal].data()), 0u);
        QVTLAVIFileClose(read);
        std::filesystem::remove(one);
    }
    auto frame = blank[pal];
    qv::DvStamp stamp;
    stamp.label = qv::dvLabelOf(number, false, pal ? qv::DvSystem::Pal : qv::DvSystem::Ntsc);
    EXPECT_TRUE(qv::stampDvFrame(frame, stamp));
    return frame;
}

// How many frames a file has, each under its own number; -1 when it does not open.
LONG framesIn(const std::string& path) {
    void* const movie = QVTLAVIFileOpen(path.c_str(), 0);
    if (!movie) return -1;
    LONG frames = QVTLAVIGetTotalFrames(movie);
    for (LONG i = 0; i < frames; ++i) {
        std::vector<unsigned char> dif(120000);
        if (QVTLAVIGetCompressedStream(movie, i, dif.data()) != 0 || dif != frameNumber(i)) frames = -1;
    }
    QVTLAVIFileClose(movie);
    return frames;
}

} // namespace

TEST(DvWriter, PicturesComeBackWithTheirLabels) {
    useModules();
    for (const bool pal : {false, true}) {
        void* const out = QVTLAVIInitCreateAVI(target().c_str(), pal ? 1 : 0);
        ASSERT_TRUE(out);
        for (int i = 0; i < 7; ++i) {
            EXPECT_EQ(i == 4 ? QVTLAVIResetCodec(out) : 0u, 0u);
            EXPECT_EQ(writePicture(out, pal, static_cast<unsigned char>(40 * i),
                                   i < 5 ? DIB_TYPE_16_9 : DIB_TYPE_4_3),
                      0u);
        }
        EXPECT_EQ(QVTLAVICloseCreateAVI(out), 0u);

        void* const movie = QVTLAVIFileOpen(target().c_str(), 0);
        ASSERT_TRUE(movie);
        EXPECT_EQ(QVTLAVIGetTotalFrames(movie), 7);
        LONG rate = 0;
        QVTLAVIGetAudioRatio(movie, &rate);
        EXPECT_EQ(rate, 48000);
        EXPECT_EQ(QVTLAVIGetTotalSamplesVFW(movie), pal ? 7 * 1920 : 2 * 1600 + 5 * 1602);
        for (int i = 0; i < 7; ++i) {
            const BITMAPINFOHEADER* lent = QVTLAVIGetNonCompressedStream(movie, i, 8);
            ASSERT_TRUE(lent);
            EXPECT_EQ(lent->biHeight, pal ? 72 : 60);
            EXPECT_NEAR(reinterpret_cast<const unsigned char*>(lent + 1)[3000], 40 * i, 3);
            DIB_TYPE type = DIB_TYPE_AUTO;
            EXPECT_EQ(QVTLAVIGetDIBType(movie, type, i), 0u);
            EXPECT_EQ(type, i < 5 ? DIB_TYPE_16_9 : DIB_TYPE_4_3);
            std::vector<unsigned char> dif(pal ? 144000 : 120000);
            EXPECT_EQ(QVTLAVIGetCompressedStream(movie, i, dif.data()), 0u);
            const auto info = qv::readDvFrame(dif);
            ASSERT_TRUE(info && info->timecode);
            EXPECT_EQ(*info->timecode, (qv::DvLabel{0, 0, 0, i, !pal}));
            EXPECT_EQ(info->damagedVideo + info->damagedAudio + info->missing, 0);
        }
        QVTLAVIFileClose(movie);
    }
}

TEST(DvWriter, SoundComesWithTheFramesOrOutOfThem) {
    useModules();
    const struct {
        bool pal;
        LONG rate, channels;
        bool given;
        LONG bytes; // of ten frames
    } rows[] = {{true, 48000, 2, true, 76800},  {true, 44100, 1, true, 35280},
                {false, 48000, 2, true, 64064}, {false, 32000, 1, true, 21354 - 1},
                {true, 0, 0, true, 76800},      {false, 48000, 2, false, 64000}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.rate << " " << row.channels << " " << row.given);
        void* const out = QVTLAVIInitCreateAVI(target().c_str(), row.pal ? 1 : 0);
        ASSERT_TRUE(out);
        EXPECT_EQ(QVTLAVISetParameters(out, row.rate, row.channels, 16), 0u);
        std::vector<unsigned char> pcm(2000 * 4, 0x11);
        for (int i = 0; i < 10; ++i) {
            auto dif = frameNumber(i, row.pal);
            EXPECT_EQ(QVTLAVIWriteDIF(out, dif.data(), row.given ? pcm.data() : nullptr, 0), 0u);
        }
        EXPECT_EQ(QVTLAVISetParameters(out, 48000, 2, 16), 1u) << "too late";
        EXPECT_EQ(QVTLAVICloseCreateAVI(out), 0u);
        void* const movie = QVTLAVIFileOpen(target().c_str(), 0);
        ASSERT_TRUE(movie);
        WAVEFORMATEX format{};
        EXPECT_EQ(QVTLAVIGetWaveFormat(movie, &format), 0u);
        const bool fromFrames = row.rate == 0 || !row.given;
        EXPECT_EQ(format.nSamplesPerSec, fromFrames ? 48000u : static_cast<DWORD>(row.rate));
        EXPECT_EQ(format.nChannels, fromFrames ? 2 : row.channels);
        std::vector<unsigned char> sound(200000);
        LONG length = static_cast<LONG>(sound.size());
        EXPECT_EQ(QVTLAVIGetWaveData(movie, 0, 10, sound.data(), &length), 0u);
        EXPECT_NEAR(length, row.bytes, 8);
        EXPECT_EQ(sound[100], fromFrames ? 0 : 0x11);
        QVTLAVIFileClose(movie);
    }
}

TEST(DvWriter, WhatItCannotWriteItRefuses) {
    useModules();
    EXPECT_FALSE(QVTLAVIInitCreateAVI((home() / "no/such/folder.avi").c_str(), 0));
    EXPECT_FALSE(QVTLAVIInitCreateAVI((home() / "out.mpg").c_str(), 0));
    void* const out = QVTLAVIInitCreateAVI(target().c_str(), 0);
    ASSERT_TRUE(out);
    for (const auto& [rate, channels, bits] :
         {std::tuple{48000, 3, 16}, {48000, 0, 16}, {48000, 2, 8}, {-1, 2, 16}, {1 << 30, 2, 16}}) {
        EXPECT_EQ(QVTLAVISetParameters(out, rate, channels, bits), 1u);
    }
    std::vector<unsigned char> bits(2160 * 576);
    for (const auto& [width, height, depth] :
         {std::tuple{720, 576, 24}, {704, 480, 24}, {720, -480, 24}, {720, 480, 32}}) {
        BITMAPINFOHEADER header = frameHeader(false);
        header.biWidth = width;
        header.biHeight = height;
        header.biBitCount = static_cast<WORD>(depth);
        EXPECT_EQ(QVTLAVIWrite(out, bytesOf(header), bits.data(), 0), 1u) << width << "x" << height;
    }
    BITMAPINFOHEADER header = frameHeader(false);
    EXPECT_EQ(QVTLAVIWrite(out, bytesOf(header), nullptr, 0), 1u);
    EXPECT_EQ(QVTLAVIWrite(out, nullptr, bits.data(), 0), 1u);
    EXPECT_EQ(QVTLAVIWriteDIF(out, nullptr, nullptr, 0), 1u);
    EXPECT_EQ(QVTLAVIWriteDIF(out, bits.data(), nullptr, 0), 1u) << "no movie begins with nothing";
    EXPECT_EQ(QVTLAVIWriteDIF(out, frameNumber(0, true).data(), nullptr, 0), 1u) << "of the other system";
    EXPECT_TRUE(std::filesystem::exists(target()));
    EXPECT_EQ(QVTLAVICloseCreateAVI(out), 0u);
    EXPECT_FALSE(std::filesystem::exists(target())) << "nothing was written, nothing stays";
    void* const first = QVTLAVIInitCreateAVI(target().c_str(), 0);
    EXPECT_EQ(QVTLAVIWriteDIF(first, frameNumber(0, false).data(), nullptr, 0), 0u);
    EXPECT_EQ(QVTLAVICloseCreateAVI(first), 0u);
    const std::string movie = readFile(target());
    void* const over = QVTLAVIInitCreateAVI(target().c_str(), 0);
    ASSERT_NE(over, nullptr);
    EXPECT_EQ(QVTLAVICloseCreateAVI(over), 0u);
    EXPECT_TRUE(readFile(target()) == movie) << "a movie over which nothing was written stays";
    std::filesystem::remove(target());

    const std::unique_ptr<CPluginInfo> plugin(LoadVideoCodecPlugIn(target().c_str()));
    const ULONG closed = plugin->OpenW(target().c_str(), 0);
    EXPECT_EQ(plugin->WriteDif2(closed, frameNumber(0).data(), 0, nullptr, 0), 0u);
    EXPECT_EQ(plugin->CloseW(closed), 0u);
    for (const ULONG ticket : {0u, closed, 0xFFFFFFFFu}) {
        EXPECT_EQ(plugin->WriteDif2(ticket, frameNumber(0).data(), 0, nullptr, 0), 1u);
        EXPECT_EQ(plugin->CloseW(ticket), 1u);
    }
}

// Killed at any moment, the file has every frame whose call had come back.
TEST(DvWriter, AKilledWritersFileOpensUpToItsLastWholeFrame) {
    useModules();
    const char* const full = std::getenv("QVLIBS_TEST_FULL");
    const int rounds = full ? 100 : 5;
    LONG least = 1 << 30, most = 0;
    frameNumber(0); // made once, in this process
    for (int round = 0; round < rounds; ++round) {
        int acknowledged[2];
        ASSERT_EQ(pipe(acknowledged), 0);
        const pid_t child = fork();
        if (child == 0) {
            void* const out = QVTLAVIInitCreateAVI(target().c_str(), 0);
            for (int i = 0;; ++i) {
                if (QVTLAVIWriteDIF(out, frameNumber(i).data(), nullptr, 0) != 0) _exit(1);
                const char one = 1;
                if (write(acknowledged[1], &one, 1) != 1) _exit(1);
            }
        }
        close(acknowledged[1]);
        char first = 0;
        ASSERT_EQ(read(acknowledged[0], &first, 1), 1);
        usleep(static_cast<useconds_t>(round * 7919 % 40000));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        LONG written = 1;
        while (read(acknowledged[0], &first, 1) == 1) ++written;
        close(acknowledged[0]);
        const LONG found = framesIn(target());
        EXPECT_GE(found, written);
        EXPECT_LE(found, written + 1);
        least = std::min(least, found);
        most = std::max(most, found);
        std::filesystem::remove(target());
    }
    std::printf("%d killed writers: every frame written was there, %d to %d frames\n", rounds, least, most);
}

// A full disk at every place: nothing is there, or what was acknowledged, and the writer says so.
TEST(DvWriter, AFullDiskIsReportedAndLeavesAMovieOrNone) {
    useModules();
    signal(SIGXFSZ, SIG_IGN);
    const auto one = frameNumber(0);
    const std::string there(one.begin(), one.end()); // a movie of that name, every second time
    const int step = std::getenv("QVLIBS_TEST_FULL") ? 1531 : 60000;
    int places = 0;
    for (rlim_t room = 0; room < 600000; room += static_cast<rlim_t>(step)) {
        if (places % 2 == 0) writeFile(target(), there);
        struct rlimit bound {};
        getrlimit(RLIMIT_FSIZE, &bound);
        const rlim_t before = bound.rlim_cur;
        bound.rlim_cur = room;
        setrlimit(RLIMIT_FSIZE, &bound);
        void* const out = QVTLAVIInitCreateAVI(target().c_str(), 0);
        LONG written = 0;
        ULONG closed = 1;
        if (out) {
            while (written < 10 && QVTLAVIWriteDIF(out, frameNumber(written).data(), nullptr, 0) == 0)
                ++written;
            EXPECT_EQ(QVTLAVIWriteDIF(out, frameNumber(0).data(), nullptr, 0), 1u);
            closed = QVTLAVICloseCreateAVI(out);
        }
        bound.rlim_cur = before;
        setrlimit(RLIMIT_FSIZE, &bound);
        EXPECT_LT(written, 10);
        EXPECT_EQ(closed, 1u) << room;
        EXPECT_EQ(std::filesystem::exists(target()), written > 0) << room;
        EXPECT_EQ(written > 0 ? framesIn(target()) : 0, written) << room;
        std::filesystem::remove(target());
        ++places;
    }
    std::printf("%d full disks: each reported, each file opens\n", places);
}
