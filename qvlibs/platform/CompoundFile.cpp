#include "qvlibs/platform/CompoundFile.h"

#include "qvlibs/platform/CompoundCheck.h"
#include "qvlibs/platform/CompoundShare.h"

#include <algorithm>

namespace qv::compound {

std::vector<std::uint8_t> emptyFile(std::uint32_t sectorSize) {
    Header header;
    header.majorVersion = sectorSize == 512 ? 3 : 4;
    header.sectorShift = sectorSize == 512 ? 9 : 12;
    header.directorySectors = sectorSize == 512 ? 0 : 1;
    header.fatSectors = 1;
    header.firstDirectory = 1;
    header.changes = 1;
    header.fat.fill(kFree);
    header.fat[0] = 0;
    std::vector<std::uint8_t> bytes = header.bytes();
    bytes.resize(3ul * sectorSize);
    std::uint8_t* fat = bytes.data() + sectorSize;
    std::fill_n(fat, sectorSize, std::uint8_t{0xFF});
    put32(fat, kFatSector);
    put32(fat + 4, kEndOfChain);
    for (std::uint8_t* at = fat + sectorSize; at < bytes.data() + bytes.size(); at += kEntrySize)
        Entry(at).clear(kUnused, {});
    Entry root(fat + sectorSize);
    root.clear(kRoot, u"Root Entry");
    root.setColor(kBlack);
    return bytes;
}

std::uint64_t fileTimeOf(const timespec& time) {
    constexpr std::uint64_t kUnixEpoch = 116444736000000000u;
    return kUnixEpoch + static_cast<std::uint64_t>(time.tv_sec) * 10000000 +
           static_cast<std::uint64_t>(time.tv_nsec) / 100;
}

std::uint64_t fileTimeNow() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return fileTimeOf(now);
}

HRESULT File::readHeader() {
    std::uint8_t bytes[kHeaderSize];
    size_t got = 0;
    const CommitLock lock(shared_ ? disk_->descriptor() : -1, CommitLock::Read);
    QV_STG_TRY(disk_->read(0, bytes, sizeof bytes, got));
    return header_.parse(bytes, got);
}

HRESULT File::open() {
    QV_STG_TRY(readHeader());
    disk_->updateLength();
    makeParts();
    Entry root;
    QV_STG_TRY(directory_->read(kRootEntry, root));
    return root.type() == kRoot ? S_OK : STG_E_DOCFILECORRUPT;
}

void File::makeParts() {
    mini_.reset();
    directory_.reset();
    fat_ = std::make_unique<Fat>(*disk_, header_);
    directory_ = std::make_unique<Directory>(*disk_, header_, *fat_);
    mini_ = std::make_unique<MiniStream>(*disk_, header_, *fat_, *directory_);
    publishedLength_ = disk_->length();
    changed_ = false;
    spoiled_ = S_OK;
    if (thrifty_) fat_->thrifty();
}

HRESULT File::prepareChange() {
    if (spoiled_ < 0) return spoiled_;
    if (changed_) return S_OK;
    // Whoever opened the file before the last change may still look at sectors that are free by now.
    if (shared_ && othersPresent(disk_->descriptor())) {
        fat_->appendOnly();
        QV_STG_TRY(mini_->appendOnly());
    }
    if (header_.changes == 0) QV_STG_TRY(adoptForeign());
    changed_ = true;
    return S_OK;
}

// Writers that keep to the format's limits leave nothing to repair but trees: some write mere lists.
HRESULT File::adoptForeign() {
    const CheckResult result = checkFile(*this);
    if (!result.problems.empty()) return STG_E_DOCFILECORRUPT;
    changed_ = true;
    for (const EntryId storage : result.unsortedTrees) QV_STG_TRY(directory_->rebuild(storage));
    return S_OK;
}

HRESULT File::publish(bool waitForDisk) {
    if (!changed_) return waitForDisk ? disk_->waitForDisk() : S_OK;
    Header next = header_;
    HRESULT status = spoiled_;
    if (status >= 0) status = writeState(next, waitForDisk);
    if (status < 0) {
        thrifty_ = thrifty_ || status == STG_E_MEDIUMFULL;
        rollBack();
        return status;
    }
    header_ = next;
    directory_->pages().published();
    mini_->table().published();
    fat_->published();
    publishedLength_ = disk_->length();
    changed_ = false;
    return waitForDisk ? disk_->waitForDisk() : S_OK;
}

HRESULT File::writeState(Header& next, bool waitForDisk) {
    QV_STG_TRY(directory_->pages().place());
    QV_STG_TRY(mini_->table().place());
    QV_STG_TRY(fat_->place(next));
    std::uint64_t directorySectors = 0, miniSectors = 0;
    QV_STG_TRY(directory_->pages().count(directorySectors));
    QV_STG_TRY(mini_->table().count(miniSectors));
    next.firstDirectory = directory_->pages().first();
    next.directorySectors = isWide() ? static_cast<std::uint32_t>(directorySectors) : 0;
    next.firstMiniFat = mini_->table().first();
    next.miniFatSectors = static_cast<std::uint32_t>(miniSectors);
    next.changes = header_.changes == 0xFFFFFFFF ? 1 : header_.changes + 1;
    PageWrites writes;
    QV_STG_TRY(directory_->pages().collect(writes));
    QV_STG_TRY(mini_->table().collect(writes));
    fat_->collect(writes);
    QV_STG_TRY(writes.write(*disk_, header_));
    // Readers expect the last sector to be there whole.
    const std::uint64_t whole = header_.offsetOf(static_cast<Sector>(fat_->end()));
    if (disk_->length() < whole) QV_STG_TRY(disk_->setLength(whole));
    return switchTo(next, waitForDisk);
}

// The moment of change: one write within one page of memory, which no kill cuts in two.
HRESULT File::switchTo(const Header& next, bool waitForDisk) {
    const CommitLock lock(shared_ ? disk_->descriptor() : -1, CommitLock::Write);
    if (shared_) {
        std::uint8_t bytes[kHeaderSize];
        size_t got = 0;
        QV_STG_TRY(disk_->read(0, bytes, sizeof bytes, got));
        const auto expected = header_.bytes();
        Header current;
        if (current.parse(bytes, got) < 0 || current.bytes() != expected) return STG_E_NOTCURRENT;
    }
    QV_STG_TRY(disk_->settle(publishedLength_));
    if (waitForDisk) QV_STG_TRY(disk_->waitForDisk());
    const auto bytes = next.bytes();
    return disk_->writeNow(0, bytes.data(), bytes.size());
}

void File::rollBack() {
    if (changed_) disk_->takeBack(publishedLength_);
    makeParts();
}

HRESULT File::releaseContent(EntryId stream) {
    Entry entry;
    QV_STG_TRY(directory_->read(stream, entry));
    const std::uint64_t size = entry.size(isWide());
    if (size == 0) return S_OK;
    if (size < kMiniCutoff) {
        QV_STG_TRY(mini_->release(entry.start()));
    } else {
        Chain chain(*fat_, entry.start());
        QV_STG_TRY(chain.cut(0));
    }
    QV_STG_TRY(directory_->edit(stream, entry));
    entry.setStart(kEndOfChain);
    entry.setSize(0);
    return S_OK;
}

} // namespace qv::compound
