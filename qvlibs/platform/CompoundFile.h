// One compound file: its parts, and the step from the published state to the next.
#pragma once

#include "qvlibs/platform/CompoundStream.h"

#include <memory>
#include <vector>

#include <time.h>

namespace qv::compound {

// The bytes of a file without elements, with sectors of 512 or 4096 bytes.
std::vector<std::uint8_t> emptyFile(std::uint32_t sectorSize);

// Times in the steps of directory entries.
std::uint64_t fileTimeOf(const timespec& time);
std::uint64_t fileTimeNow();

class File {
public:
    explicit File(std::unique_ptr<Disk> disk) : disk_(std::move(disk)) {}

    // Others may commit to the file or read it meanwhile.
    void setShared() {
        shared_ = true;
        disk_->defer();
    }
    [[nodiscard]] HRESULT open();

    Disk& disk() { return *disk_; }
    const Header& header() const { return header_; }
    bool isWide() const { return header_.isWide(); }
    Fat& fat() { return *fat_; }
    Directory& directory() { return *directory_; }
    MiniStream& miniStream() { return *mini_; }

    // To be called before anything is changed. A file that another writer made is looked through first, once:
    // STG_E_DOCFILECORRUPT when changing it could harm what is in it.
    [[nodiscard]] HRESULT prepareChange();
    bool isChanged() const { return changed_; }
    // A step of a change failed with this status: the change cannot be published any more.
    void spoil(HRESULT status) { spoiled_ = spoiled_ < 0 ? spoiled_ : status; }
    // What was changed takes effect at once. On failure everything is as it was published before; everything
    // that was read from the parts is void then.
    [[nodiscard]] HRESULT publish(bool waitForDisk);
    void rollBack();

    // Gives back the sectors of a stream and forgets where they were.
    [[nodiscard]] HRESULT releaseContent(EntryId stream);

private:
    [[nodiscard]] HRESULT readHeader();
    [[nodiscard]] HRESULT adoptForeign();
    [[nodiscard]] HRESULT writeState(Header& next, bool waitForDisk);
    [[nodiscard]] HRESULT switchTo(const Header& next, bool waitForDisk);
    void makeParts();

    std::unique_ptr<Disk> disk_;
    Header header_;
    std::unique_ptr<Fat> fat_;
    std::unique_ptr<Directory> directory_;
    std::unique_ptr<MiniStream> mini_;
    std::uint64_t publishedLength_ = 0;
    bool shared_ = false;
    bool changed_ = false;
    bool thrifty_ = false;
    HRESULT spoiled_ = S_OK;
};

} // namespace qv::compound
