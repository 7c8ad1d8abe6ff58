#include "qvlibs/classify/SupportCache.h"

#include "qvlibs/framework/Archive.h"
#include "qvlibs/platform/UserFolders.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/timecode/DvMetadata.h"
#include "qvlibs/util/AtomicFile.h"

#include <cstring>
#include <tuple>

#include <unistd.h>

namespace qv {
namespace {

constexpr LONG kVersion = 3;
constexpr DWORD kLargestElement = 1 << 16; // texts and path are far shorter

// FNV-1a: an element whose bytes do not add up is not trusted.
class Checksum {
public:
    void add(const void* bytes, size_t size) {
        const auto* at = static_cast<const BYTE*>(bytes);
        for (size_t i = 0; i < size; ++i) value_ = (value_ ^ at[i]) * 0x100000001B3u;
    }
    DWORD low() const { return static_cast<DWORD>(value_); }
    DWORD high() const { return static_cast<DWORD>(value_ >> 32); }

private:
    std::uint64_t value_ = 0xCBF29CE484222325u;
};

void storeElement(CArchive& archive, const SupportElement& element) {
    const QVFILESTATUS& identity = element.identity;
    archive << identity.creationTime << identity.lastWriteTime << identity.lastAccessTime << identity.sizeLow
            << identity.attributes << identity.fullPath << identity.sizeHigh << element.longText
            << element.shortText << element.result;
    archive.Write(&element.data, sizeof element.data);
    archive << element.attributes << element.fourcc << element.status;
}

void loadElement(CArchive& archive, SupportElement& element) {
    QVFILESTATUS& identity = element.identity;
    archive >> identity.creationTime >> identity.lastWriteTime >> identity.lastAccessTime >>
        identity.sizeLow >> identity.attributes >> identity.fullPath >> identity.sizeHigh >>
        element.longText >> element.shortText >> element.result;
    if (archive.Read(&element.data, sizeof element.data) != sizeof element.data) {
        throw CArchiveException(CArchiveException::endOfFile, {});
    }
    archive >> element.attributes >> element.fourcc >> element.status;
}

// An element travels as its size, its checksum (which covers the name of its check too) and its bytes.
Checksum checksumOf(const std::string& check, const std::vector<BYTE>& bytes) {
    Checksum sum;
    sum.add(check.data(), check.size());
    sum.add(bytes.data(), bytes.size());
    return sum;
}

// An element that reading would refuse would end the reading of all behind it.
bool isStorable(const SupportElement& element) {
    constexpr DWORD kFixedParts = 256;
    const auto texts = element.identity.fullPath.str().size() + element.longText.str().size() +
                       element.shortText.str().size();
    return texts <= kLargestElement - kFixedParts;
}

void writeElement(CArchive& archive, const std::string& check, const SupportElement& element) {
    CMemFile bytes;
    CArchive inner(&bytes, CArchive::store);
    storeElement(inner, element);
    inner.Close();
    const Checksum sum = checksumOf(check, bytes.Bytes());
    archive << static_cast<DWORD>(bytes.Bytes().size()) << sum.low() << sum.high();
    archive.Write(bytes.Bytes().data(), static_cast<unsigned>(bytes.Bytes().size()));
}

bool readElement(CArchive& archive, const std::string& check, SupportElement& element) {
    DWORD size = 0, low = 0, high = 0;
    archive >> size >> low >> high;
    if (size > kLargestElement) return false;
    std::vector<BYTE> bytes(size);
    if (archive.Read(bytes.data(), size) != size) return false;
    const Checksum sum = checksumOf(check, bytes);
    if (sum.low() != low || sum.high() != high) return false;
    CMemFile memory(bytes.data(), bytes.size());
    CArchive inner(&memory, CArchive::load, static_cast<int>(size));
    loadElement(inner, element);
    return true;
}

} // namespace

bool IdentityOrder::operator()(const QVFILESTATUS& a, const QVFILESTATUS& b) const {
    const int paths = a.fullPath.Compare(b.fullPath);
    if (paths != 0) return paths < 0;
    return std::tie(a.lastWriteTime, a.sizeHigh, a.sizeLow) <
           std::tie(b.lastWriteTime, b.sizeHigh, b.sizeLow);
}

SupportCache::SupportCache() = default;
SupportCache::~SupportCache() = default;

std::map<std::string, SupportEntry>& SupportCache::entries() {
    if (file_) {
        changed_ = !readEntries() || changed_;
        file_.reset();
    }
    return entries_;
}

const SupportElement* SupportCache::find(const std::string& check, const QVFILESTATUS& identity) {
    auto& entry = entries()[check];
    const auto found = entry.find(identity);
    return found == entry.end() ? nullptr : &found->second;
}

const SupportElement& SupportCache::insert(const std::string& check, SupportElement element) {
    const QVFILESTATUS identity = element.identity;
    const auto [place, isNew] = entries()[check].try_emplace(identity, std::move(element));
    changed_ = changed_ || isNew;
    return place->second;
}

void SupportCache::replaceTexts(const std::string& check, const QVFILESTATUS& identity, CString longText,
                                CString shortText) {
    auto& entry = entries()[check];
    const auto found = entry.find(identity);
    if (found == entry.end()) return;
    found->second.longText = std::move(longText);
    found->second.shortText = std::move(shortText);
    changed_ = true;
}

void SupportCache::clear() {
    file_.reset();
    entries_.clear();
    changed_ = true;
}

size_t SupportCache::size() {
    size_t count = 0;
    for (const auto& [check, entry] : entries()) count += entry.size();
    return count;
}

void SupportCache::open(const std::string& path) {
    auto file = std::make_unique<CFile>();
    if (!file->Open(path.c_str(), CFile::modeRead | CFile::shareDenyNone)) return;
    try {
        CArchive archive(file.get(), CArchive::load, 128);
        LONG system = -1, version = 0;
        archive >> system >> version;
        archive.Close();
        if (system == QVIsPal() && version == kVersion) file_ = std::move(file);
    } catch (const std::exception&) {
        return; // shorter than a header: no cache
    }
}

// False when something in the file was damaged.
bool SupportCache::readEntries() {
    try {
        CArchive archive(file_.get(), CArchive::load, 1 << 18);
        DWORD checks = 0;
        archive >> checks;
        for (; checks > 0; --checks) {
            CString check;
            DWORD elements = 0;
            archive >> check >> elements;
            for (; elements > 0; --elements) {
                SupportElement element;
                if (!readElement(archive, check.str(), element)) return false;
                SupportEntry& entry = entries_[check.str()];
                const QVFILESTATUS identity = element.identity;
                entry.try_emplace(entry.end(), identity, std::move(element)); // they come sorted
            }
        }
        return true;
    } catch (const std::exception&) {
        return false; // what was read before the damage stays
    }
}

void SupportCache::save(const std::string& path) {
    CMemFile memory;
    try {
        CArchive archive(&memory, CArchive::store, 1 << 18);
        archive << LONG{QVIsPal()} << kVersion << static_cast<DWORD>(entries().size());
        for (const auto& [check, entry] : entries_) {
            std::vector<const SupportElement*> stored;
            for (const auto& [identity, element] : entry) {
                if (isStorable(element)) stored.push_back(&element);
            }
            archive << CString(check) << static_cast<DWORD>(stored.size());
            for (const auto* element : stored) writeElement(archive, check, *element);
        }
        archive.Close();
    } catch (const std::exception&) {
        return;
    }
    AtomicFile file(path);
    if (file.write(memory.Bytes().data(), memory.Bytes().size()) && file.commit()) changed_ = false;
}

namespace {
constinit SupportCache* processCache = nullptr;
}

SupportCache& supportCache() {
    if (!processCache) processCache = new SupportCache;
    return *processCache;
}

std::string supportCachePath() {
    const CString usual = QVGetProfileString("Common", "ImageTempDefault", imageTempFolder().c_str());
    std::string folder = QVGetProfileString("Common", "ImageTemp", usual).str();
    if (!folder.ends_with('/')) folder += '/';
    return folder + "QVLibs510.archive";
}

bool isMainApplication() {
    CString wanted = QVGetProfileString("Common", "MainApplication", "");
    if (wanted.IsEmpty()) wanted = "GWMain.exe";
    char link[4096];
    const ssize_t size = ::readlink("/proc/self/exe", link, sizeof link);
    CString program(link, static_cast<int>(size > 0 ? size : 0));
    program = program.Mid(program.ReverseFind('/') + 1);
    program.MakeLower();
    wanted.MakeLower();
    return program.Find(wanted) >= 0;
}

void openSupportCache() { supportCache().open(supportCachePath()); }

void closeSupportCache() {
    if (!processCache) return;
    if (processCache->isChanged() && isMainApplication()) processCache->save(supportCachePath());
    delete processCache;
    processCache = nullptr;
}

} // namespace qv
