#include "qvlibs/platform/RegistryPages.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <cstring>

namespace qv::registry {

namespace {

constexpr int kSummedBytes = kPageBytes - kPageSumBytes;
// In the first page: its size, high byte first, and how many bytes of each page SQLite leaves alone.
constexpr int kHeaderBytes = 100, kSizeAt = 16, kReservedAt = 20;

// An open file: SQLite allocates the space of the real one behind it.
struct CheckedFile {
    sqlite3_file base;
    sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

sqlite3_file* realOf(sqlite3_file* file) { return reinterpret_cast<CheckedFile*>(file)->real(); }

bool isWholePage(int size, sqlite3_int64 offset) { return size == kPageBytes && offset % kPageBytes == 0; }

XXH64_hash_t sumOf(const void* page, sqlite3_int64 offset) {
    return XXH64(page, kSummedBytes, static_cast<XXH64_hash_t>(offset / kPageBytes + 1));
}

void stamp(unsigned char* page, sqlite3_int64 offset) {
    XXH64_hash_t sum = sumOf(page, offset);
    for (int i = 0; i < kPageSumBytes; ++i, sum >>= 8)
        page[kSummedBytes + i] = static_cast<unsigned char>(sum);
}

bool isStamped(const unsigned char* page, sqlite3_int64 offset) {
    XXH64_hash_t sum = 0;
    for (int i = kPageSumBytes - 1; i >= 0; --i) sum = sum << 8 | page[kSummedBytes + i];
    // SQLite leaves pages that it has no use for yet as the file system makes them.
    return sum == sumOf(page, offset) ||
           std::all_of(page, page + kPageBytes, [](unsigned char byte) { return byte == 0; });
}

bool hasOurSizes(const unsigned char* header) {
    return header[kSizeAt] == kPageBytes >> 8 && header[kSizeAt + 1] == (kPageBytes & 0xFF) &&
           header[kReservedAt] == kPageSumBytes;
}

int readChecked(sqlite3_file* file, void* to, int size, sqlite3_int64 offset) {
    sqlite3_file* const real = realOf(file);
    const int code = real->pMethods->xRead(real, to, size, offset);
    // What a short file lacks reads as zeros, which SQLite takes for good.
    if (code != SQLITE_OK && code != SQLITE_IOERR_SHORT_READ) return code;
    const auto* bytes = static_cast<const unsigned char*>(to);
    if (isWholePage(size, offset) && !isStamped(bytes, offset)) return SQLITE_IOERR_DATA;
    if (code == SQLITE_OK && offset == 0 && size >= kHeaderBytes && !hasOurSizes(bytes))
        return SQLITE_IOERR_DATA;
    return code;
}

int writeStamped(sqlite3_file* file, const void* from, int size, sqlite3_int64 offset) {
    sqlite3_file* const real = realOf(file);
    if (!isWholePage(size, offset)) return real->pMethods->xWrite(real, from, size, offset);
    unsigned char page[kPageBytes];
    std::memcpy(page, from, kSummedBytes);
    stamp(page, offset);
    return real->pMethods->xWrite(real, page, size, offset);
}

// Everything else is the real file's affair.
template <auto Method, class... Arguments>
auto pass(sqlite3_file* file, Arguments... arguments) {
    sqlite3_file* const real = realOf(file);
    return (real->pMethods->*Method)(real, arguments...);
}

// Version 2: with the log's shared memory, without reading through a mapping, which nobody could check.
constexpr sqlite3_io_methods kMethods = {
    .iVersion = 2,
    .xClose = pass<&sqlite3_io_methods::xClose>,
    .xRead = readChecked,
    .xWrite = writeStamped,
    .xTruncate = pass<&sqlite3_io_methods::xTruncate>,
    .xSync = pass<&sqlite3_io_methods::xSync>,
    .xFileSize = pass<&sqlite3_io_methods::xFileSize>,
    .xLock = pass<&sqlite3_io_methods::xLock>,
    .xUnlock = pass<&sqlite3_io_methods::xUnlock>,
    .xCheckReservedLock = pass<&sqlite3_io_methods::xCheckReservedLock>,
    .xFileControl = pass<&sqlite3_io_methods::xFileControl>,
    .xSectorSize = pass<&sqlite3_io_methods::xSectorSize>,
    .xDeviceCharacteristics = pass<&sqlite3_io_methods::xDeviceCharacteristics>,
    .xShmMap = pass<&sqlite3_io_methods::xShmMap>,
    .xShmLock = pass<&sqlite3_io_methods::xShmLock>,
    .xShmBarrier = pass<&sqlite3_io_methods::xShmBarrier>,
    .xShmUnmap = pass<&sqlite3_io_methods::xShmUnmap>,
    .xFetch = nullptr,
    .xUnfetch = nullptr,
};

int openChecked(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    sqlite3_vfs* const system = sqlite3_vfs_find(nullptr);
    if (!(flags & SQLITE_OPEN_MAIN_DB)) return system->xOpen(system, name, file, flags, outFlags);
    file->pMethods = nullptr;
    const int code = system->xOpen(system, name, realOf(file), flags, outFlags);
    if (code == SQLITE_OK) file->pMethods = &kMethods;
    return code;
}

sqlite3_vfs& layer() {
    static sqlite3_vfs made = [] {
        sqlite3_initialize();
        sqlite3_vfs vfs = *sqlite3_vfs_find(nullptr);
        vfs.szOsFile += static_cast<int>(sizeof(CheckedFile));
        vfs.zName = "qvlibs-checked-pages";
        vfs.pNext = nullptr;
        vfs.xOpen = openChecked;
        return vfs;
    }();
    return made;
}

} // namespace

const char* checkedPages() {
    sqlite3_vfs_register(&layer(), 0);
    return layer().zName;
}

void forgetCheckedPages() { sqlite3_vfs_unregister(&layer()); }

void stampPages(std::string& image) {
    for (size_t at = 0; at + kPageBytes <= image.size(); at += kPageBytes)
        stamp(reinterpret_cast<unsigned char*>(image.data() + at), static_cast<sqlite3_int64>(at));
}

} // namespace qv::registry
