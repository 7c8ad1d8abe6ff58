// The file beneath a compound file: whole reads and writes by offset, with the statuses of storage.
#pragma once

#include "qvlibs/platform/CompoundScratch.h"

#include <memory>
#include <vector>

namespace qv::compound {

class Disk {
public:
    // An existing file, without waiting for a pipe or a device. `access` is O_RDONLY or O_RDWR.
    [[nodiscard]] static HRESULT open(const char* path, int access, std::unique_ptr<Disk>& disk);
    // Takes over the descriptor.
    explicit Disk(int descriptor);
    ~Disk();
    Disk(const Disk&) = delete;
    Disk& operator=(const Disk&) = delete;

    int descriptor() const { return descriptor_; }
    std::uint64_t length() const { return length_; }

    // As many bytes as there are up to the end of the file.
    [[nodiscard]] HRESULT read(std::uint64_t offset, void* bytes, size_t count, size_t& got);
    // The same for small pieces that lie close together: keeps the last pages that it read.
    [[nodiscard]] HRESULT readCached(std::uint64_t offset, void* bytes, size_t count, size_t& got);
    [[nodiscard]] HRESULT write(std::uint64_t offset, const void* bytes, size_t count);
    // What lies past the end needs no writing: growing the file makes it zeros.
    [[nodiscard]] HRESULT writeZeros(std::uint64_t offset, std::uint64_t count);
    [[nodiscard]] HRESULT setLength(std::uint64_t length);
    [[nodiscard]] HRESULT waitForDisk();
    void forgetCache() { pages_.clear(); }
    void updateLength();

    // From now on what is written, and the length, are kept beside the file until settle().
    void defer() { scratch_ = std::make_unique<Scratch>(); }
    // Brings the file, whose published state ends at `from`, to what was written; when that fails, back.
    [[nodiscard]] HRESULT settle(std::uint64_t from);
    // At once, whatever is deferred: for the header.
    [[nodiscard]] HRESULT writeNow(std::uint64_t offset, const void* bytes, size_t count);
    // Forgets what was written past the published end, or deferred.
    void takeBack(std::uint64_t publishedLength);

private:
    static constexpr size_t kPageSize = 4096;
    static constexpr size_t kPages = 64;
    static constexpr std::uint64_t kNoPage = ~std::uint64_t{0};
    struct Page {
        std::uint64_t number;
        size_t size;
        std::uint8_t bytes[kPageSize];
    };

    [[nodiscard]] HRESULT readDeferred(std::uint64_t offset, std::uint8_t* bytes, size_t count, size_t& got);
    [[nodiscard]] HRESULT truncate(std::uint64_t length) const;
    void drop(std::uint64_t offset, std::uint64_t count);
    void dropPage(std::uint64_t number);

    int descriptor_;
    std::uint64_t length_ = 0;
    std::unique_ptr<Scratch> scratch_;
    std::vector<std::unique_ptr<Page>> pages_; // each page number has one place
};

// The status for an errno of a file call; `otherwise` for those that say nothing better.
HRESULT statusOf(int osError, HRESULT otherwise);
// The status for a file that could not be opened or made.
HRESULT openFailure(const char* path, int osError);

} // namespace qv::compound
