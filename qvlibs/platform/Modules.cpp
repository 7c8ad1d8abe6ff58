#include "qvlibs/platform/Modules.h"

#include "qvlibs/framework/Strings.h"
#include "qvlibs/util/AtomicFile.h"

#include <dirent.h>
#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace qv {

namespace {

HMODULE handleOf(void* module) { return static_cast<HMODULE>(module); }

struct CloseFolder {
    void operator()(DIR* folder) const { closedir(folder); }
};

// Opening anything else could wait for ever (a pipe) or has no sense (a folder).
bool isRegularFile(int folder, const char* name) {
    struct stat status;
    return fstatat(folder, name, &status, 0) == 0 && S_ISREG(status.st_mode);
}

char fold(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Exports that were found, each thread's own: a call of a module takes longer to look up than to make. What was found
// counts as long as no module was let go since.
struct FoundExport {
    HMODULE module;
    std::uint64_t age;
    void* address;
    char name[40];
};
constexpr size_t kFoundExports = 64;
constinit thread_local FoundExport foundExports[kFoundExports] = {};
constinit std::atomic<std::uint64_t> modulesLetGo{1};

FoundExport& placeOf(HMODULE module, const char* name, size_t length) {
    size_t hash = reinterpret_cast<std::uintptr_t>(module) / 64;
    for (size_t i = 0; i < length; ++i) hash = hash * 31 + static_cast<unsigned char>(name[i]);
    return foundExports[hash % kFoundExports];
}

void* lookUp(HMODULE module, const char* name) {
    void* const address = dlsym(module, name);
    if (!address) return nullptr;
    link_map* own = nullptr;
    void* owner = nullptr;
    Dl_info info;
    if (dlinfo(module, RTLD_DI_LINKMAP, &own) != 0) return nullptr;
    if (dladdr1(address, &info, &owner, RTLD_DL_LINKMAP) == 0) return nullptr;
    return owner == own ? address : nullptr;
}

} // namespace

HMODULE loadModule(const std::string& path) { return handleOf(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)); }

void freeModule(HMODULE module) {
    if (!module) return;
    dlclose(module);
    modulesLetGo.fetch_add(1, std::memory_order_release);
}

void* moduleExport(HMODULE module, const char* name) {
    if (!module) return nullptr;
    const size_t length = std::strlen(name);
    FoundExport& found = placeOf(module, name, length);
    const std::uint64_t age = modulesLetGo.load(std::memory_order_acquire);
    if (found.module == module && found.age == age && std::strcmp(found.name, name) == 0)
        return found.address;
    void* const address = lookUp(module, name);
    if (length < sizeof found.name) {
        found = {module, age, address, {}};
        std::memcpy(found.name, name, length);
    }
    return address;
}

bool matchesPattern(std::string_view name, std::string_view pattern) {
    size_t at = 0, in = 0, star = std::string_view::npos, retry = 0;
    while (at < name.size()) {
        if (in < pattern.size() && pattern[in] == '*') {
            star = in++;
            retry = at;
        } else if (in < pattern.size() && (pattern[in] == '?' || fold(pattern[in]) == fold(name[at]))) {
            ++in;
            ++at;
        } else if (star != std::string_view::npos) {
            in = star + 1;
            at = ++retry; // the star takes one byte more
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', in) == std::string_view::npos;
}

std::vector<std::string> listFolder(const std::string& folder, std::string_view pattern) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, CloseFolder> listing(opendir(folder.c_str()));
    if (!listing) return names;
    while (const dirent* entry = readdir(listing.get())) {
        const char* name = entry->d_name;
        if (name[0] == '.' || !matchesPattern(name, pattern)) continue;
        if (isRegularFile(dirfd(listing.get()), name)) names.emplace_back(name);
    }
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        const int order = compareNoCase(a, b);
        return order != 0 ? order < 0 : a < b;
    });
    return names;
}

std::string programFolder() {
    char path[PATH_MAX];
    const ssize_t size = readlink("/proc/self/exe", path, sizeof path);
    return size > 0 && size < static_cast<ssize_t>(sizeof path) ? folderOf({path, static_cast<size_t>(size)})
                                                                : std::string();
}

std::string libraryFolder() {
    // The loader's name of the program itself is what it was called by, so only a library's name is taken.
    Dl_info info;
    void* owner = nullptr;
    if (dladdr1(reinterpret_cast<void*>(&libraryFolder), &info, &owner, RTLD_DL_LINKMAP) == 0) return {};
    const auto* map = static_cast<const link_map*>(owner);
    if (!map->l_name || !*map->l_name) return programFolder();
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(map->l_name, nullptr), &std::free);
    return real ? folderOf(real.get()) : std::string();
}

} // namespace qv
