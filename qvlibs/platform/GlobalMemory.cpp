#include "qvlibs/platform/GlobalMemory.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <unordered_map>
#include <utility>

#include <sys/mman.h>

namespace {

struct Block {
    void* address;
    size_t size;
    int locks;
};

struct Table {
    std::mutex mutex;
    std::unordered_map<HGLOBAL, Block> blocks;
    Block kept{}; // a mapped block that was freed, for the next picture
};

// Never destroyed: modules and static objects of callers free blocks while the process ends.
Table& table() {
    static Table* const one = new Table;
    return *one;
}

// Photos are this large and more, and malloc gives such blocks back to the system each time. Taking the memory anew
// costs a third of the time of decoding into it: so they are mapped in huge pages where the system has them, and the
// last one stays, marked as the system's to take back whenever it wants the memory.
constexpr size_t kMapped = size_t{32} << 20;

size_t mappedRoom(size_t size) {
    constexpr size_t kStep = size_t{2} << 20;
    return (size + kStep - 1) / kStep * kStep;
}

void* takeMapped(Table& all, size_t size, bool zeroed) {
    Block kept;
    {
        const std::lock_guard lock(all.mutex);
        kept = std::exchange(all.kept, {});
    }
    if (kept.address && mappedRoom(kept.size) == mappedRoom(size)) {
        if (zeroed) std::memset(kept.address, 0, size);
        return kept.address;
    }
    if (kept.address) munmap(kept.address, mappedRoom(kept.size));
    void* address =
        mmap(nullptr, mappedRoom(size), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (address == MAP_FAILED) return nullptr;
    madvise(address, mappedRoom(size), MADV_HUGEPAGE); // a wish: small pages serve as well
    return address;
}

void* take(size_t size, bool zeroed) {
    if (size >= kMapped) return size <= PTRDIFF_MAX ? takeMapped(table(), size, zeroed) : nullptr;
    return zeroed ? std::calloc(size ? size : 1, 1) : std::malloc(size ? size : 1);
}

void giveBack(Table& all, const Block& block) {
    if (block.size < kMapped) {
        std::free(block.address);
        return;
    }
    if (all.kept.address) munmap(all.kept.address, mappedRoom(all.kept.size));
    all.kept = block;
    madvise(block.address, mappedRoom(block.size), MADV_FREE);
}

// The handle is the block's address under another type; what it stands for is only looked up, never followed.
HGLOBAL handleOf(void* address) { return reinterpret_cast<HGLOBAL>(address); }

} // namespace

HGLOBAL GlobalAlloc(unsigned flags, size_t size) {
    void* address = take(size, flags & GMEM_ZEROINIT);
    if (!address) return nullptr;
    Table& all = table();
    const std::lock_guard lock(all.mutex);
    all.blocks[handleOf(address)] = {address, size, 0};
    return handleOf(address);
}

void* GlobalLock(HGLOBAL block) {
    Table& all = table();
    const std::lock_guard lock(all.mutex);
    const auto found = all.blocks.find(block);
    if (found == all.blocks.end()) return nullptr;
    ++found->second.locks;
    return found->second.address;
}

int GlobalUnlock(HGLOBAL block) {
    Table& all = table();
    const std::lock_guard lock(all.mutex);
    const auto found = all.blocks.find(block);
    if (found == all.blocks.end() || found->second.locks == 0) return 0;
    return --found->second.locks > 0 ? 1 : 0;
}

HGLOBAL GlobalFree(HGLOBAL block) {
    Table& all = table();
    const std::lock_guard lock(all.mutex);
    const auto found = all.blocks.find(block);
    if (found == all.blocks.end()) return block;
    giveBack(all, found->second);
    all.blocks.erase(found);
    return nullptr;
}

size_t GlobalSize(HGLOBAL block) {
    Table& all = table();
    const std::lock_guard lock(all.mutex);
    const auto found = all.blocks.find(block);
    return found == all.blocks.end() ? 0 : found->second.size;
}
