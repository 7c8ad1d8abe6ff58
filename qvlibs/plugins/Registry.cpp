#include "qvlibs/plugins/Registry.h"

#include "qvlibs/framework/Trace.h"
#include "qvlibs/platform/Modules.h"
#include "qvlibs/plugins/PluginInfo.h"
#include "qvlibs/plugins/PropertyRegistry.h"

#include <fcntl.h>
#include <unistd.h>

namespace qv {

namespace {

// Makes a folder the current directory, and the old one again at the end. The way back is a descriptor, so
// that it works for folders of any name, also after they were renamed.
class FolderVisit {
public:
    explicit FolderVisit(const std::string& folder) : back_(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)) {
        moved_ = back_ >= 0 && chdir(folder.c_str()) == 0;
    }
    ~FolderVisit() {
        if (moved_ && fchdir(back_) != 0) moved_ = false; // the old folder is closed to us: nowhere to go
        if (back_ >= 0) close(back_);
    }
    FolderVisit(const FolderVisit&) = delete;
    FolderVisit& operator=(const FolderVisit&) = delete;

private:
    int back_;
    bool moved_;
};

// One load at a time in the process: the current directory is shared, and so is what loaders keep.
std::recursive_mutex& loadLock() {
    static auto* const one = new std::recursive_mutex;
    return *one;
}

} // namespace

void ModuleRegistry::start(const std::string& folder) {
    if (count_ == 0) {
        for (const char* pattern : patterns_) load(folder, pattern);
    }
    ++count_;
}

void ModuleRegistry::stop() {
    if (count_-- != 1) return;
    for (const auto& loaded : modules_) freeModule(loaded.module);
    modules_.clear();
}

void ModuleRegistry::load(const std::string& folder, const char* pattern) {
    const auto names = listFolder(folder, pattern);
    if (names.empty()) return;
    const std::lock_guard hold(loadLock());
    const FolderVisit visit(folder);
    for (const auto& name : names) {
        std::string path = folder + "/" + name;
        if (const HMODULE module = loadModule(path)) modules_.push_back({std::move(path), module});
    }
}

void ModuleRegistry::reload(const char* path) {
    for (auto& loaded : modules_) {
        if (loaded.path.CompareNoCase(path) != 0) continue;
        freeModule(loaded.module);
        loaded.module = loadModule(loaded.path.str());
        return;
    }
}

const LoadedModule* ModuleRegistry::find(const char* path) const {
    for (const auto& loaded : modules_) {
        if (loaded.path.CompareNoCase(path) == 0) return &loaded;
    }
    return nullptr;
}

// Never destroyed: the library's unloading and late callers still reach them.
ModuleRegistry& codecRegistry() {
    // On purpose without "*.pdp": picture codecs of the second family are never loaded
    // (Registry.SecondPictureFamilyIsNeverLoaded).
    static auto* const one = new ModuleRegistry({"*.pcp", "*.vcp", "*.acp", "*.tcp"});
    return *one;
}

ModuleRegistry& propertyRegistry() {
    static auto* const one = new ModuleRegistry({"*.pbp"});
    return *one;
}

} // namespace qv

void qvLoadPlugIns() { qv::codecRegistry().start(qv::libraryFolder()); }

void qvUnloadPlugIns() { qv::codecRegistry().stop(); }

void qvLoadPlugIns2(const char* folder, const char* pattern) { qv::codecRegistry().load(folder, pattern); }

int QVTLReloadPlugIn() {
    QVTL_TRACE();
    qvUnloadPlugIns();
    qvLoadPlugIns();
    return 0;
}

void qvLoadPlugInsPb() { qv::propertyRegistry().start(qv::libraryFolder()); }

void qvUnloadPlugInsPb() { qv::propertyRegistry().stop(); }

void qvLoadPlugInsPb2(const char* folder, const char* pattern) {
    qv::propertyRegistry().load(folder, pattern);
}
