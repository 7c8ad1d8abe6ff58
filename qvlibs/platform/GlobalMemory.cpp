#include "qvlibs/platform/GlobalMemory.h"

#include <cstdlib>
#include <mutex>
#include <unordered_map>

namespace {

struct Block {
    void* address;
    size_t size;
    int locks;
};

struct Table {
    std::mutex mutex;
    std::unordered_map<HGLOBAL, Block> blocks;
};

// Never destroyed: modules and static objects of callers free blocks while the process ends.
Table& table() {
    static Table* const one = new Table;
    return *one;
}

// The handle is the block's address under another type; what it stands for is only looked up, never followed.
HGLOBAL handleOf(void* address) { return reinterpret_cast<HGLOBAL>(address); }

} // namespace

HGLOBAL GlobalAlloc(unsigned flags, size_t size) {
    const size_t room = size ? size : 1;
    void* address = flags & GMEM_ZEROINIT ? std::calloc(room, 1) : std::malloc(room);
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
    std::free(found->second.address);
    all.blocks.erase(found);
    return nullptr;
}

size_t GlobalSize(HGLOBAL block) {
    Table& all = table();
    const std::lock_guard lock(all.mutex);
    const auto found = all.blocks.find(block);
    return found == all.blocks.end() ? 0 : found->second.size;
}
