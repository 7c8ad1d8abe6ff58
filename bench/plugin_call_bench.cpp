// What the lookup at the moment of each call costs: a call through the wrapper, a call of an export that is
// not there, and beside them the bare parts. The module is the first one beside the library that declares an
// extension.
#include "qvlibs/plugins/PluginInfo.h"

#include <benchmark/benchmark.h>

#include <dlfcn.h>

#include <memory>

namespace {

using Plugin = std::unique_ptr<CPluginInfo>;

Plugin firstPlugin(benchmark::State& state) {
    Plugin plugin(CPluginEnumerator().Next("*.pcp *.vcp *.acp *.tcp"));
    if (!plugin || plugin->GetTotalFrames(0) == 0 || plugin->GetNumOfSupportedExtentions(nullptr) == 0) {
        state.SkipWithError("no module beside the library");
        return nullptr;
    }
    return plugin;
}

void wrapper(benchmark::State& state) {
    const Plugin plugin = firstPlugin(state);
    char text[32];
    for (auto round : state) benchmark::DoNotOptimize(plugin->GetSupportedExtention(0, text));
}
BENCHMARK(wrapper)->Name("plugins/call/present");

void missing(benchmark::State& state) {
    const Plugin plugin = firstPlugin(state);
    for (auto round : state) benchmark::DoNotOptimize(plugin->SetDibSize(0, 0, 0));
}
BENCHMARK(missing)->Name("plugins/call/missing");

void lookupAlone(benchmark::State& state) {
    const Plugin plugin = firstPlugin(state);
    for (auto round : state) benchmark::DoNotOptimize(dlsym(plugin->module, "GetSupportedExtention"));
}
BENCHMARK(lookupAlone)->Name("plugins/call/dlsym-alone");

void pointer(benchmark::State& state) {
    const Plugin plugin = firstPlugin(state);
    char text[32];
    const auto call =
        reinterpret_cast<unsigned (*)(unsigned, char*)>(dlsym(plugin->module, "GetSupportedExtention"));
    for (auto round : state) benchmark::DoNotOptimize(call(0, text));
}
BENCHMARK(pointer)->Name("plugins/call/kept-pointer");

} // namespace

BENCHMARK_MAIN();
