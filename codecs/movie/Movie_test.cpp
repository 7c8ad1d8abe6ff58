// movie.vcp through the library, held against what FFmpeg's own programs and MediaInfo say.
#include "qvlibs/media/Qvavitools.h"
#include "qvlibs/plugins/PluginInfo.h"

#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <random>

using namespace qv::test;

namespace {

struct Movie {
    explicit Movie(const std::string& path) : handle(QVTLAVIFileOpen(path.c_str(), 0)) {
        BITMAPINFOHEADER format{};
        if (handle && QVTLAVIGetVideoFormat(handle, &format) == 0)
            width = format.biWidth, height = format.biHeight;
    }
    ~Movie() {
        if (handle) QVTLAVIFileClose(handle);
    }
    // The picture in full, or nothing.
    std::string frame(LONG number) const {
        std::string bits(static_cast<size_t>((width * 3 + 3) / 4 * 4) * static_cast<size_t>(height), '\0');
        const ULONG result =
            QVTLAVIGetNonCompressedStreamEx(handle, number, reinterpret_cast<unsigned char*>(bits.data()), 1);
        return result == 0 ? bits : std::string();
    }
    void* handle;
    LONG width = 0, height = 0;
};

std::vector<double> meanRgb(const Movie& movie, const std::string& bits) {
    std::vector<double> sum(3);
    const size_t row = static_cast<size_t>((movie.width * 3 + 3) / 4 * 4);
    for (LONG y = 0; y < movie.height; ++y) {
        for (LONG x = 0; x < movie.width; ++x) {
            for (size_t c = 0; c < 3; ++c)
                sum[2 - c] += static_cast<unsigned char>(
                    bits[row * static_cast<size_t>(y) + 3 * static_cast<size_t>(x) + c]);
        }
    }
    for (double& value : sum) value /= static_cast<double>(movie.width) * movie.height;
    return sum;
}

enum Column : size_t { File = 0, Rate = 12, Frames = 14, SoundRate = 18, First = 21 };

void make(const std::string& path, const std::vector<std::string>& options) {
    std::vector<std::string> command = {"ffmpeg", "-y", "-v", "error"};
    command.insert(command.end(), options.begin(), options.end());
    command.push_back(path);
    const auto made = run(command);
    ASSERT_EQ(made.exitCode, 0) << made.err;
}

} // namespace

TEST(Movie, FramesRatesAndColoursAreThoseOfOtherReaders) {
    QV_NEEDS_MEDIA(media);
    restartWithModules({{"movie.vcp"}, {"movie.backend.so"}});
    const auto rows = qv::test::readTable(media / "movies/expected_movies.tsv");
    ASSERT_GT(rows.size(), 10u);
    for (size_t i = 1; i < rows.size(); ++i) {
        const auto& row = rows[i];
        SCOPED_TRACE(row[File]);
        const Movie movie((media / "movies" / row[File]).string());
        if (row[Frames].empty()) {
            EXPECT_FALSE(movie.handle) << "there is only sound";
            continue;
        }
        ASSERT_TRUE(movie.handle);
        const LONG frames = QVTLAVIGetTotalFrames(movie.handle);
        EXPECT_EQ(std::to_string(frames), row[Frames]);
        ULONG rate = 0, scale = 0;
        EXPECT_EQ(QVTLAVIGetVideoRatio(movie.handle, &rate, &scale), 0u);
        EXPECT_EQ(std::to_string(rate) + "/" + std::to_string(scale), row[Rate]);
        LONG sound = 0;
        QVTLAVIGetAudioRatio(movie.handle, &sound);
        EXPECT_EQ(sound, row[SoundRate].empty() ? 0 : std::stoi(row[SoundRate]));
        const LONG numbers[] = {0, frames / 2, frames - 1};
        for (size_t part = 0; part < 3; ++part) {
            const std::string bits = movie.frame(numbers[part]);
            ASSERT_FALSE(bits.empty()) << numbers[part];
            double red = 0, green = 0, blue = 0;
            ASSERT_EQ(std::sscanf(row[First + part].c_str(), "%lf/%lf/%lf", &red, &green, &blue), 3);
            const auto mean = meanRgb(movie, bits);
            // The table was made by the quick conversion, which is up to two levels off in green.
            EXPECT_NEAR(mean[0], red, 2) << "frame " << numbers[part];
            EXPECT_NEAR(mean[1], green, 2);
            EXPECT_NEAR(mean[2], blue, 2);
        }
        EXPECT_TRUE(movie.frame(frames).empty());
        EXPECT_TRUE(movie.frame(-1).empty());
    }
}

// The number is painted into each frame, so a wrong one cannot pass for the right one.
TEST(Movie, AFrameReachedByJumpingIsTheFrameReachedByCounting) {
    QV_NEEDS_PROGRAM("ffmpeg");
    restartWithModules({{"movie.vcp"}, {"movie.backend.so"}});
    const std::vector<std::string> source = {"-f", "lavfi", "-i", "testsrc2=s=176x144:r=25:d=6"};
    const struct {
        const char* name;
        std::vector<std::string> options;
    } rows[] = {
        {"open.mpg", {"-c:v", "mpeg2video", "-g", "15", "-bf", "2", "-f", "vob"}},
        {"closed.mpg",
         {"-c:v", "mpeg2video", "-g", "12", "-bf", "2", "-flags", "+cgop", "-sc_threshold", "1000000000",
          "-f", "vob"}},
        {"one.mpg", {"-c:v", "mpeg1video", "-g", "18", "-bf", "2", "-f", "mpeg"}},
        {"transport.ts", {"-c:v", "mpeg2video", "-g", "15", "-bf", "2"}},
        {"stream.m2v", {"-c:v", "mpeg2video", "-g", "15", "-bf", "2"}},
        {"h264.mp4", {"-c:v", "libx264", "-g", "30", "-bf", "3", "-preset", "ultrafast"}},
        {"asf.wmv", {"-c:v", "wmv2", "-g", "20"}},
        {"mpeg4.avi", {"-c:v", "mpeg4", "-g", "25", "-bf", "2"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string path = home() / row.name;
        auto options = source;
        options.insert(options.end(), row.options.begin(), row.options.end());
        make(path, options);
        const Movie counting(path);
        ASSERT_TRUE(counting.handle);
        const LONG frames = QVTLAVIGetTotalFrames(counting.handle);
        EXPECT_EQ(frames, 150);
        std::vector<std::string> all;
        for (LONG i = 0; i < frames; ++i) all.push_back(counting.frame(i));
        EXPECT_EQ(std::count(all.begin(), all.end(), std::string()), 0);
        for (size_t i = 1; i < all.size(); ++i) EXPECT_FALSE(all[i] == all[i - 1]) << i;
        const Movie partlyRead(path);
        for (const size_t number : {110, 3})
            EXPECT_TRUE(partlyRead.frame(static_cast<LONG>(number)) == all[number]) << "frame " << number;
        const Movie jumping(path);
        std::mt19937 random(7);
        for (int i = 0; i < 125; ++i) {
            const auto number = static_cast<LONG>(random() % static_cast<unsigned>(frames));
            EXPECT_TRUE(jumping.frame(number) == all[static_cast<size_t>(number)]) << "frame " << number;
        }
    }
}

TEST(Movie, DvFramesComeAsTheyStandInTheFileInAnyOrder) {
    QV_NEEDS_PROGRAM("ffmpeg");
    restartWithModules({{"movie.vcp"}, {"movie.backend.so"}});
    constexpr size_t kFrame = 120000;
    const std::string tape = home() / "tape.dv";
    make(tape,
         {"-f", "lavfi", "-i", "testsrc2=s=720x480:r=30000/1001", "-frames:v", "12", "-pix_fmt", "yuv411p"});
    const std::string frames = qv::test::readFile(tape);
    for (const char* kind : {"mov", "mkv", "mxf"}) {
        const std::string path = home() / (std::string("tape.") + kind);
        make(path, {"-i", tape, "-c", "copy"});
        const Movie movie(path);
        ASSERT_TRUE(movie.handle) << kind;
        std::string dif(kFrame, '\0');
        auto* const out = reinterpret_cast<unsigned char*>(dif.data());
        for (const LONG number : {7, 8, 2, 0, 11, 10}) {
            EXPECT_EQ(QVTLAVIGetCompressedStream(movie.handle, number, out), 0u) << kind << number;
            EXPECT_TRUE(dif == frames.substr(static_cast<size_t>(number) * kFrame, kFrame)) << kind << number;
        }
        for (const LONG number : {12, -1})
            EXPECT_EQ(QVTLAVIGetCompressedStream(movie.handle, number, out), 1u);
    }
}

TEST(Movie, AFileCutWhileItIsOpenGivesNoPictureOrTheRightOne) {
    QV_NEEDS_PROGRAM("ffmpeg");
    restartWithModules({{"movie.vcp"}, {"movie.backend.so"}});
    const struct {
        const char* name;
        std::vector<std::string> codec;
    } rows[] = {{"a.avi", {"-c:v", "mpeg4", "-bf", "2", "-g", "24"}},
                {"a.mpg", {"-c:v", "mpeg2video", "-bf", "2", "-g", "24"}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string path = home() / row.name;
        std::vector<std::string> options = {"-f", "lavfi", "-i", "testsrc2=s=320x240:r=25:d=4"};
        options.insert(options.end(), row.codec.begin(), row.codec.end());
        make(path, options);
        std::vector<std::string> right;
        {
            const Movie whole(path);
            for (LONG i = 0; i < 100; ++i) right.push_back(whole.frame(i));
        }
        const Movie cut(path);
        EXPECT_TRUE(cut.frame(5) == right[5]);
        std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
        for (LONG number = 99; number >= 0; --number) {
            const std::string picture = cut.frame(number);
            EXPECT_TRUE(picture.empty() || picture == right[static_cast<size_t>(number)])
                << "frame " << number;
        }
    }
}

TEST(Movie, ShapesTurnsAndFields) {
    QV_NEEDS_PROGRAM("ffmpeg");
    restartWithModules({{"movie.vcp"}, {"movie.backend.so"}});
    const struct {
        const char* shape;
        LONG width, height;
        DIB_TYPE type;
    } shapes[] = {{"4/3", 720, 480, DIB_TYPE_4_3},
                  {"16/9", 720, 480, DIB_TYPE_16_9},
                  {"3/2", 720, 480, DIB_TYPE_SQUARE},
                  {"2/1", 960, 480, DIB_TYPE_SQUARE}};
    const struct {
        const char* name;
        std::vector<std::string> options;
        bool interlaced;
    } fields[] = {{"progressive", {}, false},
                  {"top first", {"-flags", "+ildct+ilme", "-top", "1"}, true},
                  {"bottom first", {"-flags", "+ildct+ilme", "-top", "0"}, true}};
    // Left upper quarter red, right upper one green, lower half blue.
    const std::string picture = "color=blue:s=720x480:r=25:d=0.4,drawbox=w=360:h=240:t=fill:color=red,"
                                "drawbox=x=360:w=360:h=240:t=fill:color=green";
    for (const auto& shape : shapes) {
        for (const auto& field : fields) {
            const std::string flat = home() / "flat.mp4";
            std::vector<std::string> options = {
                "-f", "lavfi", "-i", picture + ",setdar=" + shape.shape, "-c:v", "mpeg2video", "-q:v", "2"};
            options.insert(options.end(), field.options.begin(), field.options.end());
            make(flat, options);
            for (const int turns : {0, 1, 2, 3}) {
                SCOPED_TRACE(std::string(shape.shape) + ", " + std::to_string(90 * turns) + " degrees, " +
                             field.name);
                std::string path = flat;
                if (turns != 0) { // the tag counts anticlockwise turns
                    path = home() / "turned.mp4";
                    make(path, {"-i", flat, "-c", "copy", "-metadata:s:v",
                                "rotate=" + std::to_string(360 - 90 * turns)});
                }
                const Movie movie(path);
                ASSERT_TRUE(movie.handle);
                DIB_TYPE type = DIB_TYPE_AUTO;
                EXPECT_EQ(QVTLAVIGetDIBType(movie.handle, type, 0), 0u);
                const bool isTurned = turns % 2 != 0;
                double width = movie.width;
                if (type == DIB_TYPE_4_3) width = movie.height * 4.0 / 3;
                if (type == DIB_TYPE_16_9) width = movie.height * 16.0 / 9;
                unsigned high = 1, wide = 1;
                std::sscanf(shape.shape, "%u/%u", &wide, &high);
                const double wanted =
                    isTurned ? static_cast<double>(high) / wide : static_cast<double>(wide) / high;
                EXPECT_NEAR(width / movie.height, wanted, 0.01);
                if (!isTurned) {
                    EXPECT_EQ(movie.width, shape.width);
                    EXPECT_EQ(type, shape.type);
                }
                // Where the three colours are, from the top, the corners going clockwise: the red one first,
                // then green, and twice blue, moved on by a corner with each turn.
                std::vector<unsigned char> bits(
                    static_cast<size_t>(movie.width) * static_cast<size_t>(movie.height) * 3 + 4096);
                ASSERT_EQ(QVTLAVIGetNonCompressedStreamEx2(
                              movie.handle, 3, bits.data(), movie.width, movie.height, DIB_TYPE_AUTO, 0,
                              MOVIE_DECODE_DEFAULT, RESIZE_METHOD_LINEAR, 0, nullptr, nullptr),
                          0u);
                const size_t row = static_cast<size_t>((movie.width * 3 + 3) / 4 * 4);
                const char* const colours = "rgbb";
                const LONG x[] = {20, movie.width - 20, movie.width - 20, 20};
                const LONG y[] = {movie.height - 20, movie.height - 20, 20, 20};
                for (int corner = 0; corner < 4; ++corner) {
                    const unsigned char* at =
                        &bits[row * static_cast<size_t>(y[corner]) + 3 * static_cast<size_t>(x[corner])];
                    const char found = at[2] > 150 ? 'r' : at[0] > 150 ? 'b' : at[1] > 90 ? 'g' : '?';
                    EXPECT_EQ(found, colours[(corner - turns + 4) % 4]) << "corner " << corner;
                }
            }
        }
    }
}

TEST(Movie, InvestigationNamesMpeg) {
    QV_NEEDS_MEDIA(media);
    restartWithModules({{"movie.vcp"}, {"movie.backend.so"}});
    const struct {
        const char* file;
        const char* code;
        int attributes;
    } rows[] = {{"generated/mjt_pal_mpeg2_ps.mpg", "MPG2", 1 | 2 | 8},
                {"generated/ff_ntsc_svcd_wide.mpg", "MPG2", 2 | 8},
                {"generated/mjt_ntsc_mpeg1_sys.mpg", "MPG1", 2 | 8},
                {"generated/ff_176.m1v", "MPG1", 1},
                {"tika/testWMV.wmv", "WMV3", 8},
                {"generated/ff_mjpeg_pcm.avi", "MJPG", 8}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.file);
        const std::string path = media / "movies" / row.file;
        const std::unique_ptr<CPluginInfo> plugin(LoadVideoCodecPlugIn(path.c_str()));
        ASSERT_TRUE(plugin);
        int attributes = 0;
        ULONG code = 0;
        EXPECT_EQ(plugin->Investigate(path.c_str(), &attributes, &code), 0u);
        EXPECT_EQ(code, makeFourCC(row.code[0], row.code[1], row.code[2], row.code[3]));
        EXPECT_EQ(attributes, row.attributes);
    }
}

TEST(Movie, SoundFollowsThePictures) {
    QV_NEEDS_PROGRAM("ffmpeg");
    restartWithModules({{"movie.vcp"}, {"movie.backend.so"}});
    const std::string path = home() / "sound.mpg";
    // Silent but for the third second.
    make(path, {"-f", "lavfi", "-i", "testsrc2=s=176x144:r=25:d=6", "-f", "lavfi", "-i",
                "sine=500:r=48000:d=6,volume='between(t,2,3)':eval=frame", "-c:v", "mpeg2video", "-c:a",
                "mp2", "-ac", "2", "-f", "vob"});
    const Movie movie(path);
    ASSERT_TRUE(movie.handle);
    EXPECT_NEAR(QVTLAVIGetTotalSamples(movie.handle), 288000, 3000);
    std::vector<std::int16_t> samples(48000 * 2);
    const auto peakOf = [&](int second) {
        LONG length = 192000;
        EXPECT_EQ(QVTLAVIGetWaveData(movie.handle, second * 25 + 3, 19, samples.data(), &length), 0u);
        EXPECT_EQ(length, 19 * 1920 * 4);
        int peak = 0;
        for (int i = 0; i < length / 2; ++i)
            peak = std::max<int>(peak, std::abs(samples[static_cast<size_t>(i)]));
        return peak;
    };
    for (const int second : {2, 0, 4, 2, 1, 2, 3}) EXPECT_EQ(peakOf(second) > 1000, second == 2) << second;
    EXPECT_GE(QVTLAVIGetAudioCompressionRate(movie.handle), 64);
}

// As broadcasts do between programmes: six channels, then two at another rate.
TEST(Movie, SoundMayChangeItsForm) {
    QV_NEEDS_PROGRAM("ffmpeg");
    restartWithModules({{"movie.vcp"}, {"movie.backend.so"}});
    const std::string path = home() / "sound.ts";
    std::string bytes;
    for (const auto& [start, channels, rate] : {std::tuple{"0", "6", "48000"}, {"3", "2", "44100"}}) {
        const std::string part = home() / "part.ts";
        make(part,
             {"-f", "lavfi", "-i", "testsrc2=s=176x144:r=25:d=3", "-f", "lavfi", "-i", "sine=500:r=48000:d=3",
              "-c:v", "mpeg2video", "-c:a", "ac3", "-ac", channels, "-ar", rate, "-output_ts_offset", start});
        bytes += qv::test::readFile(part);
    }
    qv::test::writeFile(path, bytes);
    const Movie movie(path);
    ASSERT_TRUE(movie.handle);
    std::vector<std::int16_t> samples(48000 * 2);
    for (const int second : {0, 2, 4, 5}) {
        LONG length = 192000;
        EXPECT_EQ(QVTLAVIGetWaveData(movie.handle, second * 25, 10, samples.data(), &length), 0u);
        EXPECT_GT(*std::max_element(samples.begin(), samples.begin() + length / 2), 1000) << second;
    }
}
