// Bytes of a file or pipe from front to back, with a look ahead.
#pragma once

#include "qvlibs/media/ReadAhead.h"

#include <memory>
#include <span>

namespace qv {

class TapeStream {
public:
    // The most that can be looked ahead. Whole numbers of frames of both systems fit exactly, so that raw
    // frames need not be moved.
    static constexpr size_t kReach = 720000;

    // `owns`: closes the descriptor in the end.
    TapeStream(int descriptor, bool owns);
    ~TapeStream();
    TapeStream(const TapeStream&) = delete;
    TapeStream& operator=(const TapeStream&) = delete;
    // The next `count` bytes at most; fewer at the end. Good until the next call.
    std::span<const BYTE> peek(size_t count);
    void skip(std::uint64_t count);

    std::uint64_t position() const { return position_; } // of the next byte, from where reading began
    std::uint64_t length() const { return length_; }     // 0 when it is not known
    bool failed() const { return failed_; }              // an error, rather than the end

private:
    void fill(size_t wanted);
    void readMore();
    std::uint64_t readAt() const { return from_ + position_ + ready_.size(); }

    int descriptor_;
    bool owns_;
    bool isFile_ = false;
    bool ended_ = false, failed_ = false;
    std::uint64_t position_ = 0, length_ = 0;
    std::uint64_t from_ = 0; // where in a file position 0 is
    int readInOrder_ = 0;    // reads since the beginning or the last jump
    std::unique_ptr<BYTE[]> buffer_;
    std::unique_ptr<ReadAhead> ahead_; // of a file that is read for long enough
    std::span<BYTE> ready_;            // in the buffer or in a piece of what was read ahead
};

} // namespace qv
