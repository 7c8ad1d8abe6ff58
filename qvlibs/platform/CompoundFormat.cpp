#include "qvlibs/platform/CompoundFormat.h"

#include "qvlibs/util/Bytes.h"

#include <algorithm>

namespace qv::compound {
namespace {

constexpr std::uint8_t kSignature[8] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
constexpr std::uint8_t kOldSignature[8] = {0x0E, 0x11, 0xFC, 0x0D, 0xD0, 0xCF, 0x11, 0x0E};
constexpr std::uint16_t kMinorVersion = 0x3E;
constexpr std::uint16_t kByteOrder = 0xFFFE;
constexpr std::uint16_t kMiniShift = 6;

} // namespace

HRESULT Header::parse(const std::uint8_t* bytes, size_t size) {
    if (size >= sizeof kOldSignature && std::equal(kOldSignature, std::end(kOldSignature), bytes))
        return STG_E_OLDFORMAT;
    if (size < sizeof kSignature || !std::equal(kSignature, std::end(kSignature), bytes))
        return STG_E_INVALIDHEADER;
    ByteReader in(bytes, size);
    in.skip(26); // signature, class, minor version
    majorVersion = in.u16();
    in.skip(2); // byte order
    sectorShift = in.u16();
    const std::uint16_t miniShift = in.u16();
    in.skip(6);
    directorySectors = in.u32();
    fatSectors = in.u32();
    firstDirectory = in.u32();
    changes = in.u32();
    miniCutoff = in.u32();
    firstMiniFat = in.u32();
    miniFatSectors = in.u32();
    firstDifat = in.u32();
    difatSectors = in.u32();
    for (Sector& sector : fat) sector = in.u32();
    const bool known = (sectorShift == 9 || sectorShift == 12) && miniShift == kMiniShift;
    return in.failed() || !known ? STG_E_DOCFILECORRUPT : S_OK;
}

std::vector<std::uint8_t> Header::bytes() const {
    ByteWriter out;
    out.bytes(kSignature, sizeof kSignature);
    out.zeros(16);
    out.u16(kMinorVersion);
    out.u16(majorVersion);
    out.u16(kByteOrder);
    out.u16(sectorShift);
    out.u16(kMiniShift);
    out.zeros(6);
    for (const std::uint32_t word : {directorySectors, fatSectors, firstDirectory, changes, miniCutoff,
                                     firstMiniFat, miniFatSectors, firstDifat, difatSectors})
        out.u32(word);
    for (const Sector sector : fat) out.u32(sector);
    return out.take();
}

std::u16string Entry::name() const {
    // Up to its closing zero, which every name has. The length beside it is wrong in some files.
    std::u16string text;
    for (size_t i = 0; i <= kMaxNameUnits; ++i) {
        const char16_t unit = get16(bytes_ + 2 * i);
        if (!unit) break;
        text.push_back(unit);
    }
    return text;
}

CLSID Entry::classId() const {
    CLSID id{get32(bytes_ + 80), get16(bytes_ + 84), get16(bytes_ + 86), {}};
    std::copy_n(bytes_ + 88, sizeof id.Data4, id.Data4);
    return id;
}

void Entry::setClassId(const CLSID& id) {
    put32(bytes_ + 80, id.Data1);
    put16(bytes_ + 84, id.Data2);
    put16(bytes_ + 86, id.Data3);
    std::copy_n(id.Data4, sizeof id.Data4, bytes_ + 88);
}

void Entry::setName(const std::u16string& name) {
    std::fill_n(bytes_, 64, std::uint8_t{0});
    const size_t units = std::min(name.size(), kMaxNameUnits);
    for (size_t i = 0; i < units; ++i) put16(bytes_ + 2 * i, name[i]);
    put16(bytes_ + 64, static_cast<std::uint16_t>(2 * (units + 1)));
}

void Entry::clear(EntryType type, const std::u16string& name) {
    std::fill_n(bytes_, kEntrySize, std::uint8_t{0});
    setLeft(kNoEntry);
    setRight(kNoEntry);
    setChild(kNoEntry);
    bytes_[66] = type;
    if (type == kUnused) return;
    setName(name);
    if (type != kStorage) setStart(kEndOfChain);
}

} // namespace qv::compound
