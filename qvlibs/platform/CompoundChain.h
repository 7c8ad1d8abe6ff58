// A chain of sectors: its places looked up as far as they are asked for, and changed together with the table.
#pragma once

#include "qvlibs/platform/CompoundFat.h"

#include <vector>

namespace qv::compound {

class Chain {
public:
    Chain(Fat& fat, Sector first) : fat_(fat), next_(first) {}

    Sector first() const { return sectors_.empty() ? next_ : sectors_.front(); }
    // The sector at a place; `there` is false when the chain is shorter. A chain that loops or leaves the
    // file gives STG_E_DOCFILECORRUPT at the place where it does.
    [[nodiscard]] HRESULT at(std::uint64_t place, Sector& sector, bool& there);
    [[nodiscard]] HRESULT length(std::uint64_t& sectors);

    // Adds sectors at the end, in runs of at least `least` (at most 128) where possible.
    [[nodiscard]] HRESULT grow(Use use, std::uint64_t sectors, std::uint32_t least);
    [[nodiscard]] HRESULT cut(std::uint64_t sectors);
    // Puts fresh sectors in the place of `count` others, which are released.
    [[nodiscard]] HRESULT replace(Use use, std::uint64_t place, std::uint64_t count);

private:
    [[nodiscard]] HRESULT link(std::uint64_t place, Sector following);

    Fat& fat_;
    std::vector<Sector> sectors_; // as far as known
    Sector next_;                 // behind them
};

// A chain of pages of a table or directory. Pages are kept once read; a changed one moves to a fresh sector
// when the change is placed.
class PagedChain {
public:
    PagedChain(Disk& disk, const Header& header, Fat& fat, Sector first)
        : disk_(disk), header_(header), fat_(fat), chain_(fat, first) {}

    struct Page {
        std::vector<std::uint8_t> now;
        std::vector<std::uint8_t> published; // empty while unchanged
    };

    // Null when there are fewer pages. Valid until the next change.
    [[nodiscard]] HRESULT read(std::uint64_t number, Page*& page);
    [[nodiscard]] HRESULT edit(std::uint64_t number, Page*& page);
    [[nodiscard]] HRESULT count(std::uint64_t& pages) { return chain_.length(pages); }
    // New pages filled with `filler`.
    [[nodiscard]] HRESULT grow(std::uint64_t pages, std::uint8_t filler);

    Sector first() const { return chain_.first(); }
    [[nodiscard]] HRESULT place();
    [[nodiscard]] HRESULT collect(PageWrites& writes);
    void published();

private:
    Disk& disk_;
    const Header& header_;
    Fat& fat_;
    Chain chain_;
    std::vector<std::unique_ptr<Page>> pages_;
    std::vector<std::uint64_t> changed_;
};

} // namespace qv::compound
