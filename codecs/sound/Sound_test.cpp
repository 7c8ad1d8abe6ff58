// Sound files through the library and the shipped sound modules.
#include "codecs/sound/Downmix.h"
#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/plugins/PluginInfo.h"
#include "qvlibs/util/Bytes.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// A WAVE file as its fields say, which need not fit together.
struct Wave {
    WORD tag = 1;
    unsigned channels = 1;
    DWORD rate = 8000;
    WORD bits = 16;
    std::vector<std::uint8_t> data{};
    int block = -1; // -1: what the others give
    std::string title{};

    std::string bytes() const {
        const auto align = static_cast<WORD>(block >= 0 ? block : static_cast<int>(channels * bits / 8));
        qv::ByteWriter out;
        const size_t tags = title.empty() ? 0 : 20 + (title.size() + 1) / 2 * 2;
        out.bytes("RIFF", 4);
        out.u32(static_cast<DWORD>(36 + tags + data.size()));
        out.bytes("WAVEfmt ", 8);
        out.u32(16);
        out.u16(tag);
        out.u16(static_cast<WORD>(channels));
        out.u32(rate);
        out.u32(rate * align);
        out.u16(align);
        out.u16(bits);
        if (tags) {
            out.bytes("LIST", 4);
            out.u32(static_cast<DWORD>(tags - 8));
            out.bytes("INFOINAM", 8);
            out.u32(static_cast<DWORD>(title.size()));
            out.text(title, tags - 20);
        }
        out.bytes("data", 4);
        out.u32(static_cast<DWORD>(data.size()));
        out.bytes(data.data(), data.size());
        return {reinterpret_cast<const char*>(out.data().data()), out.size()};
    }
};

fs::path fileOf(const std::string& name, const std::string& bytes) {
    const fs::path path = qv::test::home() / name;
    qv::test::writeFile(path, bytes);
    return path;
}

class Sound {
public:
    explicit Sound(const fs::path& path) : plugin_(LoadAudioCodecPlugIn(path.c_str())) {
        if (plugin_) ticket_ = plugin_->OpenR(path.c_str(), 0);
        if (ticket_) plugin_->GetAudioFormat(ticket_, &format);
    }
    ~Sound() {
        if (!ticket_) return;
        EXPECT_EQ(plugin_->CloseR(ticket_), 0u);
    }
    Sound(const Sound&) = delete;
    Sound& operator=(const Sound&) = delete;

    explicit operator bool() const { return ticket_ != 0; }
    CPluginInfo& plugin() { return *plugin_; }
    ULONG ticket() const { return ticket_; }
    LONG samples() { return static_cast<LONG>(plugin_->GetTotalSamples(ticket_)); }
    std::vector<std::int16_t> read(LONG first, LONG count) {
        std::vector<std::int16_t> values(static_cast<size_t>(count) * format.nChannels);
        LONG length = 0;
        EXPECT_EQ(plugin_->GetAudio(ticket_, first, count, values.data(), &length), 0u);
        values.resize(static_cast<size_t>(length) / 2);
        return values;
    }
    std::vector<std::int16_t> all() { return read(0, samples() + 100); }
    ULONG word(ULONG code) {
        ULONG value = 77;
        EXPECT_EQ(plugin_->GetFileData(ticket_, code, &value, 0), 0u);
        return value;
    }
    std::string name() {
        char text[260] = "";
        EXPECT_EQ(plugin_->GetFileData(ticket_, 0, text, 0), 0u);
        return text;
    }

    WAVEFORMATEX format{};

private:
    std::unique_ptr<CPluginInfo> plugin_;
    ULONG ticket_ = 0;
};

std::vector<std::uint8_t> raw(std::initializer_list<int> bytes) {
    std::vector<std::uint8_t> all;
    for (const int byte : bytes) all.push_back(static_cast<std::uint8_t>(byte));
    return all;
}

std::vector<std::uint8_t> floats(const std::vector<float>& values) {
    std::vector<std::uint8_t> all(values.size() * 4);
    std::memcpy(all.data(), values.data(), all.size());
    return all;
}

constexpr WORD kFloat = 3;

// A 16-bit ramp of `samples` mono samples.
Wave ramp(int samples, DWORD rate = 8000) {
    Wave wave;
    wave.rate = rate;
    for (int i = 0; i < samples; ++i) {
        wave.data.push_back(static_cast<std::uint8_t>(i));
        wave.data.push_back(static_cast<std::uint8_t>(i >> 8));
    }
    return wave;
}

} // namespace

TEST(Sound, WavesOfEveryDepthComeAsSixteenBits) {
    using Values = std::vector<std::int16_t>;
    const float infinite = HUGE_VALF;
    const struct {
        const char* what;
        Wave wave;
        int channels;
        Values values;
    } rows[] = {
        {"8 bits", {.bits = 8, .data = raw({0, 128, 255})}, 1, {-32768, 0, 32512}},
        {"16 bits", {.data = raw({0, 0x80, 0xFF, 0x7F})}, 1, {-32768, 32767}},
        {"24 bits", {.bits = 24, .data = raw({0xFF, 0x34, 0x12, 0, 0, 0x80})}, 1, {0x1234, -32768}},
        {"32 bits", {.bits = 32, .data = raw({0, 0, 0x34, 0x12})}, 1, {0x1234}},
        {"float",
         {.tag = kFloat, .bits = 32, .data = floats({0.5F, -1, 1, 1.5F, -7, infinite, NAN})},
         1,
         {16384, -32768, 32767, 32767, -32768, 32767, 0}},
        {"stereo", {.channels = 2, .data = raw({1, 0, 2, 0, 3, 0, 4, 0})}, 2, {1, 2, 3, 4}},
        {"no samples", {}, 1, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Sound sound(fileOf("a.wav", row.wave.bytes()));
        ASSERT_TRUE(sound);
        EXPECT_EQ(sound.format.wFormatTag, WAVE_FORMAT_PCM);
        EXPECT_EQ(sound.format.nChannels, row.channels);
        EXPECT_EQ(sound.format.nSamplesPerSec, row.wave.rate);
        EXPECT_EQ(sound.format.wBitsPerSample, 16);
        EXPECT_EQ(sound.format.nBlockAlign, 2 * row.channels);
        EXPECT_EQ(sound.samples() * row.channels, static_cast<LONG>(row.values.size()));
        EXPECT_EQ(sound.all(), row.values);
    }
}

TEST(Sound, MoreChannelsAreMixedDownWithoutOverflow) {
    // Full scale in one channel at a time, then in all of them.
    for (int channels = 3; channels <= 9; ++channels) {
        SCOPED_TRACE(channels);
        std::vector<float> values;
        for (int one = 0; one <= channels; ++one) {
            for (int i = 0; i < channels; ++i) values.push_back(one == channels || one == i ? 1 : 0);
        }
        Sound sound(fileOf("a.wav", Wave{.tag = kFloat,
                                         .channels = static_cast<unsigned>(channels),
                                         .bits = 32,
                                         .data = floats(values)}
                                        .bytes()));
        ASSERT_TRUE(sound);
        ASSERT_EQ(sound.format.nChannels, 2);
        const auto mixed = sound.all();
        ASSERT_EQ(mixed.size(), 2u * static_cast<size_t>(channels + 1));
        EXPECT_TRUE(mixed[0] > 0 && mixed[1] == 0) << "the first channel is the left one";
        EXPECT_TRUE(mixed[2] == 0 && mixed[3] == mixed[0]) << "the second the right one";
        EXPECT_GE(mixed[mixed.size() - 2], 32766) << "everything at once just fits";
        if (channels == 6) {
            EXPECT_EQ(mixed[4], mixed[5]) << "centre";
            EXPECT_NEAR(mixed[4], mixed[0] * 0.7071, 1);
            EXPECT_TRUE(mixed[6] == 0 && mixed[7] == 0) << "low frequencies are left out";
            EXPECT_TRUE(mixed[8] == mixed[4] && mixed[9] == 0) << "left surround";
        }
    }
}

TEST(Sound, ReadingAnywhereGivesTheSame) {
    Sound sound(fileOf("a.wav", ramp(10000).bytes()));
    ASSERT_TRUE(sound);
    EXPECT_EQ(sound.read(1234, 3), (std::vector<std::int16_t>{1234, 1235, 1236}));
    EXPECT_EQ(sound.read(7, 2), (std::vector<std::int16_t>{7, 8}));
    EXPECT_EQ(sound.read(9999, 5), (std::vector<std::int16_t>{9999})) << "the end cuts";
    EXPECT_TRUE(sound.read(10000, 5).empty());
    std::int16_t values[4] = {};
    LONG length = 5; // room for two samples and a half
    EXPECT_EQ(sound.plugin().GetAudio(sound.ticket(), 3, 100, values, &length), 0u);
    EXPECT_EQ(length, 4);
    EXPECT_EQ(values[2], 0) << "nothing is written beyond the room";
    EXPECT_NE(sound.plugin().GetAudio(sound.ticket(), -1, 1, values, &length), 0u);
    EXPECT_NE(sound.plugin().GetAudio(sound.ticket(), 0, -1, values, &length), 0u);
    EXPECT_NE(sound.plugin().GetAudio(sound.ticket(), 0, 1, nullptr, &length), 0u);
    EXPECT_NE(sound.plugin().GetAudio(sound.ticket() + 1, 0, 1, values, &length), 0u);
}

TEST(Sound, ALengthThatIsSetCutsOrGoesRound) {
    Sound sound(fileOf("a.wav", ramp(1000).bytes()));
    ASSERT_TRUE(sound);
    const auto set = [&](__int64 at48000) {
        return sound.plugin().SetTotalSample(sound.ticket(), at48000, 1);
    };
    EXPECT_EQ(set(6 * 400), 0u); // 8000 a second here
    EXPECT_EQ(sound.samples(), 400);
    EXPECT_EQ(sound.read(399, 10).size(), 1u);
    EXPECT_EQ(set(6 * 2500), 0u);
    EXPECT_EQ(sound.samples(), 2500);
    EXPECT_EQ(sound.read(998, 4), (std::vector<std::int16_t>{998, 999, 0, 1}));
    EXPECT_EQ(sound.read(2499, 10), (std::vector<std::int16_t>{499}));
    EXPECT_EQ(set(INT64_MAX), 0u);
    EXPECT_EQ(sound.samples(), INT32_MAX) << "what the count can say";
    EXPECT_NE(set(-1), 0u);
    EXPECT_EQ(set(0), 0u);
    EXPECT_EQ(sound.samples(), 1000);
    Sound silent(fileOf("b.wav", Wave{}.bytes()));
    EXPECT_EQ(silent.plugin().SetTotalSample(silent.ticket(), 48000, 0), 0u);
    EXPECT_TRUE(silent.read(0, 10).empty()) << "nothing cannot go round";
}

TEST(Sound, TellsNameKindAndMinimum) {
    const std::string longTitle(300, 'x');
    const struct {
        const char* file;
        std::string title, name;
    } rows[] = {{"two words.v1.wav", "", "two words.v1"},
                {"a.wav", "Evening", "Evening"},
                {"a.wav", "  ", "a"},
                {"a.wav", "Caf\xE9\n", "Caf\xC3\xA9"}, // Latin-1
                {"a.wav", "Caf\xC3\xA9", "Caf\xC3\xA9"},
                {"a.wav", std::string(258, 'x') + "\xC3\xA9", std::string(258, 'x')},
                {"a.wav", longTitle, longTitle.substr(0, 259)}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.title);
        Wave wave = ramp(100);
        wave.title = row.title;
        const fs::path path = fileOf(row.file, wave.bytes());
        Sound sound(path);
        ASSERT_TRUE(sound);
        EXPECT_EQ(sound.name(), row.name);
        char byPath[260] = "";
        EXPECT_EQ(sound.plugin().GetFileInfo(path.c_str(), 0, byPath), 0u);
        EXPECT_EQ(byPath, row.name);
    }
    Sound brief(fileOf("a.wav", ramp(100).bytes())), one(fileOf("b.wav", ramp(20000).bytes()));
    EXPECT_EQ(brief.word(4), 1u) << "uncompressed";
    EXPECT_EQ(brief.word(5), 600u) << "all of it, at 48000 a second";
    EXPECT_EQ(one.word(5), 48000u) << "one second";
    for (ULONG code = 1; code <= 3; ++code)
        EXPECT_EQ(one.plugin().GetFileData(one.ticket(), code, nullptr, 0), 0u);
    ULONG untouched = 5;
    EXPECT_NE(one.plugin().GetFileData(one.ticket(), 6, &untouched, 0), 0u);
    EXPECT_EQ(untouched, 5u);
}

TEST(Sound, BadWavesAreRefusedOrReadInPart) {
    const struct {
        const char* what;
        Wave wave;
    } rows[] = {{"no channels", {.channels = 0, .data = raw({1, 2})}},
                {"65535 channels", {.channels = 65535, .data = raw({1, 2})}},
                {"no rate", {.rate = 0, .data = raw({1, 2})}},
                {"rate 2^32-1", {.rate = 0xFFFFFFFF, .data = raw({1, 2})}},
                {"no bytes a block", {.data = raw({1, 2}), .block = 0}},
                {"no bits", {.bits = 0, .data = raw({1, 2})}},
                {"unknown kind", {.tag = 0x7777, .data = raw({1, 2})}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Sound sound(fileOf("a.wav", row.wave.bytes()));
        EXPECT_LE(sound ? sound.all().size() : 0, 4u);
    }
    const std::string good = ramp(50).bytes();
    for (size_t size = 0; size < good.size(); ++size) {
        Sound sound(fileOf("cut.wav", good.substr(0, size)));
        EXPECT_LE(sound ? sound.all().size() : 0, size < 44 ? 0 : (size - 44) / 2);
    }
    EXPECT_FALSE(Sound(qv::test::makeFolder("folder.wav")));
    EXPECT_FALSE(Sound(qv::test::home() / "missing.wav"));
    EXPECT_FALSE(Sound(fileOf("text.mp3", "these are words, not frames\n")));
}

// Every module is asked about every path, so none may take anything out of a pipe to answer.
TEST(Sound, NothingIsReadFromPipes) {
    const fs::path path = qv::test::home() / "pipe.wav";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int pipe = open(path.c_str(), O_RDWR | O_NONBLOCK);
    const std::string bytes = ramp(10).bytes();
    ASSERT_EQ(write(pipe, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    for (const char* kind : {"*.acp", "*.pcp", "*.tcp", "*.vcp"})
        EXPECT_FALSE(std::unique_ptr<CPluginInfo>(LoadPlugIns(kind, path.c_str()))) << kind;
    char left[256];
    EXPECT_EQ(read(pipe, left, sizeof left), static_cast<ssize_t>(bytes.size()));
    close(pipe);
}

TEST(Sound, AFileThatVanishesCanNoLongerBeReadFromTheStart) {
    QV_NEEDS_PROGRAM("ffmpeg");
    const fs::path path = qv::test::home() / "a.m4a";
    ASSERT_EQ(qv::test::run({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "sine=d=1", path}).exitCode, 0);
    Sound sound(path);
    ASSERT_TRUE(sound);
    EXPECT_EQ(sound.read(1000, 10).size(), 10u);
    fs::remove(path);
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(sound.read(0, 10).empty());
}

// Everything that is not plain PCM is made by another program, from one tone that is never the same twice.
TEST(Sound, CompressedKindsKeepLengthPlaceAndTone) {
    QV_NEEDS_PROGRAM("ffmpeg");
    const fs::path tone = qv::test::home() / "tone.wav";
    const auto make = [](std::vector<std::string> words) {
        words.insert(words.begin(), {"ffmpeg", "-v", "error", "-y"});
        return qv::test::run(words);
    };
    ASSERT_EQ(make({"-f", "lavfi", "-i",
                    "aevalsrc=0.4*sin(2*PI*(200+300*t)*t)|0.3*sin(2*PI*(900-200*t)*t):d=3:s=44100",
                    "-metadata", "title=A tone", tone.string()})
                  .exitCode,
              0);
    Sound source(tone);
    ASSERT_TRUE(source);
    const auto original = source.all();
    const struct {
        const char* name;
        std::vector<std::string> options;
        unsigned kind;
        int slack;     // samples that the length may differ by
        int tolerance; // of a sample's value in its place
    } rows[] = {{"a.flac", {}, 2, 0, 0},
                {"a.aiff", {}, 1, 0, 0},
                {"a.au", {}, 1, 0, 0},
                {"a.caf", {}, 1, 0, 0},
                {"a.w64", {}, 1, 0, 0},
                {"a.ogg", {}, 3, 0, 700},
                {"a.mp3", {"-b:a", "192k"}, 3, 0, 700},
                {"u.wav", {"-c:a", "pcm_mulaw"}, 3, 0, 400},
                {"adpcm.wav", {"-c:a", "adpcm_ms"}, 3, 2048, 1500},
                {"a.m4a", {"-b:a", "192k"}, 3, 2048, 1500},
                {"a.wma", {"-b:a", "192k"}, 3, 8192, -1},
                {"a.mka", {"-c:a", "ac3", "-b:a", "320k"}, 3, 4096, -1}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const fs::path path = qv::test::home() / row.name;
        std::vector<std::string> words = {"-i", tone.string()};
        words.insert(words.end(), row.options.begin(), row.options.end());
        words.push_back(path.string());
        if (make(words).exitCode != 0) continue; // the program at hand was built without this coder
        Sound sound(path);
        if (!sound) {
            ADD_FAILURE() << "not read";
            continue;
        }
        EXPECT_EQ(sound.word(4), row.kind);
        EXPECT_EQ(sound.format.nSamplesPerSec, 44100u);
        EXPECT_EQ(sound.format.nChannels, 2);
        EXPECT_NEAR(sound.samples(), static_cast<double>(original.size() / 2), row.slack);
        const auto whole = sound.all();
        EXPECT_NEAR(static_cast<double>(whole.size()), static_cast<double>(original.size()), 2.0 * row.slack);
        int worst = 0;
        for (size_t i = 2 * 4000; row.tolerance >= 0 && i < 2 * 100000; ++i)
            worst = std::max(worst, std::abs(whole[i] - original[i]));
        EXPECT_LE(worst, std::max(row.tolerance, 0));
        const int last = static_cast<int>(whole.size() / 2) - 700;
        for (const int first : {90000, 100, last, 60001, 60000, 0, 44099}) {
            const auto part = sound.read(first, 700);
            ASSERT_EQ(part.size(), 1400u);
            for (size_t i = 0; i < part.size(); ++i) // one level for the rounding of MPEG decoders
                ASSERT_NEAR(part[i], whole[2 * static_cast<size_t>(first) + i], 1) << "from " << first;
        }
    }
}

// What three other readers say about real files.
TEST(Sound, AgreesWithOtherReaders) {
    QV_NEEDS_MEDIA(media);
    const auto table = qv::test::readTable(media / "sound/expected_sounds.tsv");
    std::map<std::string, size_t> column;
    for (size_t i = 0; const auto& name : table[0]) column.try_emplace(name, i++);
    int checked = 0, exact = 0;
    for (size_t i = 1; i < table.size(); ++i) {
        const auto& row = table[i];
        const std::string& codec = row[column["codec_ffprobe"]];
        const std::string& samples = row[column["decoded_samples_per_channel_ffmpeg"]];
        if (codec.empty() || samples.empty() || samples == "0" || row[0].ends_with(".bit")) continue;
        SCOPED_TRACE(row[0]);
        Sound sound(media / "sound" / row[0]);
        if (!sound) {
            ADD_FAILURE() << "not read";
            continue;
        }
        ++checked;
        EXPECT_EQ(sound.format.nSamplesPerSec, std::stoul(row[column["rate"]]));
        const int channels = std::stoi(row[column["channels"]]);
        EXPECT_EQ(sound.format.nChannels, std::min(channels, 2));
        const bool pcm = codec.starts_with("pcm_");
        // Encoder delay is counted in or out, and a tag frame may be decoded as silence.
        EXPECT_NEAR(sound.samples(), std::stod(samples), pcm ? 0 : 4800);
        const std::string& sum = row[column["md5_s16le_ffmpeg"]];
        // Floating point is rounded differently, and where 24 bits lie in 4 bytes is read differently.
        if (!pcm || channels > 2 || sum.empty() || codec.starts_with("pcm_f")) continue;
        const auto values = sound.all();
        const fs::path dump = qv::test::home() / "dump";
        qv::test::writeFile(dump, {reinterpret_cast<const char*>(values.data()), values.size() * 2});
        EXPECT_EQ(qv::test::run({"md5sum", dump.string()}).out.substr(0, 32), sum) << codec;
        ++exact;
    }
    EXPECT_GE(checked, 25);
    EXPECT_GE(exact, 12);
}
