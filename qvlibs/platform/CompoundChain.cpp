#include "qvlibs/platform/CompoundChain.h"

#include <algorithm>

namespace qv::compound {

HRESULT Chain::at(std::uint64_t place, Sector& sector, bool& there) {
    while (sectors_.size() <= place && next_ != kEndOfChain) {
        // A chain with more sectors than the file has runs in a circle.
        if (!isReal(next_) || next_ >= fat_.end() || sectors_.size() >= fat_.end())
            return STG_E_DOCFILECORRUPT;
        Sector following = kEndOfChain;
        QV_STG_TRY(fat_.next(next_, following));
        sectors_.push_back(next_);
        next_ = following;
    }
    there = place < sectors_.size();
    if (there) sector = sectors_[place];
    return S_OK;
}

HRESULT Chain::length(std::uint64_t& sectors) {
    Sector ignored = 0;
    bool there = false;
    QV_STG_TRY(at(~std::uint64_t{0}, ignored, there));
    sectors = sectors_.size();
    return S_OK;
}

// Makes the sector before a place point to another.
HRESULT Chain::link(std::uint64_t place, Sector following) {
    if (place == 0) return S_OK;
    return fat_.set(sectors_[place - 1], following);
}

HRESULT Chain::grow(Use use, std::uint64_t sectors, std::uint32_t least) {
    std::uint64_t known = 0;
    QV_STG_TRY(length(known));
    while (sectors > 0) {
        const auto wanted = static_cast<std::uint32_t>(std::min<std::uint64_t>(sectors, kMaxSector));
        Run run;
        const Sector before = sectors_.empty() ? kFree : sectors_.back();
        QV_STG_TRY(fat_.allocate(use, wanted, std::min(wanted, least), run, before));
        QV_STG_TRY(link(sectors_.size(), run.first));
        for (std::uint32_t i = 0; i < run.count; ++i) {
            QV_STG_TRY(fat_.set(run.first + i, i + 1 < run.count ? run.first + i + 1 : kEndOfChain));
            sectors_.push_back(run.first + i);
        }
        sectors -= run.count;
    }
    return S_OK;
}

HRESULT Chain::cut(std::uint64_t sectors) {
    std::uint64_t known = 0;
    QV_STG_TRY(length(known));
    if (sectors >= known) return S_OK;
    for (std::uint64_t i = sectors; i < known; ++i) QV_STG_TRY(fat_.release(sectors_[i]));
    sectors_.resize(sectors);
    return link(sectors, kEndOfChain);
}

HRESULT Chain::replace(Use use, std::uint64_t place, std::uint64_t count) {
    Sector following = kEndOfChain;
    bool there = false;
    QV_STG_TRY(at(place + count, following, there));
    if (!there) following = kEndOfChain;
    constexpr std::uint32_t kLeast = 16;
    while (count > 0) {
        const auto wanted = static_cast<std::uint32_t>(count);
        Run run;
        QV_STG_TRY(fat_.allocate(use, wanted, std::min(wanted, kLeast), run, sectors_[place]));
        QV_STG_TRY(link(place, run.first));
        for (std::uint32_t i = 0; i < run.count; ++i, ++place, --count) {
            QV_STG_TRY(fat_.set(run.first + i, i + 1 < run.count ? run.first + i + 1 : following));
            QV_STG_TRY(fat_.release(sectors_[place]));
            sectors_[place] = run.first + i;
        }
    }
    return S_OK;
}

HRESULT PagedChain::read(std::uint64_t number, Page*& page) {
    page = nullptr;
    if (number < pages_.size() && pages_[number]) {
        page = pages_[number].get();
        return S_OK;
    }
    Sector sector = 0;
    bool there = false;
    QV_STG_TRY(chain_.at(number, sector, there));
    if (!there) return S_OK;
    auto loaded = std::make_unique<Page>();
    loaded->now.resize(header_.sectorSize());
    size_t got = 0;
    QV_STG_TRY(disk_.readCached(header_.offsetOf(sector), loaded->now.data(), loaded->now.size(), got));
    if (pages_.size() <= number) pages_.resize(number + 1);
    pages_[number] = std::move(loaded);
    page = pages_[number].get();
    return S_OK;
}

HRESULT PagedChain::edit(std::uint64_t number, Page*& page) {
    QV_STG_TRY(read(number, page));
    if (!page) return STG_E_DOCFILECORRUPT;
    if (page->published.empty()) {
        page->published = page->now;
        changed_.push_back(number);
    }
    return S_OK;
}

HRESULT PagedChain::grow(std::uint64_t pages, std::uint8_t filler) {
    std::uint64_t number = 0;
    QV_STG_TRY(chain_.length(number));
    QV_STG_TRY(chain_.grow(Use::Tables, pages, 1));
    pages_.resize(number + pages);
    for (; number < pages_.size(); ++number) {
        pages_[number] = std::make_unique<Page>();
        pages_[number]->now.assign(header_.sectorSize(), filler);
        pages_[number]->published = pages_[number]->now;
        changed_.push_back(number);
    }
    return S_OK;
}

HRESULT PagedChain::place() {
    for (const std::uint64_t number : changed_) {
        Sector sector = 0;
        bool there = false, fresh = false;
        QV_STG_TRY(chain_.at(number, sector, there));
        QV_STG_TRY(fat_.isFresh(sector, fresh));
        if (!fresh) QV_STG_TRY(chain_.replace(Use::Tables, number, 1));
    }
    return S_OK;
}

HRESULT PagedChain::collect(PageWrites& writes) {
    for (const std::uint64_t number : changed_) {
        Sector sector = 0;
        bool there = false;
        QV_STG_TRY(chain_.at(number, sector, there));
        writes.add(sector, pages_[number]->now.data());
    }
    return S_OK;
}

void PagedChain::published() {
    for (const std::uint64_t number : changed_) pages_[number]->published.clear();
    changed_.clear();
}

} // namespace qv::compound
