// The bytes of a compound file: sector numbers, the header, directory entries.
#pragma once

#include "qvlibs/platform/Storage.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

// Leaves the function with the status of a step that failed.
#define QV_STG_TRY(step)                                                                                     \
    do {                                                                                                     \
        if (const HRESULT status_ = (step); status_ < 0) return status_;                                     \
    } while (0)

namespace qv::compound {

using Sector = std::uint32_t;  // numbered behind the header
using EntryId = std::uint32_t; // place in the directory

constexpr Sector kMaxSector = 0xFFFFFFFA; // the highest number of a real sector
constexpr Sector kDifatSector = 0xFFFFFFFC;
constexpr Sector kFatSector = 0xFFFFFFFD;
constexpr Sector kEndOfChain = 0xFFFFFFFE;
constexpr Sector kFree = 0xFFFFFFFF;
constexpr EntryId kNoEntry = 0xFFFFFFFF;
constexpr EntryId kRootEntry = 0;

constexpr size_t kHeaderSize = 512;
constexpr size_t kHeaderFatSectors = 109;
constexpr size_t kEntrySize = 128;
constexpr std::uint32_t kMiniSize = 64;
constexpr std::uint32_t kMiniCutoff = 4096; // smaller streams live in the mini stream
constexpr size_t kMaxNameUnits = 31;

// Byte ranges just below 2 GiB are left to locks: a sector there is never used.
constexpr std::uint64_t kLockRange = 0x7FFFFF00;

constexpr bool isReal(Sector sector) { return sector <= kMaxSector; }

inline std::uint16_t get16(const std::uint8_t* at) { return static_cast<std::uint16_t>(at[0] | at[1] << 8); }
inline std::uint32_t get32(const std::uint8_t* at) {
    return at[0] | at[1] << 8 | at[2] << 16 | static_cast<std::uint32_t>(at[3]) << 24;
}
inline std::uint64_t get64(const std::uint8_t* at) {
    return get32(at) | static_cast<std::uint64_t>(get32(at + 4)) << 32;
}
inline void put16(std::uint8_t* at, std::uint16_t value) {
    at[0] = static_cast<std::uint8_t>(value);
    at[1] = static_cast<std::uint8_t>(value >> 8);
}
inline void put32(std::uint8_t* at, std::uint32_t value) {
    put16(at, static_cast<std::uint16_t>(value));
    put16(at + 2, static_cast<std::uint16_t>(value >> 16));
}
inline void put64(std::uint8_t* at, std::uint64_t value) {
    put32(at, static_cast<std::uint32_t>(value));
    put32(at + 4, static_cast<std::uint32_t>(value >> 32));
}

struct Header {
    std::uint16_t majorVersion = 3;
    std::uint16_t sectorShift = 9;
    std::uint32_t directorySectors = 0; // counted in files with large sectors only
    std::uint32_t fatSectors = 0;
    Sector firstDirectory = kEndOfChain;
    std::uint32_t changes = 0; // how often a writer of this kind changed the file; 0 from other writers
    std::uint32_t miniCutoff = kMiniCutoff; // not heeded: no reader takes another limit
    Sector firstMiniFat = kEndOfChain;
    std::uint32_t miniFatSectors = 0;
    Sector firstDifat = kEndOfChain;
    std::uint32_t difatSectors = 0;
    std::array<Sector, kHeaderFatSectors> fat{};

    std::uint32_t sectorSize() const { return 1u << sectorShift; }
    bool isWide() const { return sectorShift == 12; } // sizes have 64 bits
    std::uint64_t offsetOf(Sector sector) const {
        return (static_cast<std::uint64_t>(sector) + 1) << sectorShift;
    }
    bool isLockSector(Sector sector) const {
        return offsetOf(sector) >> sectorShift == kLockRange >> sectorShift;
    }
    // Where a search among so many begins: not always at the same place, so that sessions of one change each find
    // what others left.
    std::uint64_t searchStart(std::uint64_t count) const {
        return count > 0 ? changes * 2654435761u % count : 0;
    }

    // STG_E_INVALIDHEADER for anything that is no compound file, STG_E_OLDFORMAT for its ancestor,
    // STG_E_DOCFILECORRUPT for sizes that the format does not have.
    [[nodiscard]] HRESULT parse(const std::uint8_t* bytes, size_t size);
    std::vector<std::uint8_t> bytes() const; // kHeaderSize
};

enum EntryType : std::uint8_t { kUnused = 0, kStorage = 1, kStream = 2, kRoot = 5 };
enum Color : std::uint8_t { kRed = 0, kBlack = 1 };

// A directory entry where it lies, 128 bytes. Names and sizes in it are not to be trusted.
class Entry {
public:
    Entry() = default;
    explicit Entry(std::uint8_t* bytes) : bytes_(bytes) {}

    std::u16string name() const;
    EntryType type() const { return static_cast<EntryType>(bytes_[66]); }
    bool isElement() const { return type() == kStorage || type() == kStream; }
    Color color() const { return static_cast<Color>(bytes_[67]); }
    EntryId left() const { return get32(bytes_ + 68); }
    EntryId right() const { return get32(bytes_ + 72); }
    EntryId child() const { return get32(bytes_ + 76); }
    CLSID classId() const;
    std::uint32_t stateBits() const { return get32(bytes_ + 96); }
    std::uint64_t created() const { return get64(bytes_ + 100); }
    std::uint64_t modified() const { return get64(bytes_ + 108); }
    Sector start() const { return get32(bytes_ + 116); }
    // Files with small sectors keep 32 bits; some writers leave rubbish above them.
    std::uint64_t size(bool wide) const { return wide ? get64(bytes_ + 120) : get32(bytes_ + 120); }

    void clear(EntryType type, const std::u16string& name); // everything else empty
    void setName(const std::u16string& name);
    void setColor(Color color) { bytes_[67] = color; }
    void setLeft(EntryId id) { put32(bytes_ + 68, id); }
    void setRight(EntryId id) { put32(bytes_ + 72, id); }
    void setChild(EntryId id) { put32(bytes_ + 76, id); }
    void setClassId(const CLSID& id);
    void setStateBits(std::uint32_t bits) { put32(bytes_ + 96, bits); }
    void setCreated(std::uint64_t time) { put64(bytes_ + 100, time); }
    void setModified(std::uint64_t time) { put64(bytes_ + 108, time); }
    void setStart(Sector sector) { put32(bytes_ + 116, sector); }
    void setSize(std::uint64_t size) { put64(bytes_ + 120, size); }

private:
    std::uint8_t* bytes_ = nullptr;
};

} // namespace qv::compound
