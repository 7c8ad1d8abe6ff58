// The bytes of streams: small ones in the mini stream, larger ones in chains of their own.
#pragma once

#include "qvlibs/platform/CompoundDirectory.h"

#include <vector>

namespace qv::compound {

class File;

// Small streams lie in pieces of 64 bytes in one large stream, the root entry's, with a table of their own.
// They are read and stored whole.
class MiniStream {
public:
    MiniStream(Disk& disk, const Header& header, Fat& fat, Directory& directory);

    PagedChain& table() { return table_; }
    // As many of `size` bytes as the chain leads to.
    [[nodiscard]] HRESULT read(Sector start, std::uint64_t size, std::vector<std::uint8_t>& bytes);
    // In fresh pieces; kEndOfChain for no bytes.
    [[nodiscard]] HRESULT store(const std::vector<std::uint8_t>& bytes, Sector& start);
    [[nodiscard]] HRESULT release(Sector start);
    [[nodiscard]] HRESULT next(Sector piece, Sector& following);
    // Others may look at older states: from now on only pieces that were not there yet are used.
    [[nodiscard]] HRESULT appendOnly();

private:
    [[nodiscard]] HRESULT load();
    [[nodiscard]] HRESULT set(Sector piece, Sector following);
    [[nodiscard]] HRESULT offsetOf(Sector piece, std::uint64_t& offset);
    [[nodiscard]] HRESULT findFree(Sector& piece);
    [[nodiscard]] HRESULT grow();
    std::uint32_t perPage() const { return header_.sectorSize() / 4; }

    Disk& disk_;
    const Header& header_;
    Fat& fat_;
    Directory& directory_;
    PagedChain table_;
    std::unique_ptr<Chain> content_;
    std::uint64_t pieces_ = 0; // that the mini stream has room for
    bool loaded_ = false;
    std::uint64_t firstUsable_ = 0; // pieces before it may be looked at by others
    std::uint64_t cursor_ = 0;
    std::uint64_t piecesLeft_ = 0; // to look at before it grows
};

// One stream while it is open. Small content is kept in memory until settle(); large content goes to fresh
// sectors at once.
class StreamData {
public:
    StreamData(File& file, EntryId id) : file_(file), id_(id) {}

    [[nodiscard]] HRESULT open();
    std::uint64_t size() const { return size_; }
    // Fewer bytes than asked only at the end, or where the stream is damaged: STG_E_DOCFILECORRUPT when not
    // one byte could be had.
    [[nodiscard]] HRESULT read(std::uint64_t offset, void* bytes, size_t count, size_t& got);
    [[nodiscard]] HRESULT write(std::uint64_t offset, const void* bytes, size_t count);
    [[nodiscard]] HRESULT resize(std::uint64_t size);
    // Brings table and directory up to date; the stream stays open.
    [[nodiscard]] HRESULT settle();

private:
    [[nodiscard]] HRESULT loadSmall();
    [[nodiscard]] HRESULT resizeLarge(std::uint64_t size);
    [[nodiscard]] HRESULT makeLarge(std::uint64_t size);
    [[nodiscard]] HRESULT makeSmall(std::uint64_t size);
    [[nodiscard]] HRESULT readLarge(std::uint64_t offset, std::uint8_t* bytes, size_t count, size_t& got);
    [[nodiscard]] HRESULT makeFresh(std::uint64_t offset, std::uint64_t count);
    [[nodiscard]] HRESULT keepEdges(std::uint64_t from, std::uint64_t to, std::uint64_t offset,
                                    std::uint64_t end);
    [[nodiscard]] HRESULT writeLarge(std::uint64_t offset, const std::uint8_t* bytes, std::uint64_t count);

    File& file_;
    EntryId id_;
    std::uint64_t size_ = 0;
    std::uint64_t written_ = 0;    // what lies behind it, up to the size, reads as zeros
    std::unique_ptr<Chain> chain_; // of large content
    std::vector<std::uint8_t> small_;
    bool smallLoaded_ = false;
    bool changed_ = false;
};

} // namespace qv::compound
