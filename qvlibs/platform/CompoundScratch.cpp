#include "qvlibs/platform/CompoundScratch.h"

#include "qvlibs/platform/CompoundDisk.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace qv::compound {
namespace {

// A file without a name, gone when it is closed.
int openNameless() {
    const char* const folder = std::getenv("TMPDIR");
    const int file = ::open(folder && *folder ? folder : "/tmp", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    return file >= 0 ? file : ::memfd_create("storage", MFD_CLOEXEC);
}

} // namespace

HRESULT readAt(int descriptor, std::uint64_t offset, void* bytes, size_t count, size_t& got) {
    got = 0;
    while (got < count) {
        const ssize_t part = ::pread(descriptor, static_cast<std::uint8_t*>(bytes) + got, count - got,
                                     static_cast<off_t>(offset + got));
        if (part < 0 && errno == EINTR) continue;
        if (part < 0) return statusOf(errno, STG_E_READFAULT);
        if (part == 0) break;
        got += static_cast<size_t>(part);
    }
    return S_OK;
}

HRESULT writeAt(int descriptor, std::uint64_t offset, const void* bytes, size_t count, size_t& done) {
    done = 0;
    while (done < count) {
        const ssize_t part = ::pwrite(descriptor, static_cast<const std::uint8_t*>(bytes) + done,
                                      count - done, static_cast<off_t>(offset + done));
        if (part < 0 && errno == EINTR) continue;
        if (part < 0) return statusOf(errno, STG_E_WRITEFAULT);
        done += static_cast<size_t>(part);
    }
    return S_OK;
}

HRESULT Scratch::write(std::uint64_t offset, const void* bytes, size_t count) {
    if (count == 0) return S_OK;
    if (file_ < 0 && (file_ = openNameless()) < 0) return statusOf(errno, STG_E_WRITEFAULT);
    size_t done = 0;
    QV_STG_TRY(writeAt(file_, offset, bytes, count, done));
    std::uint64_t from = offset, to = offset + count;
    auto at = spans_.upper_bound(from);
    if (at != spans_.begin() && std::prev(at)->second >= from) --at;
    while (at != spans_.end() && at->first <= to) {
        from = std::min(from, at->first);
        to = std::max(to, at->second);
        at = spans_.erase(at);
    }
    spans_[from] = to;
    return S_OK;
}

Scratch::Span Scratch::spanAt(std::uint64_t offset) const {
    const auto next = spans_.upper_bound(offset);
    if (next != spans_.begin() && std::prev(next)->second > offset)
        return {true, std::prev(next)->second - offset};
    return {false, (next == spans_.end() ? std::numeric_limits<std::uint64_t>::max() : next->first) - offset};
}

HRESULT Scratch::read(std::uint64_t offset, void* bytes, size_t count) const {
    size_t got = 0;
    QV_STG_TRY(readAt(file_, offset, bytes, count, got));
    return got == count ? S_OK : STG_E_READFAULT;
}

HRESULT Scratch::copyTo(int descriptor) const {
    std::vector<std::uint8_t> buffer(spans_.empty() ? 0 : 1 << 18);
    for (const auto& [from, to] : spans_) {
        for (std::uint64_t at = from; at < to;) {
            const auto part = static_cast<size_t>(std::min<std::uint64_t>(to - at, buffer.size()));
            size_t done = 0;
            QV_STG_TRY(read(at, buffer.data(), part));
            QV_STG_TRY(writeAt(descriptor, at, buffer.data(), part, done));
            at += part;
        }
    }
    return S_OK;
}

void Scratch::discard() {
    if (file_ >= 0) ::close(file_);
    file_ = -1;
    spans_.clear();
}

} // namespace qv::compound
