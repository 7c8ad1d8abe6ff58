#include "qvlibs/media/TapeStream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qv {

TapeStream::TapeStream(int descriptor, bool owns)
    : descriptor_(descriptor), owns_(owns), buffer_(new BYTE[kReach]) {
    struct stat status {};
    const off_t at = lseek(descriptor, 0, SEEK_CUR);
    canSeek_ = at >= 0 && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    if (canSeek_ && status.st_size > at) length_ = static_cast<std::uint64_t>(status.st_size - at);
    if (canSeek_) posix_fadvise(descriptor, at, 0, POSIX_FADV_SEQUENTIAL);
}

TapeStream::~TapeStream() {
    if (owns_) close(descriptor_);
}

void TapeStream::fill(size_t wanted) {
    if (begin_ > 0) {
        std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    while (end_ < wanted && !ended_) {
        const ssize_t got = read(descriptor_, buffer_.get() + end_, kReach - end_);
        failed_ = got < 0;
        ended_ = got <= 0;
        if (got > 0) end_ += static_cast<size_t>(got);
    }
}

std::span<const BYTE> TapeStream::peek(size_t count) {
    count = std::min(count, kReach);
    if (end_ - begin_ < count) fill(count);
    return {buffer_.get() + begin_, std::min(count, end_ - begin_)};
}

void TapeStream::skip(std::uint64_t count) {
    while (count > 0) {
        if (begin_ == end_) {
            begin_ = end_ = 0;
            if (canSeek_) {
                lseek(descriptor_, static_cast<off_t>(std::min<std::uint64_t>(count, INT64_MAX)), SEEK_CUR);
                position_ += count;
                return;
            }
            fill(1);
            if (begin_ == end_) return; // the end
        }
        const size_t part = static_cast<size_t>(std::min<std::uint64_t>(count, end_ - begin_));
        begin_ += part;
        position_ += part;
        count -= part;
    }
}

} // namespace qv
