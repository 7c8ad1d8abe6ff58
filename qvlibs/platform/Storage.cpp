#include "qvlibs/platform/Storage.h"

#include "qvlibs/platform/CompoundObjects.h"
#include "qvlibs/platform/CompoundShare.h"
#include "qvlibs/util/AtomicFile.h"

#include <cerrno>
#include <filesystem>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>

namespace qv::compound {
namespace {

HRESULT checkRootMode(DWORD mode, bool creates) {
    const DWORD access = mode & 3, share = mode & 0x70;
    const DWORD flags = STGM_TRANSACTED | STGM_NOSCRATCH | STGM_NOSNAPSHOT | STGM_DELETEONRELEASE |
                        (creates ? STGM_CREATE : 0);
    if (access == 3 || share > STGM_SHARE_DENY_NONE || (mode & ~(DWORD{3} | 0x70 | flags)) != 0)
        return STG_E_INVALIDFLAG;
    if (mode & STGM_TRANSACTED) return S_OK;
    // Without a transaction there is one state only, which nobody may see change.
    const bool alone = share == STGM_SHARE_EXCLUSIVE;
    return alone || (access == STGM_READ && share == STGM_SHARE_DENY_WRITE) ? S_OK : STG_E_INVALIDFLAG;
}

HRESULT openRoot(std::unique_ptr<Disk> disk, const char* path, DWORD mode, IStorage** storage) {
    struct stat status {};
    if (::fstat(disk->descriptor(), &status) != 0 || !S_ISREG(status.st_mode)) return STG_E_INVALIDHEADER;
    QV_STG_TRY(lockShare(disk->descriptor(), mode));
    auto opened = std::make_unique<File>(std::move(disk));
    if ((mode & 0x70) != STGM_SHARE_EXCLUSIVE) opened->setShared();
    QV_STG_TRY(opened->open());
    // Absolute: the current folder may be another one when the file is removed at the end.
    std::error_code ignored;
    auto root = std::make_shared<Root>(std::move(opened), std::filesystem::absolute(path, ignored).string(),
                                       mode & ~STGM_CREATE);
    *storage = new StorageObject(std::move(root), nullptr, kRootEntry, mode & ~STGM_CREATE);
    return S_OK;
}

// Whether the file that is there may be replaced: nobody may hold it against us.
HRESULT checkReplaced(const char* path, DWORD mode) {
    std::unique_ptr<Disk> old;
    const HRESULT opened = Disk::open(path, O_RDWR, old);
    if (opened < 0) return opened == STG_E_FILENOTFOUND ? S_OK : opened;
    struct stat status {};
    if (::fstat(old->descriptor(), &status) != 0 || !S_ISREG(status.st_mode)) return STG_E_ACCESSDENIED;
    return lockShare(old->descriptor(), mode);
}

// Makes an empty compound file, which is locked before anybody can see it.
HRESULT makeFile(const char* path, DWORD mode, ULONG sectorSize, std::unique_ptr<Disk>& disk) {
    AtomicFile file(path);
    if (!file.isOpen()) return openFailure(path, file.error());
    QV_STG_TRY(lockShare(file.descriptor(), mode));
    const auto bytes = emptyFile(sectorSize);
    if (!file.write(bytes.data(), bytes.size())) return statusOf(file.error(), STG_E_WRITEFAULT);
    const int descriptor = ::fcntl(file.descriptor(), F_DUPFD_CLOEXEC, 0); // the locks live on with it
    if (descriptor < 0) return statusOf(errno, STG_E_ACCESSDENIED);
    disk = std::make_unique<Disk>(descriptor);
    const bool placed = mode & STGM_CREATE ? file.commit() : file.commitNew();
    return placed ? S_OK : statusOf(file.error(), STG_E_ACCESSDENIED);
}

} // namespace
} // namespace qv::compound

using namespace qv::compound;

HRESULT StgCreateStorageEx(const char* path, DWORD mode, const STGOPTIONS* options, IStorage** storage) {
    if (!storage) return STG_E_INVALIDPOINTER;
    *storage = nullptr;
    if (!path) return STG_E_INVALIDPOINTER;
    const ULONG sectorSize = options ? options->ulSectorSize : 512;
    if (sectorSize != 512 && sectorSize != 4096) return STG_E_INVALIDPARAMETER;
    QV_STG_TRY(checkRootMode(mode, true));
    if ((mode & 3) == STGM_READ) return STG_E_INVALIDFLAG;
    struct stat status {};
    if (mode & STGM_CREATE)
        QV_STG_TRY(checkReplaced(path, mode));
    else if (::stat(path, &status) == 0)
        return STG_E_FILEALREADYEXISTS;
    std::unique_ptr<Disk> disk;
    QV_STG_TRY(makeFile(path, mode, sectorSize, disk));
    return openRoot(std::move(disk), path, mode, storage);
}

HRESULT StgCreateDocfile(const char* path, DWORD mode, DWORD reserved, IStorage** storage) {
    if (storage) *storage = nullptr;
    return reserved ? STG_E_INVALIDPARAMETER : StgCreateStorageEx(path, mode, nullptr, storage);
}

HRESULT StgOpenStorage(const char* path, IStorage* priority, DWORD mode, SNB exclude, DWORD reserved,
                       IStorage** storage) {
    if (!storage) return STG_E_INVALIDPOINTER;
    *storage = nullptr;
    if (!path) return STG_E_INVALIDPOINTER;
    if (priority || exclude || reserved) return STG_E_INVALIDPARAMETER;
    QV_STG_TRY(checkRootMode(mode, false));
    std::unique_ptr<Disk> disk;
    QV_STG_TRY(Disk::open(path, (mode & 3) == STGM_READ ? O_RDONLY : O_RDWR, disk));
    return openRoot(std::move(disk), path, mode, storage);
}

HRESULT StgIsStorageFile(const char* path) {
    if (!path) return STG_E_INVALIDPOINTER;
    std::unique_ptr<Disk> disk;
    QV_STG_TRY(Disk::open(path, O_RDONLY, disk));
    std::uint8_t bytes[kHeaderSize];
    size_t got = 0;
    QV_STG_TRY(disk->read(0, bytes, sizeof bytes, got));
    Header header;
    const HRESULT status = header.parse(bytes, got);
    return status == STG_E_INVALIDHEADER || status == STG_E_OLDFORMAT ? S_FALSE : S_OK;
}
