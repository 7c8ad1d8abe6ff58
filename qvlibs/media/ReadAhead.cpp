#include "qvlibs/media/ReadAhead.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <exception>

#include <sched.h>
#include <unistd.h>

namespace qv {
namespace {

// Signals are the application's: its own threads get them.
class WithoutSignals {
public:
    WithoutSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~WithoutSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    WithoutSignals(const WithoutSignals&) = delete;
    WithoutSignals& operator=(const WithoutSignals&) = delete;

private:
    sigset_t before_;
};

// Of one processor a second thread would only take its share of the time.
bool hasOneProcessor() {
    cpu_set_t set;
    return sched_getaffinity(0, sizeof set, &set) == 0 && CPU_COUNT(&set) == 1;
}

} // namespace

std::unique_ptr<ReadAhead> ReadAhead::start(int descriptor, std::uint64_t from, size_t size) {
    if (hasOneProcessor()) return nullptr;
    try {
        return std::make_unique<ReadAhead>(descriptor, from, size);
    } catch (const std::exception&) {
        return nullptr;
    }
}

ReadAhead::ReadAhead(int descriptor, std::uint64_t from, size_t size)
    : descriptor_(descriptor), from_(from), size_(size) {
    for (auto& slot : slots_) slot.memory.reset(new BYTE[2 * size]);
    const WithoutSignals inherited;
    thread_ = std::jthread([this](const std::stop_token& stop) {
        std::unique_lock lock(mutex_);
        while (changed_.wait(lock, stop, [this] { return hasRoom(); }) && !stop.stop_requested())
            readOne(lock);
    });
}

ReadAhead::Piece ReadAhead::take(std::span<const BYTE> rest) {
    std::unique_lock lock(mutex_);
    Slot& slot = slots_[taken_ % kSlots];
    while (!slot.isReady) {
        if (hasRoom()) {
            readOne(lock);
        } else {
            changed_.wait(lock);
        }
    }
    BYTE* const piece = slot.memory.get() + size_;
    std::copy(rest.begin(), rest.end(), piece - rest.size());
    slot.isReady = false;
    ++taken_; // which frees the piece before, and with it `rest`
    changed_.notify_all();
    return {{piece - rest.size(), rest.size() + slot.filled}, slot.filled < size_, slot.failed};
}

// The piece that was taken last is still looked at.
bool ReadAhead::hasRoom() const { return !ended_ && claimed_ + 1 < taken_ + kSlots; }

void ReadAhead::readOne(std::unique_lock<std::mutex>& lock) {
    const std::uint64_t number = claimed_++;
    Slot& slot = slots_[number % kSlots];
    lock.unlock();
    readInto(slot, from_ + number * size_);
    lock.lock();
    slot.isReady = true;
    ended_ = ended_ || slot.filled < size_;
    changed_.notify_all();
}

void ReadAhead::readInto(Slot& slot, std::uint64_t at) const {
    slot.filled = 0;
    slot.failed = false;
    while (slot.filled < size_) {
        const ssize_t got = pread(descriptor_, slot.memory.get() + size_ + slot.filled, size_ - slot.filled,
                                  static_cast<off_t>(at + slot.filled));
        if (got < 0 && errno == EINTR) continue;
        slot.failed = got < 0;
        if (got <= 0) return;
        slot.filled += static_cast<size_t>(got);
    }
}

} // namespace qv
