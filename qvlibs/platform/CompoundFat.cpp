#include "qvlibs/platform/CompoundFat.h"

#include <algorithm>

namespace qv::compound {
namespace {

// Free sectors are looked for group by group. In files of some size tables keep to groups of their own, found
// again by the table sectors in them: so that they lie together, and few reads lead to any element.
constexpr std::uint32_t kGroup = 128;
constexpr std::uint64_t kApartFrom = 16 * kGroup;
// Tables stay near each other from here on; before, that would keep them in groups that they share with data.
constexpr std::uint64_t kNearFrom = 8 * kApartFrom;
constexpr std::uint32_t kSearchedGroups = 32;     // for one allocation
constexpr std::uint32_t kManyTables = kGroup / 2; // at once: they get groups of their own
constexpr Sector kNowhere = kFree;                // a page that has no sector yet

std::uint32_t entryAt(const std::vector<std::uint8_t>& page, std::uint64_t sector) {
    return get32(page.data() + 4 * (sector % (page.size() / 4)));
}

} // namespace

HRESULT PageWrites::write(Disk& disk, const Header& header) {
    std::sort(pages_.begin(), pages_.end(), [](const Page& a, const Page& b) { return a.sector < b.sector; });
    std::vector<std::uint8_t> together;
    for (size_t i = 0; i < pages_.size();) {
        const size_t first = i;
        together.clear();
        do {
            together.insert(together.end(), pages_[i].bytes, pages_[i].bytes + header.sectorSize());
            ++i;
        } while (i < pages_.size() && pages_[i].sector == pages_[i - 1].sector + 1);
        QV_STG_TRY(disk.write(header.offsetOf(pages_[first].sector), together.data(), together.size()));
    }
    return S_OK;
}

Fat::Fat(Disk& disk, const Header& header) : disk_(disk), header_(header) {
    const std::uint64_t sectorSize = header.sectorSize();
    const std::uint64_t sectors = (disk.length() + sectorSize - 1) / sectorSize;
    fileSectors_ = std::min<std::uint64_t>(sectors > 0 ? sectors - 1 : 0, kMaxSector + 1ull);
    end_ = fileSectors_;
    for (const Sector sector : header.fat) {
        if (!isReal(sector)) break;
        where_.push_back(sector);
    }
    // A table cannot have more pages than the file has sectors, whatever the header says.
    pageCount_ = static_cast<std::uint32_t>(where_.size());
    if (pageCount_ == kHeaderFatSectors)
        pageCount_ = static_cast<std::uint32_t>(std::clamp<std::uint64_t>(
            header.fatSectors, pageCount_, std::max<std::uint64_t>(fileSectors_, pageCount_)));
    nextIndex_ = header.firstDifat;
    groupsLeft_ = end_ / kGroup + 1;
    cursor_ = header.searchStart(end_) / kGroup * kGroup;
    tableCursor_ = static_cast<std::uint32_t>(header.searchStart(pageCount_));
}

HRESULT Fat::locate(std::uint32_t page) {
    while (where_.size() <= page) {
        if (!isReal(nextIndex_) || nextIndex_ >= fileSectors_ || index_.size() > fileSectors_)
            return STG_E_DOCFILECORRUPT;
        std::vector<std::uint8_t> bytes(header_.sectorSize());
        size_t got = 0;
        QV_STG_TRY(disk_.readCached(header_.offsetOf(nextIndex_), bytes.data(), bytes.size(), got));
        if (got < bytes.size()) return STG_E_DOCFILECORRUPT;
        index_.push_back(nextIndex_);
        for (std::uint32_t i = 0; i + 1 < perPage() && where_.size() < pageCount_; ++i)
            where_.push_back(get32(bytes.data() + 4ul * i));
        nextIndex_ = get32(bytes.data() + bytes.size() - 4);
    }
    return S_OK;
}

HRESULT Fat::load(std::uint32_t page, Page*& loaded) {
    if (page < pages_.size() && pages_[page]) {
        loaded = pages_[page].get();
        return S_OK;
    }
    if (page >= pageCount_) return STG_E_DOCFILECORRUPT;
    QV_STG_TRY(locate(page));
    if (where_[page] >= fileSectors_) return STG_E_DOCFILECORRUPT;
    auto fresh = std::make_unique<Page>();
    fresh->now.resize(header_.sectorSize(), 0xFF);
    size_t got = 0;
    QV_STG_TRY(disk_.readCached(header_.offsetOf(where_[page]), fresh->now.data(), fresh->now.size(), got));
    if (pages_.size() <= page) pages_.resize(page + 1ul);
    pages_[page] = std::move(fresh);
    loaded = pages_[page].get();
    return S_OK;
}

HRESULT Fat::edit(std::uint32_t page, Page*& edited) {
    while (pageCount_ <= page) {
        QV_STG_TRY(locate(pageCount_ ? pageCount_ - 1 : 0));
        auto added = std::make_unique<Page>();
        added->now.assign(header_.sectorSize(), 0xFF);
        added->published = added->now;
        pages_.resize(pageCount_ + 1ul);
        pages_[pageCount_] = std::move(added);
        where_.push_back(kNowhere);
        changed_.push_back(pageCount_++);
    }
    QV_STG_TRY(load(page, edited));
    if (edited->published.empty()) {
        edited->published = edited->now;
        changed_.push_back(page);
    }
    return S_OK;
}

HRESULT Fat::next(Sector sector, Sector& following) {
    if (sector >= end_) return STG_E_DOCFILECORRUPT;
    Page* page = nullptr;
    QV_STG_TRY(load(sector / perPage(), page));
    following = entryAt(page->now, sector);
    return S_OK;
}

HRESULT Fat::set(Sector sector, Sector following) {
    Page* page = nullptr;
    QV_STG_TRY(edit(sector / perPage(), page));
    put32(page->now.data() + 4ul * (sector % perPage()), following);
    if (following == kFree) lastReleased_ = sector;
    return S_OK;
}

HRESULT Fat::isFresh(Sector sector, bool& fresh) {
    Page* page = nullptr;
    QV_STG_TRY(load(sector / perPage(), page));
    fresh = !page->published.empty() && entryAt(page->published, sector) == kFree;
    return S_OK;
}

bool Fat::isApart() const { return end_ >= kApartFrom; }

HRESULT Fat::isForTables(std::uint64_t group, bool& forTables) {
    Page* page = nullptr;
    QV_STG_TRY(load(static_cast<std::uint32_t>(group * kGroup / perPage()), page));
    forTables = std::find(opened_.begin(), opened_.end(), group) != opened_.end();
    for (std::uint64_t s = group * kGroup; s < (group + 1) * kGroup && !forTables; ++s)
        forTables = entryAt(page->now, s) == kFatSector;
    return S_OK;
}

// The first run of free sectors of a group that is long enough.
HRESULT Fat::findInGroup(std::uint64_t from, std::uint64_t to, Use use, std::uint32_t wanted,
                         std::uint32_t least, Run& run) {
    run = {};
    if (from / perPage() >= pageCount_) return S_OK;
    const std::uint64_t group = from / kGroup;
    if (barren_.size() <= group) barren_.resize(std::max(group + 1, end_ / kGroup + 1));
    std::uint8_t& failed = use == Use::Data ? barren_[group].data : barren_[group].tables;
    if (failed && failed <= least && !thrifty_) return S_OK;
    Page* page = nullptr;
    QV_STG_TRY(load(static_cast<std::uint32_t>(from / perPage()), page));
    bool mayUse = true;
    if (use == Use::Data && isApart() && !thrifty_) {
        bool forTables = false;
        QV_STG_TRY(isForTables(group, forTables));
        mayUse = !forTables;
    }
    for (std::uint64_t s = from; mayUse && s < to && run.count < wanted; ++s) {
        const bool free = entryAt(page->now, s) == kFree && !header_.isLockSector(static_cast<Sector>(s)) &&
                          (page->published.empty() || entryAt(page->published, s) == kFree);
        if (free) {
            if (run.count++ == 0) run.first = static_cast<Sector>(s);
        } else if (run.count >= least) {
            break;
        } else {
            run.count = 0;
        }
    }
    if (run.count < least) {
        run.count = 0;
        // Only a whole group that was looked at says something; the last one still grows.
        if (from % kGroup == 0 && to == from + kGroup) failed = static_cast<std::uint8_t>(mayUse ? least : 1);
    }
    return S_OK;
}

HRESULT Fat::findData(std::uint32_t wanted, std::uint32_t least, Run& run) {
    run = {};
    std::uint64_t budget = thrifty_ ? end_ / kGroup + 2 : kSearchedGroups;
    if (thrifty_) groupsLeft_ = budget;
    while (budget-- > 0 && groupsLeft_ > 0) {
        if (cursor_ >= end_) cursor_ = 0;
        const std::uint64_t to = std::min((cursor_ / kGroup + 1) * kGroup, end_);
        QV_STG_TRY(findInGroup(cursor_, to, Use::Data, wanted, least, run));
        if (run.count) {
            cursor_ = run.first + std::uint64_t{run.count};
            return S_OK;
        }
        cursor_ = to;
        --groupsLeft_;
    }
    return S_OK;
}

// In the group of a sector that it should be near; else in groups of pages of the table, which are those for tables.
HRESULT Fat::findForTables(Sector near, std::uint32_t wanted, Run& run) {
    run = {};
    const auto lookIn = [&](std::uint64_t group) {
        const std::uint64_t from = group * kGroup;
        return from < end_ ? findInGroup(from, std::min(from + kGroup, end_), Use::Tables, wanted, 1, run)
                           : S_OK;
    };
    bool forTables = false;
    if (isReal(near) && end_ >= kNearFrom) QV_STG_TRY(isForTables(near / kGroup, forTables));
    if (forTables) QV_STG_TRY(lookIn(near / kGroup));
    if (run.count) return S_OK;
    QV_STG_TRY(locate(pageCount_ - 1));
    std::uint64_t last = ~std::uint64_t{0};
    std::uint32_t groups = 0;
    for (std::uint32_t i = 0; i < pageCount_ && groups < kSearchedGroups && !run.count; ++i) {
        if (i > 0) ++tableCursor_; // stays where something was found
        const Sector page = where_[tableCursor_ % pageCount_];
        if (page == kNowhere || page / kGroup == last) continue;
        last = page / kGroup;
        ++groups;
        QV_STG_TRY(lookIn(last));
    }
    return run.count ? S_OK : openTableGroup(wanted, run);
}

// A group at the end for tables only; what lies before it stays free for data.
HRESULT Fat::openTableGroup(std::uint32_t wanted, Run& run) {
    const std::uint64_t start = (end_ + kGroup - 1) / kGroup * kGroup;
    cursor_ = end_;
    groupsLeft_ = std::max<std::uint64_t>(groupsLeft_, 2);
    while (end_ < start + kGroup) // in pieces where the range of locks is passed
        QV_STG_TRY(append(static_cast<std::uint32_t>(start + kGroup - end_), run));
    opened_.push_back(start / kGroup);
    return findInGroup(start, end_, Use::Tables, wanted, 1, run);
}

HRESULT Fat::append(std::uint32_t wanted, Run& run) {
    run = {};
    // Files with small sectors end before the range of locks; the others step over it.
    const std::uint64_t limit = header_.isWide() ? kMaxSector + 1ull : kLockRange / 512 - 1;
    if (end_ >= limit) return STG_E_MEDIUMFULL;
    if (header_.isLockSector(static_cast<Sector>(end_)))
        QV_STG_TRY(set(static_cast<Sector>(end_++), kEndOfChain));
    run.first = static_cast<Sector>(end_);
    while (run.count < wanted && end_ < limit && !header_.isLockSector(static_cast<Sector>(end_))) {
        ++end_;
        ++run.count;
    }
    Page* page = nullptr;
    return edit(static_cast<std::uint32_t>((end_ - 1) / perPage()), page);
}

HRESULT Fat::allocate(Use use, std::uint32_t wanted, std::uint32_t least, Run& run, Sector near) {
    run = {};
    if (use == Use::Tables && isApart() && !thrifty_ && !appendOnly_)
        return wanted < kManyTables || perPage() != kGroup
                   ? findForTables(near, wanted, run)
                   : openTableGroup(std::min(wanted, kGroup - 1), run);
    if (!appendOnly_) QV_STG_TRY(findData(wanted, least, run));
    return run.count ? S_OK : append(wanted, run);
}

HRESULT Fat::placePage(std::uint32_t page) {
    Run run;
    // A new page goes into the group that it stands for, if that is one for tables: known by it from now on.
    const auto covered = static_cast<Sector>(std::uint64_t{page} * perPage());
    QV_STG_TRY(allocate(Use::Tables, 1, 1, run, where_[page] == kNowhere ? covered : where_[page]));
    QV_STG_TRY(set(run.first, kFatSector));
    if (where_[page] != kNowhere) QV_STG_TRY(release(where_[page]));
    where_[page] = run.first;
    pages_[page]->placed = true;
    return S_OK;
}

// The sectors that list the pages beyond the header's: as many as needed, all of them fresh.
HRESULT Fat::placeIndex(bool& changed) {
    const size_t beyond = where_.size() > kHeaderFatSectors ? where_.size() - kHeaderFatSectors : 0;
    const size_t needed = (beyond + perPage() - 2) / (perPage() - 1);
    changed = false;
    const Sector near = index_.empty() ? kFree : index_.front();
    if (!indexPlaced_) {
        for (const Sector old : index_) QV_STG_TRY(release(old));
        changed = !index_.empty();
        index_.clear();
        indexPlaced_ = true;
    }
    while (index_.size() < needed) {
        Run run;
        const auto wanted = static_cast<std::uint32_t>(needed - index_.size());
        QV_STG_TRY(allocate(Use::Tables, std::min(wanted, kManyTables - 1), 1, run, near));
        for (std::uint32_t i = 0; i < run.count; ++i) {
            QV_STG_TRY(set(run.first + i, kDifatSector));
            index_.push_back(run.first + i);
        }
        changed = true;
    }
    return S_OK;
}

HRESULT Fat::place(Header& header) {
    // Moving a page changes entries in others, and new pages need a place in the index: until all have one.
    bool indexTouched = false;
    for (size_t placed = 0;;) {
        for (; placed < changed_.size(); ++placed) {
            const std::uint32_t page = changed_[placed];
            if (!pages_[page]->placed) QV_STG_TRY(placePage(page));
            indexTouched = indexTouched || page >= kHeaderFatSectors;
        }
        if (indexTouched) {
            QV_STG_TRY(locate(pageCount_ - 1));
            bool changed = false;
            QV_STG_TRY(placeIndex(changed));
        }
        if (placed == changed_.size()) break;
    }
    header.fatSectors = pageCount_;
    for (size_t i = 0; i < kHeaderFatSectors; ++i) header.fat[i] = i < where_.size() ? where_[i] : kFree;
    if (indexTouched) {
        header.difatSectors = static_cast<std::uint32_t>(index_.size());
        header.firstDifat = index_.empty() ? kEndOfChain : index_.front();
    }
    return S_OK;
}

void Fat::collect(PageWrites& writes) {
    for (const std::uint32_t page : changed_) writes.add(where_[page], pages_[page]->now.data());
    indexBytes_.clear();
    if (!indexPlaced_) return;
    size_t page = kHeaderFatSectors;
    for (size_t i = 0; i < index_.size(); ++i) {
        auto& bytes = indexBytes_.emplace_back(header_.sectorSize(), 0xFF);
        for (std::uint32_t k = 0; k + 1 < perPage() && page < where_.size(); ++k)
            put32(bytes.data() + 4ul * k, where_[page++]);
        put32(bytes.data() + bytes.size() - 4, i + 1 < index_.size() ? index_[i + 1] : kEndOfChain);
    }
    for (size_t i = 0; i < index_.size(); ++i) writes.add(index_[i], indexBytes_[i].data());
}

void Fat::published() {
    for (const std::uint32_t page : changed_) {
        pages_[page]->published.clear();
        pages_[page]->placed = false;
        // What was released is free from now on.
        for (std::uint64_t s = std::uint64_t{page} * perPage(); s < (page + 1ull) * perPage(); s += kGroup) {
            if (s / kGroup < barren_.size()) barren_[s / kGroup] = {};
        }
    }
    changed_.clear();
    opened_.clear();
    indexBytes_.clear();
    indexPlaced_ = false;
    fileSectors_ = end_;
    if (lastReleased_ != kFree) {
        cursor_ = lastReleased_ / kGroup * kGroup;
        groupsLeft_ = end_ / kGroup + 1;
        lastReleased_ = kFree;
    }
}

HRESULT Fat::tableSectors(std::vector<Sector>& fat, std::vector<Sector>& difat) {
    if (pageCount_) QV_STG_TRY(locate(pageCount_ - 1));
    fat = where_;
    difat = index_;
    return S_OK;
}

} // namespace qv::compound
