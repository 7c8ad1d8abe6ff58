#include "qvlibs/image/MaxDecodeSize.h"

#include <algorithm>

#include <sys/sysinfo.h>

namespace {

ULONG compute() {
    struct sysinfo memory {};
    if (sysinfo(&memory) != 0) return 0;
    const auto capped = [&](unsigned long units) {
        return std::min<std::uint64_t>(std::uint64_t{units} * memory.mem_unit, 0xFFFFFFFFu);
    };
    const std::uint64_t physical = capped(memory.totalram);
    const std::uint64_t pageFile = capped(memory.totalram + memory.totalswap);
    return static_cast<ULONG>(std::min(physical / 4, (physical + pageFile) / 8) / 3);
}

} // namespace

ULONG QVTLGetMaxDecodeSize() {
    static const ULONG size = compute();
    return size;
}
