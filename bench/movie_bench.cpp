// What opening a movie costs, and its first frames. QV_BENCH_LARGE_AVI names the movie: see figures/movie-read-speed.sh.
#include "qvlibs/media/Qvavitools.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

namespace {

void openLarge(benchmark::State& state) {
    const char* const path = std::getenv("QV_BENCH_LARGE_AVI");
    void* movie = path ? QVTLAVIFileOpen(path, 0) : nullptr;
    if (!movie || QVTLAVIGetTotalFrames(movie) < 80000) return state.SkipWithError("no large movie");
    std::vector<unsigned char> picture(360 * 288 * 3);
    if (QVTLAVIGetNonCompressedStreamEx(movie, 0, picture.data(), 2) != 0)
        return state.SkipWithError("its first frame cannot be read");
    QVTLAVIFileClose(movie);
    for (auto round : state) {
        movie = QVTLAVIFileOpen(path, 0);
        benchmark::DoNotOptimize(movie);
        QVTLAVIFileClose(movie);
    }
}
BENCHMARK(openLarge)->Name("movie/open-and-close/13GB-dv-avi")->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
