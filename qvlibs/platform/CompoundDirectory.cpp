#include "qvlibs/platform/CompoundDirectory.h"

#include "qvlibs/platform/CompoundNames.h"

#include <algorithm>

namespace qv::compound {
namespace {

constexpr std::uint64_t kSearchedPages = 8; // for a free entry
constexpr size_t kEnoughFree = 16;          // entries to know of at once
constexpr std::uint64_t kMostPages = 32;    // added at once

} // namespace

HRESULT Directory::read(EntryId id, Entry& entry) {
    PagedChain::Page* page = nullptr;
    QV_STG_TRY(pages_.read(id / perPage(), page));
    if (!page) return STG_E_DOCFILECORRUPT;
    entry = Entry(page->now.data() + id % perPage() * kEntrySize);
    return S_OK;
}

HRESULT Directory::edit(EntryId id, Entry& entry) {
    PagedChain::Page* page = nullptr;
    QV_STG_TRY(pages_.edit(id / perPage(), page));
    entry = Entry(page->now.data() + id % perPage() * kEntrySize);
    return S_OK;
}

HRESULT Directory::count(std::uint64_t& entries) {
    QV_STG_TRY(pages_.count(entries));
    entries *= perPage();
    return S_OK;
}

HRESULT Directory::isFree(EntryId id, bool& free) {
    Entry entry;
    QV_STG_TRY(read(id, entry));
    free = entry.type() == kUnused && id != kRootEntry;
    return S_OK;
}

HRESULT Directory::collectFree(std::uint64_t page) {
    for (std::uint32_t i = perPage(); i-- > 0;) {
        const auto id = static_cast<EntryId>(page * perPage() + i);
        bool free = false;
        QV_STG_TRY(isFree(id, free));
        if (free) free_.push_back(id);
    }
    return S_OK;
}

// First what is known to be free, then, piece by piece, the end of the directory, where room is added, then a few pages
// on from the place where the last search stopped; else the directory grows by an eighth.
HRESULT Directory::allocate(EntryId& id) {
    std::uint64_t pages = 0;
    QV_STG_TRY(pages_.count(pages));
    if (unsearched_ > pages) {
        unsearched_ = pages;
        cursor_ = header_.searchStart(pages);
    }
    // Only while none is known: none is found twice.
    for (bool found = free_.empty(); found && unsearched_ > 0 && free_.size() < kEnoughFree;) {
        const size_t known = free_.size();
        QV_STG_TRY(collectFree(--unsearched_));
        found = free_.size() > known;
        if (!found) unsearched_ = 0;
    }
    for (std::uint64_t i = 0; free_.empty() && i < std::min(kSearchedPages, pages); ++i)
        QV_STG_TRY(collectFree(cursor_++ % pages));
    if (free_.empty()) {
        const std::uint64_t added = std::clamp<std::uint64_t>(pages / 8, 1, kMostPages);
        if ((pages + added) * perPage() > kMaxSector) return STG_E_MEDIUMFULL;
        QV_STG_TRY(pages_.grow(added, 0));
        for (auto next = static_cast<EntryId>((pages + added) * perPage()); next-- > pages * perPage();) {
            Entry entry;
            QV_STG_TRY(edit(next, entry));
            entry.clear(kUnused, {});
            free_.push_back(next);
        }
    }
    id = free_.back();
    free_.pop_back();
    if (id < owners_.size()) owners_[id] = kNoEntry;
    return S_OK;
}

HRESULT Directory::release(EntryId id) {
    Entry entry;
    QV_STG_TRY(edit(id, entry));
    entry.clear(kUnused, {});
    free_.push_back(id);
    if (id < owners_.size()) owners_[id] = kNoEntry;
    return S_OK;
}

bool Directory::claim(EntryId storage, EntryId id) {
    if (id == kRootEntry) return false;
    if (owners_.size() <= id) owners_.resize(id + 1ul, kNoEntry);
    if (owners_[id] == kNoEntry) owners_[id] = storage;
    return owners_[id] == storage;
}

// By the order of names, with as many steps as the directory has entries at most.
HRESULT Directory::search(EntryId storage, std::u16string_view name, EntryId& id) {
    Entry entry;
    QV_STG_TRY(read(storage, entry));
    EntryId at = entry.child();
    std::uint64_t steps = 0;
    for (id = kNoEntry; at != kNoEntry; ++steps) {
        QV_STG_TRY(read(at, entry));
        const int order = compareNames(name, entry.name());
        if (order == 0) {
            if (!entry.isElement() || !claim(storage, at)) return STG_E_DOCFILECORRUPT;
            id = at;
            return S_OK;
        }
        if (steps > 64) {
            std::uint64_t entries = 0;
            QV_STG_TRY(count(entries));
            if (steps > entries) return STG_E_DOCFILECORRUPT;
        }
        at = order < 0 ? entry.left() : entry.right();
    }
    return S_OK;
}

HRESULT Directory::find(EntryId storage, std::u16string_view name, EntryId& id) {
    const HRESULT searched = search(storage, name, id);
    if (header_.changes != 0 || (searched >= 0 && id != kNoEntry)) return searched;
    std::vector<EntryId> ids;
    QV_STG_TRY(list(storage, ids));
    id = kNoEntry;
    for (const EntryId candidate : ids) {
        Entry entry;
        QV_STG_TRY(read(candidate, entry));
        if (compareNames(name, entry.name()) == 0) {
            id = candidate;
            break;
        }
    }
    return S_OK;
}

HRESULT Directory::list(EntryId storage, std::vector<EntryId>& ids) {
    ids.clear();
    Entry entry;
    QV_STG_TRY(read(storage, entry));
    std::uint64_t entries = 0;
    QV_STG_TRY(count(entries));
    std::vector<bool> seen(static_cast<size_t>(entries));
    std::vector<EntryId> above; // seen, with everything to their left
    for (EntryId at = entry.child();;) {
        while (at < entries && !seen[at] && claim(storage, at)) {
            seen[at] = true;
            above.push_back(at);
            QV_STG_TRY(read(at, entry));
            at = entry.left();
        }
        if (above.empty()) return S_OK;
        const EntryId id = above.back();
        above.pop_back();
        QV_STG_TRY(read(id, entry));
        if (entry.isElement()) ids.push_back(id);
        at = entry.right();
    }
}

} // namespace qv::compound
