// A file read in pieces by whoever takes them and by a thread of its own, ahead of them: copying a tape out of
// the page cache costs many times what looking at its frames does.
#pragma once

#include "qvlibs/framework/Types.h"

#include <array>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <span>
#include <thread>

namespace qv {

class ReadAhead {
public:
    // From byte `from` of a regular file on, `size` bytes a piece. Null where a thread would not help: with
    // one processor only, or none to be had. The descriptor's own position neither counts nor moves.
    static std::unique_ptr<ReadAhead> start(int descriptor, std::uint64_t from, size_t size);
    // The arguments are those of start(). Throws what std::jthread does.
    ReadAhead(int descriptor, std::uint64_t from, size_t size);

    struct Piece {
        std::span<BYTE> bytes;
        bool isLast = false; // the file ends here, or an error does it
        bool failed = false;
    };
    // `rest` and the next piece behind it, as one run of bytes, good until the next call; `rest` may lie in the
    // piece before and is at most as long as one. Waits for it. Not to be asked after the last piece.
    Piece take(std::span<const BYTE> rest);

private:
    static constexpr size_t kSlots = 4; // one taken, two being read, one ready
    struct Slot {
        std::unique_ptr<BYTE[]> memory; // room for the rest of the piece before, and a piece
        size_t filled = 0;
        bool isReady = false, failed = false;
    };

    bool hasRoom() const;
    void readOne(std::unique_lock<std::mutex>& lock);
    void readInto(Slot& slot, std::uint64_t at) const;

    const int descriptor_;
    const std::uint64_t from_;
    const size_t size_;
    std::mutex mutex_; // for all below
    std::condition_variable_any changed_;
    std::array<Slot, kSlots> slots_; // piece n in slot n % kSlots
    std::uint64_t claimed_ = 0;      // pieces that a thread has begun to read
    std::uint64_t taken_ = 0;
    bool ended_ = false;
    std::jthread thread_; // ends before the rest goes
};

} // namespace qv
