#include "qvlibs/media/TapeStream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qv {

// Whoever looks at the first frames only shall not wait for threads.
static constexpr int kReadsBeforeThreads = 2;

TapeStream::TapeStream(int descriptor, bool owns)
    : descriptor_(descriptor), owns_(owns), buffer_(new BYTE[kReach]), ready_(buffer_.get(), 0) {
    struct stat status {};
    const off_t at = lseek(descriptor, 0, SEEK_CUR);
    isFile_ = at >= 0 && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    if (!isFile_) return;
    from_ = static_cast<std::uint64_t>(at);
    if (status.st_size > at) length_ = static_cast<std::uint64_t>(status.st_size - at);
    posix_fadvise(descriptor, at, 0, POSIX_FADV_SEQUENTIAL);
}

TapeStream::~TapeStream() {
    ahead_.reset();
    if (owns_) close(descriptor_);
}

void TapeStream::readMore() {
    BYTE* const end = ready_.data() + ready_.size();
    const size_t room = static_cast<size_t>(buffer_.get() + kReach - end);
    const ssize_t got =
        isFile_ ? pread(descriptor_, end, room, static_cast<off_t>(readAt())) : read(descriptor_, end, room);
    failed_ = got < 0;
    ended_ = got <= 0;
    if (ended_) return;
    ready_ = {ready_.data(), ready_.size() + static_cast<size_t>(got)};
}

void TapeStream::fill(size_t wanted) {
    if (isFile_ && !ahead_ && ++readInOrder_ > kReadsBeforeThreads) {
        ahead_ = ReadAhead::start(descriptor_, readAt(), kReach);
    }
    if (!ahead_ && ready_.data() != buffer_.get()) {
        std::memmove(buffer_.get(), ready_.data(), ready_.size());
        ready_ = {buffer_.get(), ready_.size()};
    }
    while (ready_.size() < wanted && !ended_) {
        if (!ahead_) {
            readMore();
            continue;
        }
        const auto piece = ahead_->take(ready_);
        ready_ = piece.bytes;
        ended_ = piece.isLast;
        failed_ = piece.failed;
    }
}

std::span<const BYTE> TapeStream::peek(size_t count) {
    count = std::min(count, kReach);
    if (ready_.size() < count && !ended_) fill(count);
    return ready_.first(std::min(count, ready_.size()));
}

void TapeStream::skip(std::uint64_t count) {
    while (true) {
        const size_t part = static_cast<size_t>(std::min<std::uint64_t>(count, ready_.size()));
        ready_ = ready_.subspan(part);
        position_ += part;
        count -= part;
        if (count == 0) return;
        if (isFile_ && count > kReach) break;
        fill(1);
        if (ready_.empty()) return; // the end
    }
    ahead_.reset();
    readInOrder_ = 0;
    ready_ = {buffer_.get(), 0};
    position_ += count;
}

} // namespace qv
