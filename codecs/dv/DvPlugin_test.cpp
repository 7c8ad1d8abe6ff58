// dv.vcp through the library, as callers meet it.
#include "qvlibs/media/QVMovie.h"
#include "qvlibs/media/Qvavitools.h"
#include "qvlibs/plugins/PluginInfo.h"
#include "qvlibs/plugins/plugin_api.h"

#include "tests/support/AviMaker.h"
#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>

using namespace qv::test;

namespace {

constexpr size_t kNtsc = 120000;

// Frame 0 of the camera's recording, and what can be made of it.
std::string cameraFrames(const std::filesystem::path& media) {
    return readFile(media / "dv/dv-toolbox/camcorder_ntsc_frames0-1.dv");
}

std::string put(const std::string& name, const std::string& bytes) {
    writeFile(home() / name, bytes);
    return (home() / name).string();
}

ULONG ask(void* movie, LONG frame, LONG width, LONG height, std::vector<unsigned char>& bits, ULONG flags = 0,
          int type = 0) {
    bits.assign(720 * 576 * 3, 0);
    return QVTLAVIGetNonCompressedStreamEx2(movie, frame, bits.data(), width, height,
                                            static_cast<DIB_TYPE>(type), 0, MOVIE_DECODE_DEFAULT,
                                            RESIZE_METHOD_LINEAR, flags, nullptr, nullptr);
}

double mean(const std::vector<unsigned char>& bits, LONG width, LONG height) {
    double sum = 0;
    const size_t size = static_cast<size_t>((width * 3 + 3) / 4 * 4) * static_cast<size_t>(height);
    for (size_t i = 0; i < size; ++i) sum += bits[i];
    return sum / static_cast<double>(size);
}

} // namespace

TEST(DvPlugin, AnswersEveryQuestionAboutARecording) {
    QV_NEEDS_MEDIA(media);
    restartWithModules({{"dv.vcp"}});
    const struct {
        const char* file;
        int attributes;
    } rows[] = {{"dv-toolbox/camcorder_ntsc_frames0-1.dv", 4 | 8},
                {"derived/avi_camcorder_s01_t1.avi", 2 | 8},
                {"derived/avi_camcorder_s01_t2.avi", 8},
                {"derived/avi_camcorder_s01_ff_t2.avi", 8}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.file);
        const std::string path = media / "dv" / row.file;
        void* const movie = QVTLAVIFileOpen(path.c_str(), 0);
        ASSERT_TRUE(movie);
        EXPECT_EQ(QVTLAVIGetTotalFrames(movie), 2);
        EXPECT_EQ(QVTLAVIGetMiliseconds(movie), 66);
        ULONG code = 0, rate = 0, scale = 0;
        LONG samples = 0;
        EXPECT_EQ(QVTLAVIGetFccHeader(movie, &code), 0u);
        EXPECT_EQ(code, makeFourCC('d', 'v', 's', 'd'));
        EXPECT_EQ(QVTLAVIGetVideoRatio(movie, &rate, &scale), 0u);
        EXPECT_NEAR(static_cast<double>(rate) / scale, 29.97, 0.001);
        EXPECT_EQ(QVTLAVIGetAudioRatio(movie, &samples), 0u);
        EXPECT_EQ(samples, 32000);
        EXPECT_NEAR(QVTLAVIGetVideoCompressionRate(movie), 28771, 1);
        EXPECT_EQ(QVTLAVIGetAudioCompressionRate(movie), 1024);
        EXPECT_NEAR(QVTLAVIGetTotalSamples(movie), 2136, 2);
        std::vector<unsigned char> sound(20000);
        LONG length = static_cast<LONG>(sound.size());
        EXPECT_EQ(QVTLAVIGetWaveData(movie, 0, 2, sound.data(), &length), 0u);
        EXPECT_NEAR(length, 4 * 2136, 8);
        length = 10; // room for two samples and a half
        EXPECT_EQ(QVTLAVIGetWaveData(movie, 0, 2, sound.data(), &length), 0u);
        EXPECT_EQ(length, 8);
        EXPECT_EQ(QVTLAVIGetWaveData(movie, 3, 1, sound.data(), &length), 1u) << "behind the end";
        EXPECT_EQ(QVTLAVIFileClose(movie), 0u);

        const std::unique_ptr<CPluginInfo> plugin(LoadVideoCodecPlugIn(path.c_str()));
        int attributes = 0;
        EXPECT_EQ(plugin->Investigate(path.c_str(), &attributes, &code), 0u);
        EXPECT_EQ(code, makeFourCC('d', 'v', 's', 'd'));
        EXPECT_EQ(attributes, row.attributes);
    }
}

TEST(DvPlugin, EverySizeShowsTheSamePicture) {
    QV_NEEDS_MEDIA(media);
    restartWithModules({{"dv.vcp"}});
    void* const movie = QVTLAVIFileOpen((media / "dv/derived/avi_camcorder_s01_t2.avi").c_str(), 0);
    ASSERT_TRUE(movie);
    std::vector<unsigned char> bits;
    EXPECT_EQ(ask(movie, 1, 720, 480, bits, 0x40000000), 0u);
    const double whole = mean(bits, 720, 480);
    for (const auto& size :
         {SIZE{720, 480}, {360, 240}, {180, 120}, {88, 60}, {640, 360}, {161, 121}, {33, 17}}) {
        EXPECT_EQ(ask(movie, 1, size.cx, size.cy, bits), 0u);
        EXPECT_NEAR(mean(bits, size.cx, size.cy), whole, 1.5) << size.cx;
    }
    for (const ULONG reduction : {1u, 2u, 4u, 8u}) {
        const BITMAPINFOHEADER* picture = QVTLAVIGetNonCompressedStream(movie, 1, reduction);
        ASSERT_TRUE(picture);
        EXPECT_EQ(picture->biWidth, reduction == 8 ? 88 : static_cast<LONG>(720 / reduction));
        EXPECT_EQ(picture->biHeight, static_cast<LONG>(480 / reduction));
    }
    EXPECT_FALSE(QVTLAVIGetNonCompressedStream(movie, 1, 5));
    EXPECT_FALSE(QVTLAVIGetNonCompressedStream(movie, 2, 1));
    EXPECT_FALSE(QVTLAVIGetNonCompressedStream(movie, -1, 1));
    EXPECT_EQ(ask(movie, 2, 180, 120, bits), 1u);
    QVTLAVIFileClose(movie);
}

TEST(DvPlugin, CompressedDataIsTheFrameUnchanged) {
    QV_NEEDS_MEDIA(media);
    restartWithModules({{"dv.vcp"}});
    const std::string raw = cameraFrames(media);
    void* const movie = QVTLAVIFileOpen((media / "dv/derived/avi_camcorder_s01_t1.avi").c_str(), 0);
    ASSERT_TRUE(movie);
    std::vector<unsigned char> bits;
    EXPECT_EQ(ask(movie, 1, 720, 480, bits, 1), 2304u);
    EXPECT_EQ(std::string(bits.begin(), bits.begin() + kNtsc), raw.substr(kNtsc));
    EXPECT_EQ(ask(movie, 1, 720, 576, bits, 1), 0u) << "not at another size";
    EXPECT_EQ(ask(movie, 1, 720, 480, bits, 1, 2), 0u) << "nor of another shape";
    QVTLAVIFileClose(movie);
}

// The aspect is written into the stream; so is whether the picture is one of two fields.
TEST(DvPlugin, TypeAndFieldsComeFromTheStream) {
    QV_NEEDS_MEDIA(media);
    restartWithModules({{"dv.vcp"}});
    const struct {
        unsigned char mode, system;
        DIB_TYPE type;
    } rows[] = {{0xC8, 0xFC, DIB_TYPE_4_3},       {0xC9, 0xFC, DIB_TYPE_LETTERBOX},
                {0xCA, 0xFC, DIB_TYPE_16_9},      {0xCF, 0xFD, DIB_TYPE_16_9},
                {0xCB, 0xFD, DIB_TYPE_LETTERBOX}, {0xCD, 0xFD, DIB_TYPE_LETTERBOX},
                {0xCC, 0xFC, DIB_TYPE_4_3}};
    for (const auto& row : rows) {
        std::string frame = cameraFrames(media).substr(0, kNtsc);
        for (size_t at = 453; at < kNtsc; at += 24000) {
            ASSERT_EQ(frame[at], 0x61);
            frame[at + 2] = static_cast<char>(row.mode);
            frame[at + 3] = static_cast<char>(row.system);
        }
        CAVIFile movie(put("shape.dv", frame).c_str());
        EXPECT_EQ(movie.GetDIBType(0), row.type);
    }
}

TEST(DvPlugin, AFirstFrameWithoutSoundDoesNotMakeAMovieSilent) {
    QV_NEEDS_MEDIA(media);
    restartWithModules({{"dv.vcp"}});
    std::string frames = cameraFrames(media);
    for (size_t block = 6; block < 1500; block += block % 150 == 134 ? 22 : 16)
        frames[80 * block + 3] = '\xFF'; // packs
    void* const movie = QVTLAVIFileOpen(put("late.dv", frames).c_str(), 0);
    std::vector<unsigned char> sound(20000);
    LONG length = 0;
    EXPECT_EQ(QVTLAVIGetWaveData(movie, 0, 2, sound.data(), &length), 0u);
    EXPECT_NEAR(length, 4 * 2136, 8);
    EXPECT_EQ(std::count(sound.begin(), sound.begin() + 4000, 0), 4000);
    EXPECT_NE(std::count(sound.begin() + 5000, sound.begin() + 8000, 0), 3000);
    QVTLAVIFileClose(movie);
}

TEST(DvPlugin, ACutFileGivesItsWholeFramesOrIsRefused) {
    QV_NEEDS_MEDIA(media);
    restartWithModules({{"dv.vcp"}});
    for (const char* name : {"dv/derived/avi_camcorder_s01_t2.avi", "dv/derived/avi_camcorder_s01_t1.avi",
                             "dv/dv-toolbox/camcorder_ntsc_frames0-1.dv"}) {
        const std::string whole = readFile(media / name);
        const std::string path = put("cut.avi", whole);
        std::vector<unsigned char> bits;
        LONG most = 0;
        for (size_t size = whole.size(); size > 97; size -= 97) {
            std::filesystem::resize_file(path, size);
            void* const movie = QVTLAVIFileOpen(path.c_str(), 0);
            if (!movie) continue;
            const LONG frames = QVTLAVIGetTotalFrames(movie);
            most = std::max(most, frames);
            EXPECT_GE(frames, 1);
            EXPECT_LE(static_cast<size_t>(frames) * kNtsc, size);
            EXPECT_EQ(ask(movie, frames - 1, 88, 60, bits), 0u) << name << " cut to " << size;
            QVTLAVIFileClose(movie);
        }
        EXPECT_EQ(most, 2);
    }
}

// Damaged blocks look as in the frame before, when that one was decoded just before; else as what is around them.
TEST(DvPlugin, DamageIsNeverFilledFromAFrameFurtherAway) {
    QV_NEEDS_MEDIA(media);
    restartWithModules({{"dv.vcp"}});
    std::string frames = cameraFrames(media);
    frames += frames.substr(kNtsc);
    for (size_t frame = 1; frame < 3; ++frame) {
        for (size_t block = 50; block < 60; ++block) frames[frame * kNtsc + 80 * block + 3] |= '\xF0';
    }
    void* const movie = QVTLAVIFileOpen(put("scratched.dv", frames).c_str(), 0);
    const auto shown = [&](LONG frame, LONG width, LONG height) {
        std::vector<unsigned char> bits;
        EXPECT_EQ(ask(movie, frame, width, height, bits, 0x40000000), 0u);
        return bits;
    };
    const auto alone = shown(1, 720, 480);
    shown(0, 720, 480);
    const auto behind = shown(1, 720, 480);
    EXPECT_NE(behind, alone);
    EXPECT_EQ(shown(1, 720, 480), behind) << "the same frame again";
    shown(0, 720, 480);
    EXPECT_EQ(QVTLAVIGetNonCompressedStream(movie, 1, 8)->biWidth, 88);
    EXPECT_EQ(shown(2, 720, 480), alone) << "frame 1 was decoded at another size, 0 is too far away";
    QVTLAVIFileClose(movie);
}

namespace {

using Ask = ULONG (*)(CPluginInfo& plugin, ULONG stream);
unsigned char room[144000];
QVFRAMEREQUEST request;
ULONG word;
LONG length;
WAVEFORMATEX wave;
BITMAPINFOHEADER header;
#define ASK(call) [](CPluginInfo& p, [[maybe_unused]] ULONG s) -> ULONG { return p.call; }
#define ASK_SOUND(call) [](CPluginInfo& p, ULONG s) -> ULONG { return length = 0, p.call; }

// What the exports for reading answer on an open stream of two frames; on one that is not open they answer 0 where a
// count is due, else 1.
const struct {
    const char* what;
    Ask ask;
    ULONG open, refused;
} kAnswers[] = {
    {"frames", ASK(GetTotalFrames(s)), 2, 0},
    {"milliseconds", ASK(GetMiliseconds(s)), 66, 0},
    {"bits of sound", ASK(GetAudioCompressionRate(s)), 1024000, 0},
    {"kilobits of the picture", ASK(GetVideoAverageRate(s)), 28771, 0},
    {"a frame", ASK(GetVideoEx(s, 0, room, 8)), 0, 1},
    {"a reduction that there is not", ASK(GetVideoEx(s, 0, room, 5)), 1, 1},
    {"a frame behind the last", ASK(GetVideoEx(s, 2, room, 8)), 1, 1},
    {"a frame before the first", ASK(GetVideoEx(s, -1, room, 8)), 1, 1},
    {"a frame to nowhere", ASK(GetVideoEx(s, 0, nullptr, 8)), 1, 1},
    {"a request", ASK(GetVideoParam(s, &request, 1)), 0, 1},
    {"a request behind the last", ASK(GetVideoParam(s, &request, 2)), 1, 1},
    {"no request", ASK(GetVideoParam(s, nullptr, 0)), 1, 1},
    {"data", ASK(GetDif(s, 1, room, 0, nullptr, nullptr)), 0, 1},
    {"data behind the last", ASK(GetDif(s, 2, room, 0, nullptr, nullptr)), 1, 1},
    {"data to nowhere", ASK(GetDif(s, 0, nullptr, 0, nullptr, nullptr)), 1, 1},
    {"sound", ASK_SOUND(GetAudio(s, 0, 2, room, &length)), 0, 1},
    {"sound at the end", ASK_SOUND(GetAudio(s, 2, 1, room, &length)), 0, 1},
    {"sound behind the end", ASK_SOUND(GetAudio(s, 3, 1, room, &length)), 1, 1},
    {"sound before the start", ASK_SOUND(GetAudio(s, -1, 1, room, &length)), 1, 1},
    {"less than no sound", ASK_SOUND(GetAudio(s, 0, -1, room, &length)), 1, 1},
    {"sound to nowhere", ASK_SOUND(GetAudio(s, 0, 1, nullptr, &length)), 1, 1},
    {"sound of any length", ASK(GetAudio(s, 0, 1, room, nullptr)), 1, 1},
    {"the code", ASK(GetFccHeader(s, &word)), 0, 1},
    {"the code for nobody", ASK(GetFccHeader(s, nullptr)), 1, 1},
    {"the rate", ASK(GetVideoRate(s, &word, &word)), 0, 1},
    {"half of the rate", ASK(GetVideoRate(s, &word, nullptr)), 1, 1},
    {"the form of the sound", ASK(GetAudioFormat(s, &wave)), 0, 1},
    {"the form for nobody", ASK(GetAudioFormat(s, nullptr)), 1, 1},
    {"the form of the picture", ASK(GetVideoFormat(s, &header)), 0, 1},
    {"the form for nobody", ASK(GetVideoFormat(s, nullptr)), 1, 1},
    {"the end", ASK(CloseR(s)), 0, 1},
};

} // namespace

TEST(DvPlugin, EveryReaderAnswersOpenClosedAndMadeUpTickets) {
    QV_NEEDS_MEDIA(media);
    restartWithModules({{"dv.vcp"}});
    const std::string path = media / "dv/derived/avi_camcorder_s01_t2.avi";
    const std::unique_ptr<CPluginInfo> plugin(LoadVideoCodecPlugIn(path.c_str()));
    const ULONG closed = plugin->OpenR(path.c_str(), 0);
    for (const auto& row : kAnswers) EXPECT_EQ(row.ask(*plugin, closed), row.open) << row.what;
    const ULONG next = plugin->OpenR(path.c_str(), 0);
    for (const ULONG ticket : {closed, 0u, 0xFFFFFFFFu}) {
        EXPECT_NE(ticket, next);
        EXPECT_EQ(plugin->GetVideo(ticket, 0, 1), nullptr);
        for (const auto& row : kAnswers) EXPECT_EQ(row.ask(*plugin, ticket), row.refused) << row.what;
    }
    EXPECT_EQ(plugin->CloseR(next), 0u);
}
