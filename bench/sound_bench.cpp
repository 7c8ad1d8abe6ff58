// Reading a whole sound of 60 s through the sound family, in pieces of a video frame, and beside it libsndfile
// alone. The sounds are made at the start: noise under a tone, as a WAVE file, and as MP3 where the library can
// write it.
#include "qvlibs/media/AudioFamily.h"

#include <benchmark/benchmark.h>

#include <sndfile.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr int kRate = 48000, kSeconds = 60, kPiece = 1602;
constexpr double kBytes = 4.0 * kRate * kSeconds;

std::string folder() {
    static const std::string path = [] {
        char pattern[] = "/tmp/qvlibs-bench-XXXXXX";
        return std::string(mkdtemp(pattern));
    }();
    return path;
}

std::string made(const char* name, int format) {
    const std::string path = folder() + "/" + name;
    if (access(path.c_str(), R_OK) == 0) return path;
    SF_INFO info{};
    info.samplerate = kRate;
    info.channels = 2;
    info.format = format;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!file) return {};
    unsigned noise = 1;
    std::vector<short> values(2 * kRate);
    for (int second = 0; second < kSeconds; ++second) {
        for (size_t i = 0; i < values.size(); ++i) {
            noise = noise * 1664525u + 1013904223u;
            values[i] =
                static_cast<short>(9000 * std::sin(0.05 * static_cast<double>(i / 2)) + (noise >> 20));
        }
        sf_writef_short(file, values.data(), kRate);
    }
    sf_close(file);
    return path;
}

long long sumOf(const std::vector<short>& values, size_t count) {
    long long sum = 0;
    for (size_t i = 0; i < count; i += 64) sum += values[i];
    return sum;
}

long long throughFamily(const std::string& path) {
    void* sound = QVTLAudioFileOpen(path.c_str());
    if (!sound) return 0;
    std::vector<short> values(2 * kPiece);
    long long sum = 0;
    for (LONG at = 0;; at += kPiece) {
        LONG length = 0;
        QVTLAudioGetAudioFormat(sound, at, kPiece, reinterpret_cast<unsigned char*>(values.data()), &length);
        sum += sumOf(values, static_cast<size_t>(length) / 2);
        if (length < 4 * kPiece) break;
    }
    QVTLAudioFileClose(sound);
    return sum;
}

long long alone(const std::string& path) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file) return 0;
    std::vector<short> values(2 * kPiece);
    long long sum = 0;
    for (sf_count_t got = kPiece; got == kPiece;) {
        got = sf_readf_short(file, values.data(), kPiece);
        sum += sumOf(values, static_cast<size_t>(got) * 2);
    }
    sf_close(file);
    return sum;
}

void measure(benchmark::State& state, const char* name, int format, long long (*read)(const std::string&)) {
    const std::string path = made(name, format);
    if (path.empty()) return state.SkipWithError("this libsndfile does not write the format");
    // Lossy decoders round in their own ways: the sums agree to one level a value.
    const double differ = std::fabs(static_cast<double>(throughFamily(path) - alone(path)));
    if (differ > kBytes / 2 / 64) return state.SkipWithError("the two do not read the same");
    for (auto round : state) benchmark::DoNotOptimize(read(path));
    state.SetBytesProcessed(static_cast<int64_t>(kBytes) * state.iterations());
}

constexpr int kWave = SF_FORMAT_WAV | SF_FORMAT_PCM_16, kMp3 = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III,
              kVorbis = SF_FORMAT_OGG | SF_FORMAT_VORBIS;

BENCHMARK_CAPTURE(measure, a, "a.wav", kWave, throughFamily)
    ->Name("sound/wav/family")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(measure, b, "a.wav", kWave, alone)
    ->Name("sound/wav/libsndfile")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(measure, c, "a.mp3", kMp3, throughFamily)
    ->Name("sound/mp3/family")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(measure, d, "a.mp3", kMp3, alone)
    ->Name("sound/mp3/libsndfile")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(measure, e, "a.ogg", kVorbis, throughFamily)
    ->Name("sound/ogg/family")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(measure, f, "a.ogg", kVorbis, alone)
    ->Name("sound/ogg/libsndfile")
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return std::system(("rm -r " + folder()).c_str());
}
