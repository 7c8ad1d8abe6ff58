#include "qvlibs/platform/CompoundDisk.h"

#include "qvlibs/framework/OpenWithoutWaiting.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

namespace qv::compound {

HRESULT statusOf(int osError, HRESULT otherwise) {
    switch (osError) {
    case ENOENT: return STG_E_FILENOTFOUND;
    case ENOTDIR: return STG_E_PATHNOTFOUND;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR: return STG_E_ACCESSDENIED;
    case EMFILE:
    case ENFILE: return STG_E_TOOMANYOPENFILES;
    case EEXIST: return STG_E_FILEALREADYEXISTS;
    case ENOSPC:
    case EDQUOT:
    case EFBIG: return STG_E_MEDIUMFULL;
    case ENOMEM: return STG_E_INSUFFICIENTMEMORY;
    default: return otherwise;
    }
}

HRESULT openFailure(const char* path, int osError) {
    const auto folder = std::filesystem::path(path).parent_path();
    std::error_code ignored;
    if (osError == ENOENT && !folder.empty() && !std::filesystem::exists(folder, ignored))
        return STG_E_PATHNOTFOUND;
    return statusOf(osError, STG_E_ACCESSDENIED);
}

HRESULT Disk::open(const char* path, int access, std::unique_ptr<Disk>& disk) {
    const int descriptor = openWithoutWaiting(path, access);
    if (descriptor < 0) return openFailure(path, errno);
    disk = std::make_unique<Disk>(descriptor);
    return S_OK;
}

Disk::Disk(int descriptor) : descriptor_(descriptor) { updateLength(); }

Disk::~Disk() { ::close(descriptor_); }

void Disk::updateLength() {
    struct stat status {};
    length_ = ::fstat(descriptor_, &status) == 0 && status.st_size > 0
                  ? static_cast<std::uint64_t>(status.st_size)
                  : 0;
}

HRESULT Disk::read(std::uint64_t offset, void* bytes, size_t count, size_t& got) {
    if (scratch_) return readDeferred(offset, static_cast<std::uint8_t*>(bytes), count, got);
    return readAt(descriptor_, offset, bytes, count, got);
}

HRESULT Disk::readDeferred(std::uint64_t offset, std::uint8_t* bytes, size_t count, size_t& got) {
    got = 0;
    count = static_cast<size_t>(std::min<std::uint64_t>(count, offset < length_ ? length_ - offset : 0));
    while (got < count) {
        const auto span = scratch_->spanAt(offset + got);
        const auto part = static_cast<size_t>(std::min<std::uint64_t>(count - got, span.count));
        if (span.kept) {
            QV_STG_TRY(scratch_->read(offset + got, bytes + got, part));
        } else {
            size_t done = 0;
            QV_STG_TRY(readAt(descriptor_, offset + got, bytes + got, part, done));
            std::memset(bytes + got + done, 0, part - done);
        }
        got += part;
    }
    return S_OK;
}

HRESULT Disk::readCached(std::uint64_t offset, void* bytes, size_t count, size_t& got) {
    const std::uint64_t number = offset / kPageSize;
    const size_t from = offset % kPageSize;
    if (from + count > kPageSize) return read(offset, bytes, count, got);
    if (pages_.empty()) pages_.resize(kPages);
    auto& page = pages_[number % kPages];
    if (!page || page->number != number) {
        // Not value-initialised: only what was read is looked at.
        if (!page) page.reset(new Page);
        page->number = kNoPage;
        QV_STG_TRY(read(number * kPageSize, page->bytes, kPageSize, page->size));
        page->number = number;
    }
    got = page->size > from ? std::min(count, page->size - from) : 0;
    std::memcpy(bytes, page->bytes + from, got);
    return S_OK;
}

// Forgets what was kept of a range, and of the page at the file's end when the file grows past it.
void Disk::drop(std::uint64_t offset, std::uint64_t count) {
    if (pages_.empty() || count == 0) return;
    if (offset + count > length_) dropPage(length_ / kPageSize);
    const std::uint64_t first = offset / kPageSize, last = (offset + count - 1) / kPageSize;
    if (last - first >= kPages) return pages_.clear();
    for (std::uint64_t number = first; number <= last; ++number) dropPage(number);
}

void Disk::dropPage(std::uint64_t number) {
    const auto& page = pages_[number % kPages];
    if (page && page->number == number) page->number = kNoPage;
}

HRESULT Disk::write(std::uint64_t offset, const void* bytes, size_t count) {
    if (!scratch_) return writeNow(offset, bytes, count);
    drop(offset, count);
    QV_STG_TRY(scratch_->write(offset, bytes, count));
    length_ = std::max(length_, offset + count);
    return S_OK;
}

HRESULT Disk::writeNow(std::uint64_t offset, const void* bytes, size_t count) {
    drop(offset, count);
    size_t done = 0;
    const HRESULT status = writeAt(descriptor_, offset, bytes, count, done);
    if (done > 0) length_ = std::max(length_, offset + done);
    return status;
}

HRESULT Disk::settle(std::uint64_t from) {
    if (!scratch_) return S_OK;
    // Whoever died while it wrote may have left something behind the published end.
    HRESULT status = truncate(from);
    if (status >= 0 && length_ != from) status = truncate(length_);
    if (status >= 0) status = scratch_->copyTo(descriptor_);
    if (status >= 0)
        scratch_->discard();
    else if (truncate(from) < 0)
        updateLength();
    return status;
}

void Disk::takeBack(std::uint64_t publishedLength) {
    if (scratch_) {
        scratch_->discard();
        length_ = publishedLength;
    } else if (length_ > publishedLength && setLength(publishedLength) < 0) {
        updateLength();
    }
    forgetCache();
}

HRESULT Disk::writeZeros(std::uint64_t offset, std::uint64_t count) {
    static constexpr std::uint8_t kZeros[65536] = {};
    if (offset >= length_) return S_OK;
    count = std::min(count, length_ - offset);
    while (count > 0) {
        const size_t part = static_cast<size_t>(std::min<std::uint64_t>(count, sizeof kZeros));
        QV_STG_TRY(write(offset, kZeros, part));
        offset += part;
        count -= part;
    }
    return S_OK;
}

HRESULT Disk::truncate(std::uint64_t length) const {
    return ::ftruncate(descriptor_, static_cast<off_t>(length)) == 0 ? S_OK
                                                                     : statusOf(errno, STG_E_WRITEFAULT);
}

HRESULT Disk::setLength(std::uint64_t length) {
    if (length == length_) return S_OK;
    if (!scratch_) QV_STG_TRY(truncate(length));
    if (length < length_) pages_.clear();
    if (length > length_) drop(length_, length - length_);
    length_ = length;
    return S_OK;
}

HRESULT Disk::waitForDisk() {
    return ::fdatasync(descriptor_) == 0 || errno == EINVAL || errno == EROFS
               ? S_OK
               : statusOf(errno, STG_E_WRITEFAULT);
}

} // namespace qv::compound
