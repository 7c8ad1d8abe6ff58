// Bytes of a file or pipe from front to back, with a look ahead.
#pragma once

#include "qvlibs/framework/Types.h"

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

    int descriptor_;
    bool owns_;
    bool canSeek_ = false;
    bool ended_ = false, failed_ = false;
    std::uint64_t position_ = 0, length_ = 0;
    std::unique_ptr<BYTE[]> buffer_;
    size_t begin_ = 0, end_ = 0; // what of the buffer is filled
};

} // namespace qv
