// Writes that are kept beside a file until they may go into it: those of a root that shares its file, where
// others may write to the same free places meanwhile.
#pragma once

#include "qvlibs/platform/CompoundFormat.h"

#include <map>

namespace qv::compound {

class Scratch {
public:
    Scratch() = default;
    ~Scratch() { discard(); }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    [[nodiscard]] HRESULT write(std::uint64_t offset, const void* bytes, size_t count);
    // How many bytes from an offset on are kept here; when none are, how many lie before the next that are.
    struct Span {
        bool kept;
        std::uint64_t count;
    };
    Span spanAt(std::uint64_t offset) const;
    // Of bytes that are kept.
    [[nodiscard]] HRESULT read(std::uint64_t offset, void* bytes, size_t count) const;
    // Writes all to a file.
    [[nodiscard]] HRESULT copyTo(int descriptor) const;
    void discard();

private:
    int file_ = -1;                                // a nameless one, every byte at its own offset
    std::map<std::uint64_t, std::uint64_t> spans_; // from, to; neither meeting nor touching each other
};

// Whole transfers by offset. Reading stops at the end of the file.
[[nodiscard]] HRESULT readAt(int descriptor, std::uint64_t offset, void* bytes, size_t count, size_t& got);
[[nodiscard]] HRESULT writeAt(int descriptor, std::uint64_t offset, const void* bytes, size_t count,
                              size_t& done);

} // namespace qv::compound
