// Any bytes as an AVI file: headers, both kinds of index, and the walk without one.
#include "qvlibs/platform/AviHeader.h"

#include <algorithm>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    const qv::AviBytes file{[=](std::uint64_t at, void* buffer, size_t count) {
                                if (at >= size || count == 0) return size_t{0};
                                const size_t got = std::min<size_t>(count, size - at);
                                std::memcpy(buffer, data + at, got);
                                return got;
                            },
                            size};
    const auto header = qv::readAviHeader(file);
    if (!header) return 0;
    for (size_t stream = 0; stream < header->streams.size() && stream < 4; ++stream) {
        for (const auto& chunk : qv::readAviIndex(file, *header, static_cast<int>(stream))) {
            if (chunk.position > size || chunk.size > size - chunk.position) __builtin_trap();
        }
    }
    return 0;
}
