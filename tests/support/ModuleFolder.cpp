#include "tests/support/ModuleFolder.h"

#include "tests/support/TestSupport.h"

#include <cstdlib>
#include <sstream>

namespace fs = std::filesystem;

namespace qv::test {

void putModule(const fs::path& folder, const ModuleChoice& module) {
    const bool shipped = fs::path(module.source).has_extension();
    const fs::path from = shipped ? buildFolder() / "lib/qvlibs" / module.source
                                  : buildFolder() / "tests/fakes" / (module.source + ".so");
    // Copies: the loader takes two links to one file for one module.
    fs::copy_file(from, folder / (module.name.empty() ? module.source : module.name));
}

fs::path restartWithModules(const std::vector<ModuleChoice>& modules,
                            const std::function<void(const fs::path&)>& prepare) {
    const fs::path folder = makeFolder("modules");
    restartWith([&] {
        const fs::path library = fs::canonical(buildFolder() / "lib/qvlibs/libqvlibs.so.5");
        std::error_code otherFileSystem;
        fs::create_hard_link(library, folder / "libqvlibs.so.5", otherFileSystem);
        if (otherFileSystem) fs::copy_file(library, folder / "libqvlibs.so.5");
        for (const auto& module : modules) putModule(folder, module);
        if (prepare) prepare(folder);
        setenv("LD_LIBRARY_PATH", folder.c_str(), 1);
    });
    return fs::canonical(folder);
}

std::vector<std::string> scriptedCalls(const fs::path& file) {
    std::vector<std::string> calls;
    std::istringstream lines(readFile(file.string() + ".log"));
    for (std::string line; std::getline(lines, line);) calls.push_back(line);
    return calls;
}

} // namespace qv::test
