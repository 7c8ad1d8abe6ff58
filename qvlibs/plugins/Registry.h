// The modules that are loaded once per process: the codec registry and the picture-property registry.
//
// A registry changes only in its start, stop and reload, which the library calls when it is loaded and
// unloaded; in between it is read without a lock. Both registries live as long as the process.
#pragma once

#include "qvlibs/framework/Strings.h"

#include <mutex>
#include <string>
#include <vector>

namespace qv {

struct LoadedModule {
    CString path; // full path
    HMODULE module;
};

class ModuleRegistry {
public:
    // Patterns of file names, in the order in which they are loaded.
    explicit ModuleRegistry(std::vector<const char*> patterns) : patterns_(std::move(patterns)) {}

    // Counted: only a start at count 0 loads the patterns from `folder`, and only the stop that finds count 1
    // frees the modules. A stop too many takes the count below zero; the next start then only counts.
    void start(const std::string& folder);
    void stop();
    // Loads every module of one pattern in load order. Files that do not load are skipped silently. The
    // folder is the current directory for the time of the load.
    void load(const std::string& folder, const char* pattern);

    // Frees the first module of this path (ASCII case ignored) and loads it again in place.
    void reload(const char* path);
    // The first module of this path (ASCII case ignored), or null.
    [[nodiscard]] const LoadedModule* find(const char* path) const;
    [[nodiscard]] const std::vector<LoadedModule>& modules() const { return modules_; }

    // Held around the plug-in calls that may not overlap. A plug-in may call back into the library meanwhile.
    std::recursive_mutex lock;

private:
    int count_ = 0;
    std::vector<const char*> patterns_;
    std::vector<LoadedModule> modules_;
};

[[nodiscard]] ModuleRegistry& codecRegistry();
[[nodiscard]] ModuleRegistry& propertyRegistry();

} // namespace qv
