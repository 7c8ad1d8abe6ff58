#include "qvlibs/platform/PeResources.h"

#include "qvlibs/platform/ModuleData.h"
#include "qvlibs/util/Bytes.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>

namespace qv {
namespace {

constexpr size_t kLargestFile = size_t{256} << 20;
constexpr size_t kMostEntries = 65536; // resources in one module
constexpr DWORD kHighBit = 0x80000000u;

struct Section {
    DWORD address, size, offset;
};

} // namespace

// The walk over the tree: type, then name, then language. Offsets count from the start of the resource section.
struct PeResources::Walk {
    std::span<const BYTE> file;
    std::vector<Section> sections;
    size_t base = 0;
    size_t entries = 0;

    // The bytes that lie at an address of the loaded module, as far as the file holds them all.
    std::span<const BYTE> at(DWORD address, DWORD size) const {
        for (const Section& section : sections) {
            if (address < section.address || address - section.address >= section.size) continue;
            const std::uint64_t start = std::uint64_t{section.offset} + (address - section.address);
            if (size > section.size - (address - section.address) || start + size > file.size()) return {};
            return file.subspan(static_cast<size_t>(start), size);
        }
        return {};
    }

    template <class Visit>
    bool directory(DWORD offset, Visit visit) {
        ByteReader in(file);
        in.seek(base + offset);
        in.skip(12);
        const unsigned named = in.u16();
        const unsigned numbered = in.u16();
        for (unsigned i = 0; i < named + numbered && !in.failed(); ++i) {
            if (++entries > kMostEntries) return false;
            const DWORD name = in.u32();
            const DWORD target = in.u32();
            if (!in.failed()) visit(name, target);
        }
        return !in.failed();
    }
};

std::unique_ptr<PeResources> PeResources::load(const char* path) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored)) return nullptr; // a pipe could be waited for
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    const std::streamoff size = in ? static_cast<std::streamoff>(in.tellg()) : -1;
    if (size <= 0 || static_cast<std::uint64_t>(size) > kLargestFile) return nullptr;
    std::vector<BYTE> bytes(static_cast<size_t>(size));
    in.seekg(0);
    if (!in.read(reinterpret_cast<char*>(bytes.data()), size)) return nullptr;
    return parse(std::move(bytes));
}

std::unique_ptr<PeResources> PeResources::parse(std::vector<BYTE> bytes) {
    std::unique_ptr<PeResources> module(new PeResources);
    module->bytes_ = std::move(bytes);
    if (!module->readTree()) return nullptr;
    return module;
}

bool PeResources::readTree() {
    Walk walk;
    walk.file = bytes_;
    ByteReader in(bytes_);
    if (in.u16() != 0x5A4D) return false; // "MZ"
    in.seek(60);
    in.seek(in.u32());
    if (in.u32() != 0x4550) return false; // "PE"
    in.skip(2);
    const unsigned sectionCount = in.u16();
    in.skip(12);
    const unsigned optionalSize = in.u16();
    in.skip(2);
    const size_t optional = in.position();
    const WORD magic = in.u16();
    if (in.failed() || (magic != 0x10B && magic != 0x20B)) return false;
    in.seek(optional + (magic == 0x10B ? 92 : 108));
    const DWORD directories = in.u32();
    in.skip(16); // export and import tables
    const DWORD resourceAddress = in.u32();
    const DWORD resourceSize = in.u32();
    if (in.failed()) return false;
    in.seek(optional + optionalSize);
    for (unsigned i = 0; i < sectionCount && !in.failed(); ++i) {
        in.skip(8);
        Section section{};
        const DWORD virtualSize = in.u32();
        section.address = in.u32();
        const DWORD rawSize = in.u32();
        section.offset = in.u32();
        section.size = virtualSize ? std::min(virtualSize, rawSize) : rawSize;
        in.skip(16);
        walk.sections.push_back(section);
    }
    if (in.failed()) return false;
    if (directories < 3 || resourceSize == 0) return true; // a module without resources
    const auto root = walk.at(resourceAddress, 16);
    if (root.empty()) return true;
    walk.base = static_cast<size_t>(root.data() - bytes_.data());
    walk.directory(0, [&](DWORD type, DWORD names) {
        if ((type & kHighBit) || !(names & kHighBit)) return; // a named type, or no directory
        walk.directory(names & ~kHighBit, [&](DWORD name, DWORD languages) {
            if (!(languages & kHighBit)) return;
            bool taken = false;
            walk.directory(languages & ~kHighBit, [&](DWORD, DWORD entry) {
                if (taken || (entry & kHighBit)) return;
                ByteReader data(bytes_);
                data.seek(walk.base + entry);
                const DWORD address = data.u32();
                const DWORD size = data.u32();
                const auto content = data.failed() ? std::span<const BYTE>() : walk.at(address, size);
                if (content.empty()) return;
                taken = true;
                leaves_.push_back({static_cast<WORD>(type),
                                   name & kHighBit ? std::nullopt : std::optional(static_cast<WORD>(name)),
                                   content});
            });
        });
    });
    return true;
}

std::span<const BYTE> PeResources::find(WORD type, WORD id) const {
    const auto found = std::find_if(leaves_.begin(), leaves_.end(),
                                    [&](const Leaf& leaf) { return leaf.type == type && leaf.id == id; });
    return found == leaves_.end() ? std::span<const BYTE>() : found->bytes;
}

std::vector<std::span<const BYTE>> PeResources::all(WORD type) const {
    std::vector<std::span<const BYTE>> result;
    for (const Leaf& leaf : leaves_) {
        if (leaf.type == type) result.push_back(leaf.bytes);
    }
    return result;
}

namespace {

struct LoadedModules {
    std::mutex mutex;
    std::map<HINSTANCE, std::unique_ptr<PeResources>> modules;
};

LoadedModules& loadedModules() {
    static auto* const one = new LoadedModules;
    return *one;
}

} // namespace

HINSTANCE loadModuleData(const char* path) {
    auto module = path ? PeResources::load(path) : nullptr;
    if (!module) return nullptr;
    const auto handle = reinterpret_cast<HINSTANCE>(module.get());
    LoadedModules& loaded = loadedModules();
    const std::lock_guard lock(loaded.mutex);
    loaded.modules[handle] = std::move(module);
    return handle;
}

void freeModuleData(HINSTANCE module) {
    LoadedModules& loaded = loadedModules();
    const std::lock_guard lock(loaded.mutex);
    loaded.modules.erase(module);
}

const PeResources* moduleData(HINSTANCE module) {
    LoadedModules& loaded = loadedModules();
    const std::lock_guard lock(loaded.mutex);
    const auto found = loaded.modules.find(module);
    return found == loaded.modules.end() ? nullptr : found->second.get();
}

} // namespace qv
