#include "qvlibs/platform/Storage.h"

#include "qvlibs/platform/CompoundObjects.h"
#include "qvlibs/platform/CompoundShare.h"

#include <cerrno>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qv::compound {
namespace {

constexpr int kAttempts = 1000; // at a name for a file being made

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

// A descriptor that closes itself until it is passed on.
class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(Descriptor&& other) noexcept : number_(other.take()) {}
    Descriptor& operator=(Descriptor&&) = delete;
    int get() const { return number_; }
    int take() { return std::exchange(number_, -1); }

private:
    int number_;
};

std::string folderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

HRESULT openFailure(const std::string& path) {
    const HRESULT status = statusOf(errno, STG_E_ACCESSDENIED);
    struct stat folder {};
    if (status == STG_E_FILENOTFOUND && ::stat(folderOf(path).c_str(), &folder) != 0)
        return STG_E_PATHNOTFOUND;
    return status;
}

HRESULT openRoot(Descriptor file, const char* path, DWORD mode, IStorage** storage) {
    struct stat status {};
    if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return STG_E_INVALIDHEADER;
    QV_STG_TRY(lockShare(file.get(), mode));
    auto opened = std::make_unique<File>(std::make_unique<Disk>(file.take()));
    if ((mode & 0x70) != STGM_SHARE_EXCLUSIVE) opened->setShared();
    QV_STG_TRY(opened->open());
    auto root = std::make_shared<Root>(std::move(opened), path, mode & ~STGM_CREATE);
    *storage = new StorageObject(std::move(root), nullptr, kRootEntry, mode & ~STGM_CREATE);
    return S_OK;
}

// Whether the file that is there may be replaced: nobody may hold it against us.
HRESULT checkReplaced(const char* path, DWORD mode) {
    const Descriptor old(::open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (old.get() < 0) return errno == ENOENT ? S_OK : openFailure(path);
    struct stat status {};
    if (::fstat(old.get(), &status) != 0 || !S_ISREG(status.st_mode)) return STG_E_ACCESSDENIED;
    return lockShare(old.get(), mode);
}

// Makes the file under a name of its own and moves it to its place when it is whole. `file` is locked by then.
HRESULT makeFile(const std::string& path, DWORD mode, ULONG sectorSize, int& file) {
    std::string temporary;
    file = -1;
    for (int attempt = 0; file < 0 && attempt < kAttempts; ++attempt) {
        temporary = folderOf(path) + "/.qv-" + std::to_string(::getpid()) + "-" + std::to_string(attempt);
        file = ::open(temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (file < 0 && errno != EEXIST) return openFailure(path);
    }
    if (file < 0) return STG_E_ACCESSDENIED;
    const auto bytes = emptyFile(sectorSize);
    HRESULT status = lockShare(file, mode);
    if (status >= 0 && ::pwrite(file, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        status = statusOf(errno, STG_E_MEDIUMFULL);
    if (status >= 0) {
        // A link fails where the name is taken, a rename replaces what has it.
        const int placed = mode & STGM_CREATE ? ::rename(temporary.c_str(), path.c_str())
                                              : ::link(temporary.c_str(), path.c_str());
        if (placed != 0) status = statusOf(errno, STG_E_ACCESSDENIED);
    }
    if (status < 0 || !(mode & STGM_CREATE)) ::unlink(temporary.c_str());
    return status;
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
    int made = -1;
    const HRESULT created = makeFile(path, mode, sectorSize, made);
    Descriptor file(made);
    return created < 0 ? created : openRoot(std::move(file), path, mode, storage);
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
    const int access = (mode & 3) == STGM_READ ? O_RDONLY : O_RDWR;
    Descriptor file(::open(path, access | O_NONBLOCK | O_CLOEXEC));
    if (file.get() < 0) return openFailure(path);
    return openRoot(std::move(file), path, mode, storage);
}

HRESULT StgIsStorageFile(const char* path) {
    if (!path) return STG_E_INVALIDPOINTER;
    const Descriptor file(::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (file.get() < 0) return openFailure(path);
    std::uint8_t bytes[kHeaderSize];
    const ssize_t got = ::pread(file.get(), bytes, sizeof bytes, 0);
    if (got < 0) return statusOf(errno, STG_E_READFAULT);
    Header header;
    const HRESULT status = header.parse(bytes, static_cast<size_t>(got));
    return status == STG_E_INVALIDHEADER || status == STG_E_OLDFORMAT ? S_FALSE : S_OK;
}
