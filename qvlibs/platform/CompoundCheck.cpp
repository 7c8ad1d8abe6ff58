#include "qvlibs/platform/CompoundCheck.h"

#include "qvlibs/platform/CompoundNames.h"

#include <algorithm>

namespace qv::compound {
namespace {

constexpr size_t kMostProblems = 100;

class Checker {
public:
    explicit Checker(File& file) : file_(file) {
        used_.resize(static_cast<size_t>(file.fat().fileSectors()));
    }

    CheckResult run() {
        checkTables();
        if (file_.header().miniCutoff != kMiniCutoff) problem("the limit of small streams is not 4096 bytes");
        checkStorages();
        countUnused();
        return std::move(result_);
    }

private:
    void problem(const std::string& text) {
        if (result_.problems.size() < kMostProblems) result_.problems.push_back(text);
    }
    void remark(const std::string& text) {
        if (result_.remarks.size() < kMostProblems) result_.remarks.push_back(text);
    }

    // Marks a sector; false when it is not there or has two uses.
    bool take(std::vector<bool>& used, Sector sector, const std::string& what) {
        if (sector >= used.size()) {
            problem(what + ": leads outside the file");
            return false;
        }
        if (used[sector]) {
            problem(what + ": shares space with something else, or runs in a circle");
            return false;
        }
        used[sector] = true;
        return true;
    }

    void takeTableSectors(const std::vector<Sector>& sectors, Sector mark, const std::string& what) {
        for (const Sector sector : sectors) {
            Sector entry = kFree;
            if (!take(used_, sector, what)) return;
            if (file_.fat().next(sector, entry) < 0 || entry != mark)
                problem(what + ": its sector is not marked");
        }
    }

    // How many links a chain has, each of them marked.
    template <class Table>
    std::uint64_t takeChain(std::vector<bool>& used, Table& table, Sector first, const std::string& what) {
        std::uint64_t count = 0;
        for (Sector at = first; at != kEndOfChain; ++count) {
            if (!take(used, at, what)) return count;
            if (table.next(at, at) < 0) {
                problem(what + ": its table ends before it");
                return count;
            }
        }
        return count;
    }
    std::uint64_t takeSectors(Sector first, const std::string& what) {
        return takeChain(used_, file_.fat(), first, what);
    }

    void checkTables() {
        std::vector<Sector> fat, difat;
        if (file_.fat().tableSectors(fat, difat) < 0) problem("allocation table: its index is broken");
        takeTableSectors(fat, kFatSector, "allocation table");
        takeTableSectors(difat, kDifatSector, "index of the allocation table");
        const Header& header = file_.header();
        if (header.fatSectors != fat.size()) remark("allocation table: its size in the header is wrong");
        if (header.difatSectors != difat.size())
            remark("index of the allocation table: its size in the header is wrong");
        const std::uint64_t directory = takeSectors(header.firstDirectory, "directory");
        if (file_.isWide() && header.directorySectors != directory)
            remark("directory: its size in the header is wrong");
        const std::uint64_t mini = takeSectors(header.firstMiniFat, "table of small streams");
        if (header.miniFatSectors != mini) remark("table of small streams: its size in the header is wrong");
        Entry root;
        if (file_.directory().read(kRootEntry, root) < 0) return problem("directory: it has no root");
        const std::uint64_t bytes = root.size(file_.isWide());
        const std::uint64_t sectors = bytes ? takeSectors(root.start(), "space of small streams") : 0;
        if (sectors * header.sectorSize() < bytes) problem("space of small streams: it is cut short");
        const std::uint64_t there = std::min(bytes, sectors * header.sectorSize());
        usedPieces_.resize(
            static_cast<size_t>((there + kMiniSize - 1) / kMiniSize)); // a last one may be cut short
    }

    void checkStorages() {
        std::vector<std::pair<EntryId, std::string>> storages{{kRootEntry, ""}};
        while (!storages.empty()) {
            const auto [storage, path] = storages.back();
            storages.pop_back();
            bool valid = false;
            if (file_.directory().isValidTree(storage, valid) < 0) valid = false;
            if (!valid) result_.unsortedTrees.push_back(storage);
            std::vector<EntryId> ids;
            if (file_.directory().list(storage, ids) < 0) {
                problem("storage \"" + path + "\": its elements cannot be listed");
                continue;
            }
            if (!valid && file_.directory().sortByName(ids) < 0)
                problem("storage \"" + path + "\": two elements have one name");
            for (const EntryId id : ids) {
                Entry entry;
                if (file_.directory().read(id, entry) < 0) continue;
                ++result_.elements;
                const std::string name = path + "/" + toUtf8(entry.name());
                if (entry.name().empty() || entry.name().size() > kMaxNameUnits)
                    problem("\"" + name + "\": the name is empty or too long");
                if (entry.type() == kStorage)
                    storages.emplace_back(id, name);
                else
                    checkStream(entry, "stream \"" + name + "\"");
            }
        }
    }

    void checkStream(const Entry& entry, const std::string& what) {
        const std::uint64_t size = entry.size(file_.isWide());
        if (size == 0) return;
        const bool small = size < kMiniCutoff;
        const std::uint64_t unit = small ? kMiniSize : file_.header().sectorSize();
        const std::uint64_t count = small ? takeChain(usedPieces_, file_.miniStream(), entry.start(), what)
                                          : takeSectors(entry.start(), what);
        const std::uint64_t needed = (size + unit - 1) / unit;
        if (count < needed) problem(what + ": it is cut short");
        if (count > needed) remark(what + ": it has more space than its size says");
    }

    void countUnused() {
        for (Sector sector = 0; sector < used_.size(); ++sector) {
            Sector entry = kFree;
            if (used_[sector] || file_.fat().next(sector, entry) < 0 || entry == kFree) continue;
            if (!file_.header().isLockSector(sector)) ++result_.unusedSectors;
        }
    }

    File& file_;
    CheckResult result_;
    std::vector<bool> used_, usedPieces_;
};

} // namespace

CheckResult checkFile(File& file) { return Checker(file).run(); }

} // namespace qv::compound
