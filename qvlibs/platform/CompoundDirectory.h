// The directory: entries by number, and for each storage the red-black tree of its elements.
#pragma once

#include "qvlibs/platform/CompoundChain.h"

#include <string_view>
#include <vector>

namespace qv::compound {

class Directory {
public:
    Directory(Disk& disk, const Header& header, Fat& fat)
        : header_(header), pages_(disk, header, fat, header.firstDirectory) {}

    PagedChain& pages() { return pages_; }
    std::uint32_t perPage() const { return header_.sectorSize() / kEntrySize; }

    // STG_E_DOCFILECORRUPT for numbers past the end. An entry is valid until the next change.
    [[nodiscard]] HRESULT read(EntryId id, Entry& entry);
    [[nodiscard]] HRESULT edit(EntryId id, Entry& entry);
    [[nodiscard]] HRESULT count(std::uint64_t& entries);
    // A number that is not in use; fill it before anything else is asked.
    [[nodiscard]] HRESULT allocate(EntryId& id);
    [[nodiscard]] HRESULT release(EntryId id);

    // The element of that name, or kNoEntry. Trees of other writers may be out of order: they are searched
    // whole before a name counts as missing.
    [[nodiscard]] HRESULT find(EntryId storage, std::u16string_view name, EntryId& id);
    // All elements in the tree's order; what is no element, or belongs to another storage, is left out.
    [[nodiscard]] HRESULT list(EntryId storage, std::vector<EntryId>& ids);
    // STG_E_FILEALREADYEXISTS when the name is taken.
    [[nodiscard]] HRESULT insert(EntryId storage, EntryId id);
    [[nodiscard]] HRESULT remove(EntryId storage, EntryId id);
    // Whether a tree has all that the format asks of it: order, colours, balance.
    [[nodiscard]] HRESULT isValidTree(EntryId storage, bool& valid);
    [[nodiscard]] HRESULT rebuild(EntryId storage);
    // STG_E_DOCFILECORRUPT when two have one name: only one of them could ever be found.
    [[nodiscard]] HRESULT sortByName(std::vector<EntryId>& ids);

private:
    struct Step {
        EntryId id;
        bool right; // where the path goes on
    };
    using Path = std::vector<Step>;

    [[nodiscard]] HRESULT isFree(EntryId id, bool& free);
    [[nodiscard]] HRESULT collectFree(std::uint64_t page);
    // Each entry belongs to the storage that it was first met in: a directory that runs in circles is cut
    // there, and no walk is longer than the directory.
    bool claim(EntryId storage, EntryId id);
    [[nodiscard]] HRESULT search(EntryId storage, std::u16string_view name, EntryId& id);
    [[nodiscard]] HRESULT descend(EntryId storage, std::u16string_view name, Path& path, EntryId& id);
    [[nodiscard]] HRESULT child(EntryId id, bool right, EntryId& child);
    [[nodiscard]] HRESULT setChild(EntryId id, bool right, EntryId child);
    [[nodiscard]] HRESULT isRed(EntryId id, bool& red);
    [[nodiscard]] HRESULT setColor(EntryId id, Color color);
    [[nodiscard]] HRESULT setTop(EntryId storage, EntryId id);
    [[nodiscard]] HRESULT setBelow(EntryId storage, const Path& path, size_t depth, EntryId id);
    [[nodiscard]] HRESULT rotate(EntryId storage, const Path& path, size_t depth, EntryId id, bool right);
    [[nodiscard]] HRESULT fixInserted(EntryId storage, Path& path, EntryId id);
    [[nodiscard]] HRESULT fixRemoved(EntryId storage, Path& path);
    [[nodiscard]] HRESULT unlink(EntryId storage, Path& path, EntryId id, EntryId& below, bool& wasBlack);
    [[nodiscard]] HRESULT measure(EntryId storage, EntryId id, size_t depth, int& blackHeight, bool& valid);
    [[nodiscard]] HRESULT build(const std::vector<EntryId>& ids, size_t from, size_t to, int blackLevels,
                                EntryId& top);

    const Header& header_;
    PagedChain pages_;
    std::vector<EntryId> owners_; // by element; kNoEntry where not known
    std::vector<EntryId> free_;
    std::uint64_t unsearched_ = ~std::uint64_t{0}; // pages before the end that was looked at for free entries
    std::uint64_t cursor_ = 0;
    EntryId last_ = kNoEntry; // of measure
};

} // namespace qv::compound
