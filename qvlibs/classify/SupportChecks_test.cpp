// The checks against fake movies and sounds whose answers are scripted.
#include "qvlibs/classify/SupportChecks.h"

#include "qvlibs/classify/GWData.h"
#include "qvlibs/classify/InformationText.h"
#include "qvlibs/classify/MediaTypes.h"
#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/media/MediaProperties.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/sidefiles/MtvFiles.h"
#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using qv::test::home;
using qv::test::restartWithModules;
using qv::test::scriptedCalls;
using qv::test::writeFile;

namespace {

const std::vector<qv::test::ModuleChoice> kFakes = {
    {"scripted", "a.vcp"}, {"scripted", "b.acp"}, {"scripted", "c.tcp"}};

fs::path movie(const std::string& name, const std::string& script) {
    const fs::path path = home() / name;
    writeFile(path, "qvfake\nGetVideoRate.rate=30000\nGetVideoRate.scale=1001\n" + script);
    return path;
}

std::string mpeg2(int attributes = 13, int frames = 100) {
    return "Investigate.type=MPG2\nInvestigate.attributes=" + std::to_string(attributes) +
           "\nGetTotalFrames=" + std::to_string(frames) + "\n";
}

int calls(const fs::path& path, const std::string& start) {
    const auto all = scriptedCalls(path);
    return static_cast<int>(
        std::count_if(all.begin(), all.end(), [&](const auto& line) { return line.starts_with(start); }));
}

void setDate(const fs::path& path, std::int64_t seconds) {
    const timespec times[2] = {{0, UTIME_OMIT}, {seconds, 0}};
    utimensat(AT_FDCWD, path.c_str(), times, 0);
}

} // namespace

TEST(SupportChecks, DatesOutside1971To2099FailUnopened) {
    restartWithModules(kFakes);
    const fs::path path = movie("a.avi", "");
    const struct {
        std::int64_t seconds;
        int good;
    } rows[] = {{13000000, 0}, {35000000, 1}, {4102400000, 1}, {4102531200, 0}, {-86400, 0}};
    for (const auto& row : rows) {
        setDate(path, row.seconds);
        EXPECT_EQ(QVTLCheckSupportDate(path.c_str()), row.good) << row.seconds;
        if (!row.good) {
            EXPECT_EQ(QVTLCheckSupport_NTSCPAL(path.c_str()), 0);
            EXPECT_EQ(QVTLAVIInvestigate(path.c_str(), nullptr, nullptr), static_cast<ULONG>(QV_E_FAIL));
        }
    }
    EXPECT_TRUE(scriptedCalls(path).empty());
    EXPECT_EQ(QVTLCheckSupportDate((home() / "missing").c_str()), 0);
}

TEST(SupportChecks, FrameRates) {
    restartWithModules(kFakes);
    const struct {
        long rate, scale;
        int good;
    } rows[] = {{30000, 1001, 1}, {2997, 100, 1}, {2996, 100, 1},   {2998, 100, 1}, {10000000, 333667, 1},
                {2999, 100, 0},   {30, 1, 0},     {24000, 1001, 0}, {25, 1, 0},     {2997, 0, 0}};
    int number = 0;
    for (const auto& row : rows) {
        const fs::path path = home() / (std::to_string(++number) + ".avi");
        writeFile(path, "qvfake\nGetVideoRate.rate=" + std::to_string(row.rate) +
                            "\nGetVideoRate.scale=" + std::to_string(row.scale) + "\n");
        EXPECT_EQ(QVTLCheckSupport_NTSCPAL(path.c_str()), row.good) << row.rate << "/" << row.scale;
    }
    writeFile(home() / "text.avi", "no movie");
    EXPECT_EQ(QVTLCheckSupport_NTSCPAL((home() / "text.avi").c_str()), 1) << "nothing speaks against it";
}

TEST(SupportChecks, FrameRatesPal) {
    restartWithModules(kFakes, [](const fs::path&) { QVWriteProfileInt("Common", "SystemInfo", 1, 0); });
    const struct {
        const char* script;
        int good;
    } rows[] = {{"25\nGetVideoRate.scale=1", 1},
                {"50\nGetVideoRate.scale=2", 1},
                {"2599\nGetVideoRate.scale=100", 1},
                {"26\nGetVideoRate.scale=1", 0}};
    int number = 0;
    for (const auto& row : rows) {
        const fs::path path = home() / (std::to_string(++number) + ".avi");
        writeFile(path, std::string("qvfake\nGetVideoRate.rate=") + row.script + "\n");
        EXPECT_EQ(QVTLCheckSupport_NTSCPAL(path.c_str()), row.good) << row.script;
    }
}

TEST(SupportChecks, AnswersOutliveTheFlagsUntilTheFileChanges) {
    restartWithModules(kFakes);
    QVWriteProfileString("Sequence", "ImageExtention0001", "png", 0);
    const fs::path path = home() / "broken.png";
    writeFile(path, "no picture");
    EXPECT_EQ(QVTLCheckSupportPicture(path.c_str(), 0), 1);
    EXPECT_EQ(QVTLCheckSupportPicture(path.c_str(), QV_SUPPORT_DECODERS), 1)
        << "the first answer, on purpose";
    setDate(path, 1000000000);
    EXPECT_EQ(QVTLCheckSupportPicture(path.c_str(), QV_SUPPORT_DECODERS), 0);
    QVTLCheckSupportClear();
    EXPECT_EQ(QVTLCheckSupportPicture(path.c_str(), 0), 1);
}

TEST(SupportChecks, ANoIsNotKeptWhileTheFileIsOpen) {
    restartWithModules(kFakes);
    const fs::path path = home() / "a.avi";
    writeFile(path, "qvfake\nGetVideoRate.rate=15\nGetVideoRate.scale=1\n");
    const int held = open(path.c_str(), O_WRONLY);
    EXPECT_EQ(QVTLCheckSupport_NTSCPAL(path.c_str()), 0);
    EXPECT_EQ(QVTLCheckSupport_NTSCPAL(path.c_str()), 0);
    EXPECT_EQ(calls(path, "OpenR"), 2);
    close(held);
    EXPECT_EQ(QVTLCheckSupport_NTSCPAL(path.c_str()), 0);
    EXPECT_EQ(QVTLCheckSupport_NTSCPAL(path.c_str()), 0);
    EXPECT_EQ(calls(path, "OpenR"), 3) << "kept now";
}

TEST(SupportChecks, InvestigationIsKeptWhateverItSaid) {
    restartWithModules(kFakes);
    const fs::path good = movie("good.mpg", mpeg2(5)), blank = movie("blank.mpg", "");
    const fs::path pal = home() / "pal.mpg", text = home() / "text.mpg";
    writeFile(pal, "qvfake\nGetVideoRate.rate=25\nGetVideoRate.scale=1\n" + mpeg2());
    writeFile(text, "no movie");
    const struct {
        fs::path path;
        ULONG status, code;
    } rows[] = {{good, 0, makeFourCC('M', 'P', 'G', '2')},
                {blank, 1, 0},
                {pal, 0, 0xFFFFFFFF},
                {text, 0, 0xFFFFFFFF}};
    for (const auto& row : rows) {
        for (int again = 0; again < 2; ++again) {
            int attributes = -1;
            ULONG code = 1;
            EXPECT_EQ(QVTLAVIInvestigate(row.path.c_str(), &attributes, &code), row.status) << row.path;
            EXPECT_EQ(code, row.code) << row.path;
        }
        EXPECT_LE(calls(row.path, "Investigate"), 1);
    }
    int attributes = 7;
    ULONG code = 7;
    EXPECT_EQ(QVTLAVIInvestigate((home() / "missing.mpg").c_str(), &attributes, &code),
              static_cast<ULONG>(QV_E_FAIL));
    EXPECT_EQ(attributes, 7);
    EXPECT_EQ(code, 7u);
}

TEST(SupportChecks, Mpeg2NeedsItsVendorAttributesAndLength) {
    restartWithModules(kFakes);
    const fs::path path = movie("a.mpg", mpeg2(12));
    EXPECT_EQ(QVTLCheckSupportMpeg2(path.c_str(), 0), 0) << "no side file";
    EXPECT_EQ(calls(path, "GetTotalFrames"), 0) << "refused before the test";
    ASSERT_EQ(QVTLMakeMtvEx(path.c_str(), "Tarvelion_Type4 Q4410", "mtv", 0, nullptr), 0u);
    EXPECT_EQ(QVTLCheckSupportVender(path.c_str()), 0x200001);
    EXPECT_EQ(QVTLCheckSupportMpeg2(path.c_str(), 13), 0) << "bit 0 is missing";
    QVTLCheckSupportClear();
    EXPECT_EQ(QVTLCheckSupportMpeg2(path.c_str(), 12), 1);
    EXPECT_EQ(QVTLCheckSupportFile(path.c_str()), 1);
    EXPECT_EQ(QVTLCheckSupportMovie(path.c_str()), 1);
    const fs::path brief = movie("brief.mpg", mpeg2(12, 4)), other = movie("other.mpg", mpeg2());
    QVTLMakeMtvEx(brief.c_str(), "Tarvelion_Type4 Q4410", "mtv", 0, nullptr);
    EXPECT_EQ(QVTLCheckSupportMpeg2(brief.c_str(), 0), 0) << "4 frames";
    QVTLMakeMtvEx(other.c_str(), "tarvelion_type4 q4410", "mtv", 0, nullptr);
    EXPECT_EQ(QVTLCheckSupportVender(other.c_str()), 0) << "letter case counts";
    QVWriteProfileInt("Common", "EnableTimecode", 1, 0);
    EXPECT_EQ(QVTLCheckSupportVender(other.c_str()), 1);
    EXPECT_EQ(QVTLCheckSupportVender("a.avi"), 1);
}

TEST(SupportChecks, SoundsArePlainStereo) {
    restartWithModules(kFakes);
    const struct {
        const char* name;
        int rate, channels, bits, tag, good;
    } rows[] = {{"1.wav", 22050, 2, 16, 1, 1}, {"2.wav", 8000, 2, 16, 1, 0},  {"3.wav", 48000, 1, 16, 1, 0},
                {"4.wav", 96000, 2, 16, 1, 0}, {"5.wav", 48000, 2, 16, 3, 0}, {"6.avi", 48000, 2, 16, 1, 0},
                {"7.mp3", 44100, 2, 16, 1, 1}, {"8.wav", 48000, 2, 8, 1, 0}};
    for (const auto& row : rows) {
        const fs::path path = home() / row.name;
        writeFile(path, "qvfake\nGetAudioFormat.rate=" + std::to_string(row.rate) +
                            "\nGetAudioFormat.channels=" + std::to_string(row.channels) +
                            "\nGetAudioFormat.tag=" + std::to_string(row.tag) +
                            "\nGetAudioFormat.bits=" + std::to_string(row.bits) + "\n");
        EXPECT_EQ(QVTLCheckSupportSound(path.c_str()), row.good) << row.name;
    }
}

TEST(SupportChecks, TheApplicationsObjectAnswersForItsFiles) {
    restartWithModules(kFakes);
    const fs::path tap = home() / "a.tap", seq = home() / "a.seq";
    writeFile(tap, "x");
    writeFile(seq, "x");
    EXPECT_EQ(QVTLCheckSupportTAP(tap.c_str()), 0) << "nobody is registered";
    static struct Yes final : CSeq {
        int CheckTap(const char*) override { return 1; }
        int CheckSeq(const char*) override { return 2; }
    } yes, other;
    EXPECT_EQ(&QVTLSeq(&yes), &yes);
    EXPECT_EQ(&QVTLSeq(&other), &yes) << "the first one stays";
    EXPECT_EQ(QVTLCheckSupportTAP(tap.c_str()), 0) << "kept";
    QVTLCheckSupportClear();
    EXPECT_EQ(QVTLCheckSupportTAP(tap.c_str()), 1);
    EXPECT_EQ(QVTLCheckSupportFile(seq.c_str()), 2);
    GWFILEDATA data{};
    EXPECT_EQ(QVTLGetGWData(seq.c_str(), &data), 1);
    EXPECT_EQ(data.kind, QV_EXT_SEQ);
}

TEST(SupportChecks, TheTraceSaysWhenItThinks) {
    restartWithModules(kFakes);
    static std::string seen;
    qv::setTraceSink([](std::string_view text) { seen += text; });
    const fs::path path = home() / "a.asf";
    writeFile(path, "");
    EXPECT_EQ(QVTLCheckSupportAsf(path.c_str()), 1) << "it opens, nothing more is asked";
    EXPECT_NE(seen.find("QVTLCheckSupportAsf thinking [" + path.string() + "]\n"), std::string::npos);
    seen.clear();
    EXPECT_EQ(QVTLCheckSupportAsf(path.c_str()), 1);
    EXPECT_EQ(seen.find("thinking"), std::string::npos);
    qv::setTraceSink(nullptr);
}

TEST(InformationTexts, SaysWhatIsInTheFile) {
    restartWithModules(kFakes);
    const fs::path path =
        movie("a.avi", "GetTotalFrames=300\nGetVideoFormat.width=720\nGetVideoFormat.height=480\n"
                       "GetAudioFormat.rate=48000\nGetAudioFormat.channels=2\nGetAudioFormat.bits=16\n"
                       "GetVideoParam.dibType=3\n");
    EXPECT_STREQ(QVTLGetInformationString(path.c_str(), 1),
                 "長さ 00:00:10:00 , オーディオ 48.00 kHz, 16 bit\n"
                 "AVI 720x480 画面比率 16:9 (シネマ)");
    EXPECT_STREQ(QVTLGetInformationString(path.c_str(), 0), "AVI 720x480 00:00:10:00/16 bit");
    EXPECT_EQ(calls(path, "OpenR"), 1) << "both texts of one look";
    const fs::path silent =
        movie("silent.avi", "GetTotalFrames=300\nGetVideoFormat.width=720\nGetVideoFormat.height=480\n"
                            "GetAudioFormat.channels=0\n");
    EXPECT_STREQ(QVTLGetInformationString(silent.c_str(), 1), "長さ 00:00:10:00\nAVI 720x480 画面比率 4:3");
    EXPECT_STREQ(QVTLGetInformationString(silent.c_str(), 0), "AVI 720x480 00:00:10:00");
    QVTLSetInformationString(path.c_str(), "mine");
    EXPECT_STREQ(QVTLGetInformationString(path.c_str(), 0), "AVI 720x480 00:00:10:00/16 bit")
        << "known already";
    const fs::path tape = home() / "a.tap";
    writeFile(tape, "x");
    EXPECT_STREQ(QVTLReplaceInformationString(tape.c_str()), "");
    QVTLSetInformationString(tape.c_str(), "three clips");
    EXPECT_STREQ(QVTLGetInformationString(tape.c_str(), 0), "three clips");
    EXPECT_STREQ(QVTLGetInformationString(tape.c_str(), 1), "sequence information");
    const CQVTimecode length(0, 1, 2, 3, TCMODE_NDF);
    EXPECT_STREQ(QVTLGetInformationSequenceString("a.tap", length, DIB_TYPE_16_9, 3, 4),
                 "テープ情報 長さ 00:01:02:03\nクリップ数 3");
    EXPECT_STREQ(QVTLGetInformationSequenceString("a.seq", length, DIB_TYPE_16_9, 3, 4),
                 "編集情報 長さ 00:01:02:03\n画面比率 16:9 (ワイド)\nクリップ数 3\nBGMの数 4");
    const fs::path sound = home() / "four.wav";
    writeFile(sound, "qvfake\nGetTotalSamples=96000\nGetAudioFormat.rate=48000\nGetAudioFormat.channels=4\n"
                     "GetAudioFormat.bits=16\n");
    EXPECT_STREQ(QVTLGetInformationString(sound.c_str(), 1), "2.00 秒 , 48.00 kHz , audio failed. , 16 ﾋﾞｯﾄ");
    EXPECT_STREQ(QVTLGetInformationString(sound.c_str(), 0), "2.00 s");
}

TEST(MediaProperties, OddFormulasAreKept) {
    restartWithModules(kFakes);
    AVI_TYPE avi{};
    AUD_TYPE audio{};
    audio.reserved = 0xAA;
    const std::string stereo =
        "GetAudioFormat.rate=44100\nGetAudioFormat.channels=2\nGetAudioFormat.bits=16\n"
        "GetAudioFormat.align=4\n";
    const fs::path fake = movie("a.avi", "GetTotalFrames=300\nGetTotalSamples=77\n" + stereo);
    EXPECT_EQ(QVTLGetAVITYPE(fake.c_str(), &avi, &audio), 0)
        << "opened by the plug-in, but no AVI by its headers";
    EXPECT_EQ(avi.bitCount, 77u);
    EXPECT_DOUBLE_EQ(avi.seconds, 10.0);
    EXPECT_EQ(audio.reserved, 0xAAu);
    EXPECT_FLOAT_EQ(audio.kiloHertz, 44.1f);

    MPEG_TYPE video{};
    const fs::path asf = movie("a.asf", "GetMiliseconds=2500\nGetVideoCompressionRate=3000000\n" + stereo);
    QVTLGetMpegProp(asf.c_str(), &video, &audio, 0);
    EXPECT_STREQ(video.typeName, "ASF");
    EXPECT_EQ(audio.bits, 8u) << "16 bits over two channels";
    EXPECT_FLOAT_EQ(video.seconds, 2.5f);
    EXPECT_FLOAT_EQ(video.rate, 3.0f);
    const fs::path mpeg = movie("a.mpg", mpeg2(0, 300) + "GetVideoAverageRate=6000\n" + stereo);
    QVTLGetMpegProp(mpeg.c_str(), &video, &audio, 0);
    EXPECT_STREQ(video.typeName, "MPEG2");
    EXPECT_EQ(audio.bits, 16u);
    EXPECT_FLOAT_EQ(video.rate, 6.0f);
    QVTLGetMpegProp((home() / "missing.mpg").c_str(), &video, &audio, 0);
    EXPECT_EQ(video.frames, 0);
    EXPECT_STREQ(video.typeName, "");

    const struct {
        int channels, sampleBits;
        ULONG bits;
    } rows[] = {{2, 16, 16}, {1, 16, 4}, {2, 8, 8}};
    for (const auto& row : rows) {
        const fs::path sound = home() / (std::to_string(row.bits) + ".wav");
        writeFile(sound,
                  "qvfake\nGetTotalSamples=24000\nGetAudioFormat.rate=48000\nGetAudioFormat.channels=" +
                      std::to_string(row.channels) +
                      "\nGetAudioFormat.bits=" + std::to_string(row.sampleBits) + "\n");
        QVTLGetAudioProp(sound.c_str(), &audio);
        EXPECT_EQ(audio.bits, row.bits);
        EXPECT_FLOAT_EQ(audio.seconds, 0.5f);
    }
}
