// The table of open files behind a module's streams and writers.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <vector>

namespace qv {

// What action() answers, or `failure` when it throws: nothing thrown may leave a module, and a file that asks for more
// memory than there is fails like any other.
template <class Result, class Action>
Result guarded(Result failure, Action action) {
    try {
        return action();
    } catch (const std::exception&) {
        return failure;
    }
}

// Hands out 32-bit tickets for objects. A ticket is never 0 and carries the number of times its place was
// used, so one that was closed is refused instead of meeting the next file. May be used from any thread; an
// object found stays alive while it is held.
template <class Object>
class Tickets {
public:
    constexpr Tickets() = default;
    std::uint32_t add(std::shared_ptr<Object> object) {
        const std::lock_guard lock(mutex_);
        size_t place = 0;
        while (place < places_.size() && places_[place].object) ++place;
        if (place > kPlaceMask) return 0;
        if (place == places_.size()) places_.emplace_back();
        places_[place].object = std::move(object);
        const std::uint32_t use = places_[place].use = places_[place].use % kUses + 1;
        return use << kPlaceBits | static_cast<std::uint32_t>(place);
    }
    std::shared_ptr<Object> find(std::uint32_t ticket) {
        const std::lock_guard lock(mutex_);
        const Place* place = at(ticket);
        return place ? place->object : nullptr;
    }
    // What action(object) answers; `failure` when the ticket is refused or something is thrown.
    template <class Result, class Action>
    Result with(std::uint32_t ticket, Result failure, Action action) {
        return guarded(failure, [&] {
            const auto object = find(ticket);
            return object ? action(*object) : failure;
        });
    }
    // Takes the object out; null for a ticket that is not open.
    std::shared_ptr<Object> remove(std::uint32_t ticket) {
        const std::lock_guard lock(mutex_);
        Place* place = at(ticket);
        return place ? std::move(place->object) : nullptr;
    }

private:
    static constexpr std::uint32_t kPlaceBits = 16;
    static constexpr std::uint32_t kPlaceMask = (1u << kPlaceBits) - 1;
    static constexpr std::uint32_t kUses = (1u << (32 - kPlaceBits)) - 1;

    struct Place {
        std::shared_ptr<Object> object;
        std::uint32_t use = 0;
    };
    Place* at(std::uint32_t ticket) {
        const std::uint32_t place = ticket & kPlaceMask;
        const bool isOpen =
            place < places_.size() && places_[place].object && places_[place].use == ticket >> kPlaceBits;
        return isOpen ? &places_[place] : nullptr;
    }

    std::mutex mutex_;
    std::vector<Place> places_;
};

} // namespace qv
