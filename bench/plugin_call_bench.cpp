// What the lookup at the moment of each call costs: a call through the wrapper, a call of an export that is
// not there, and beside them the bare parts. The module is the first one of movies beside the library.
#include "qvlibs/plugins/PluginInfo.h"

#include <benchmark/benchmark.h>

#include <dlfcn.h>

#include <memory>

namespace {

using Plugin = std::unique_ptr<CPluginInfo>;
constexpr ULONG kNoExport = 9;

Plugin firstPlugin(benchmark::State& state) {
    Plugin plugin(CPluginEnumerator().Next("*.vcp"));
    char text[32] = "";
    const bool answers = plugin && plugin->GetSupportedExtention(0, text) == 0 && text[0] != 0;
    if (answers && plugin->SetDibSize(0, 0, 0) == kNoExport) return plugin;
    state.SkipWithError("no module of movies beside the library");
    return nullptr;
}

void wrapper(benchmark::State& state) {
    const Plugin plugin = firstPlugin(state);
    if (!plugin) return;
    char text[32];
    for (auto _ : state) benchmark::DoNotOptimize(plugin->GetSupportedExtention(0, text));
}
BENCHMARK(wrapper)->Name("plugins/call/present");

void missing(benchmark::State& state) {
    const Plugin plugin = firstPlugin(state);
    if (!plugin) return;
    for (auto _ : state) benchmark::DoNotOptimize(plugin->SetDibSize(0, 0, 0));
}
BENCHMARK(missing)->Name("plugins/call/missing");

void lookupAlone(benchmark::State& state) {
    const Plugin plugin = firstPlugin(state);
    if (!plugin) return;
    for (auto _ : state) benchmark::DoNotOptimize(dlsym(plugin->module, "GetSupportedExtention"));
}
BENCHMARK(lookupAlone)->Name("plugins/call/dlsym-alone");

void pointer(benchmark::State& state) {
    const Plugin plugin = firstPlugin(state);
    if (!plugin) return;
    char text[32];
    const auto call =
        reinterpret_cast<unsigned (*)(unsigned, char*)>(dlsym(plugin->module, "GetSupportedExtention"));
    for (auto _ : state) benchmark::DoNotOptimize(call(0, text));
}
BENCHMARK(pointer)->Name("plugins/call/kept-pointer");

} // namespace

BENCHMARK_MAIN();
