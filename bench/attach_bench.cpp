// What loading the library costs a process, with the modules that lie beside it in the build tree: the time
// of the load alone, taken inside a fresh process, and whole processes beside the smallest one there is. This
// program does not link the library: each round loads it anew.
#include "bench/ProcessRow.h"

#include <dlfcn.h>

#include <chrono>

namespace {

using Clock = std::chrono::steady_clock;

// Seconds that dlopen takes in a child of its own; negative when it fails.
double loadInChild(const char* library) {
    int channel[2];
    if (pipe(channel) != 0) return -1;
    const pid_t child = fork();
    if (child == 0) {
        const auto start = Clock::now();
        const bool loaded = dlopen(library, RTLD_NOW | RTLD_LOCAL) != nullptr;
        const double seconds = loaded ? std::chrono::duration<double>(Clock::now() - start).count() : -1;
        _exit(write(channel[1], &seconds, sizeof seconds) == sizeof seconds ? 0 : 1);
    }
    close(channel[1]);
    double seconds = -1;
    if (read(channel[0], &seconds, sizeof seconds) != sizeof seconds) seconds = -1;
    close(channel[0]);
    waitpid(child, nullptr, 0);
    return seconds;
}

void load(benchmark::State& state, const char* library) {
    for (auto round : state) {
        const double seconds = loadInChild(library);
        if (seconds < 0) return state.SkipWithError("the library does not load");
        state.SetIterationTime(seconds);
    }
}

BENCHMARK_CAPTURE(load, all, QVLIBS_FILE)
    ->Name("attach/load/all-modules")
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(load, sqlite, "libsqlite3.so.0") // the one library that it needs
    ->Name("attach/load/sqlite-alone")
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(processRow, nothing, {"/bin/true"})
    ->Name("attach/process/true")
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(processRow, version, {QV_PROGRAM, "--version"})
    ->Name("attach/process/qv-version")
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
