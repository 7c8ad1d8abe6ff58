// The library among modules of a test's choice. The registries look in the folder of the library itself, so
// such a test runs against a folder of its own: a link to the library, and copies of the modules it wants.
// The shipped modules of the build are not there, and their folder is not touched.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace qv::test {

struct ModuleChoice {
    std::string source; // a fake of tests/fake_codecs ("accept_all"), or a shipped module ("dv.vcp")
    std::string name{}; // under which it is put into the folder; the source's own when empty
};

// Starts the current test again, in the same home, with the library loaded from a fresh folder that holds
// the chosen modules; returns that folder, in the restarted process only. Call it first in a test that links
// the shared library. `prepare` gets the folder and may add more (other files, settings) before the restart.
// Depends on the target fake_codecs.
std::filesystem::path
restartWithModules(const std::vector<ModuleChoice>& modules,
                   const std::function<void(const std::filesystem::path& folder)>& prepare = {});

// Copies one module into a folder.
void putModule(const std::filesystem::path& folder, const ModuleChoice& module);

// What a "scripted" fake was called with for this file: one line a call, in order.
std::vector<std::string> scriptedCalls(const std::filesystem::path& file);

} // namespace qv::test
