// The allocation table of a compound file: which sector follows which, and which are free.
//
// Two states are kept of what changes: the one being made, and the published one that the file's header leads
// to. A sector may be written only when it is free in the published state ("fresh"), so the published state
// stays whole whatever happens. A changed page of the table moves to a fresh sector too; place() finds those,
// and the header that it fills in makes the new state the published one.
#pragma once

#include "qvlibs/platform/CompoundDisk.h"

#include <memory>
#include <vector>

namespace qv::compound {

struct Run {
    Sector first = 0;
    std::uint32_t count = 0;
};

// Whole sectors gathered to be written, neighbours together.
class PageWrites {
public:
    // The bytes stay the caller's until write().
    void add(Sector sector, const std::uint8_t* bytes) { pages_.push_back({sector, bytes}); }
    [[nodiscard]] HRESULT write(Disk& disk, const Header& header);

private:
    struct Page {
        Sector sector;
        const std::uint8_t* bytes;
    };
    std::vector<Page> pages_;
};

enum class Use { Data, Tables };

class Fat {
public:
    // `header` is the published one and outlives this.
    Fat(Disk& disk, const Header& header);

    // Sectors that the file has room for; a last one may be cut short.
    std::uint64_t fileSectors() const { return fileSectors_; }
    // STG_E_DOCFILECORRUPT for sectors that the file or the table does not have.
    [[nodiscard]] HRESULT next(Sector sector, Sector& following);
    [[nodiscard]] HRESULT set(Sector sector, Sector following);
    [[nodiscard]] HRESULT release(Sector sector) { return set(sector, kFree); }
    [[nodiscard]] HRESULT isFresh(Sector sector, bool& fresh);
    // At least `least` (at most 128) and at most `wanted` neighbouring sectors, for the caller to link. Space
    // at the end counts as found; STG_E_MEDIUMFULL when the format allows no more.
    // Tables are put near a sector, where there is one.
    [[nodiscard]] HRESULT allocate(Use use, std::uint32_t wanted, std::uint32_t least, Run& run,
                                   Sector near = kFree);
    // Others may look at older states: from now on nothing is used again, only what is past the end.
    void appendOnly() { appendOnly_ = true; }
    // Looks everywhere for free sectors before the file grows.
    void thrifty() { thrifty_ = true; }

    // Gives every changed page a fresh sector; nothing may be changed afterwards before published().
    [[nodiscard]] HRESULT place(Header& header);
    void collect(PageWrites& writes);
    // The new state is the published one now.
    void published();
    std::uint64_t end() const { return end_; } // behind the last sector used

    // For checks: sectors of the table and of its index.
    [[nodiscard]] HRESULT tableSectors(std::vector<Sector>& fat, std::vector<Sector>& difat);

private:
    struct Page {
        std::vector<std::uint8_t> now;
        std::vector<std::uint8_t> published; // empty while the page is unchanged
        bool placed = false;                 // has a fresh sector
    };

    std::uint32_t perPage() const { return header_.sectorSize() / 4; }
    [[nodiscard]] HRESULT locate(std::uint32_t page);
    [[nodiscard]] HRESULT load(std::uint32_t page, Page*& loaded);
    [[nodiscard]] HRESULT edit(std::uint32_t page, Page*& edited);
    [[nodiscard]] HRESULT findInGroup(std::uint64_t from, std::uint64_t to, Use use, std::uint32_t wanted,
                                      std::uint32_t least, Run& run);
    [[nodiscard]] HRESULT isForTables(std::uint64_t group, bool& forTables);
    [[nodiscard]] HRESULT findData(std::uint32_t wanted, std::uint32_t least, Run& run);
    [[nodiscard]] HRESULT findForTables(Sector near, std::uint32_t wanted, Run& run);
    [[nodiscard]] HRESULT append(std::uint32_t wanted, Run& run);
    [[nodiscard]] HRESULT openTableGroup(std::uint32_t wanted, Run& run);
    [[nodiscard]] HRESULT placePage(std::uint32_t page);
    [[nodiscard]] HRESULT placeIndex(bool& changed);
    bool isApart() const; // tables have groups of their own

    Disk& disk_;
    const Header& header_;
    std::uint64_t fileSectors_;
    std::uint64_t end_;
    std::uint32_t pageCount_;   // of the state being made
    std::vector<Sector> where_; // of the first pages, as far as they were asked for
    std::vector<Sector> index_; // sectors that hold where_ beyond the header, as far as known
    Sector nextIndex_;
    std::vector<std::unique_ptr<Page>> pages_;
    std::vector<std::uint32_t> changed_; // pages
    std::vector<std::vector<std::uint8_t>> indexBytes_;
    bool indexPlaced_ = false;
    bool appendOnly_ = false;
    bool thrifty_ = false;
    std::uint64_t cursor_ = 0; // where the search for data goes on
    std::uint64_t groupsLeft_; // to look at before it gives up
    // Of each group: no run of so many sectors was found in it for data and for tables; 0 when it may have any.
    struct Barren {
        std::uint8_t data = 0, tables = 0;
    };
    std::vector<Barren> barren_;
    std::vector<std::uint64_t> opened_; // groups for tables, new in this change
    std::uint32_t tableCursor_;         // the page of the table whose group is looked at for tables
    std::uint64_t lastReleased_ = kFree;
};

} // namespace qv::compound
