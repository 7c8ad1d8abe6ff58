#include "qvlibs/platform/CompoundStream.h"

#include "qvlibs/platform/CompoundFile.h"

#include <algorithm>
#include <cstring>

namespace qv::compound {
namespace {

constexpr std::uint32_t kLeastRun = 16; // sectors of a stream that should lie together

bool isSmall(std::uint64_t size) { return size < kMiniCutoff; }

} // namespace

HRESULT StreamData::open() {
    Entry entry;
    QV_STG_TRY(file_.directory().read(id_, entry));
    size_ = written_ = entry.size(file_.isWide());
    chain_ = std::make_unique<Chain>(file_.fat(), isSmall(size_) ? kEndOfChain : entry.start());
    return S_OK;
}

HRESULT StreamData::loadSmall() {
    if (smallLoaded_) return S_OK;
    Entry entry;
    QV_STG_TRY(file_.directory().read(id_, entry));
    QV_STG_TRY(file_.miniStream().read(entry.start(), size_, small_));
    smallLoaded_ = true;
    return S_OK;
}

HRESULT StreamData::read(std::uint64_t offset, void* bytes, size_t count, size_t& got) {
    got = 0;
    if (offset >= size_) return S_OK;
    count = static_cast<size_t>(std::min<std::uint64_t>(count, size_ - offset));
    if (count == 0) return S_OK;
    if (isSmall(size_)) {
        QV_STG_TRY(loadSmall());
        if (offset < small_.size()) {
            got = std::min(count, small_.size() - static_cast<size_t>(offset));
            std::memcpy(bytes, small_.data() + offset, got);
        }
    } else {
        // What was not written yet is not asked from the disk.
        const std::uint64_t there = offset < written_ ? written_ - offset : 0;
        const size_t stored = static_cast<size_t>(std::min<std::uint64_t>(count, there));
        QV_STG_TRY(readLarge(offset, static_cast<std::uint8_t*>(bytes), stored, got));
        if (got == stored) {
            std::memset(static_cast<std::uint8_t*>(bytes) + got, 0, count - got);
            got = count;
        }
    }
    return got ? S_OK : STG_E_DOCFILECORRUPT;
}

HRESULT StreamData::readLarge(std::uint64_t offset, std::uint8_t* bytes, size_t count, size_t& got) {
    const std::uint64_t sectorSize = file_.header().sectorSize();
    got = 0;
    while (got < count) {
        // As many neighbouring sectors at once as follow each other.
        const std::uint64_t place = (offset + got) / sectorSize;
        const std::uint64_t within = (offset + got) % sectorSize;
        Sector first = 0, sector = 0;
        bool there = false;
        if (chain_->at(place, first, there) < 0 || !there) return S_OK;
        std::uint64_t run = 1;
        while (run * sectorSize - within < count - got && chain_->at(place + run, sector, there) >= 0 &&
               there && sector == first + run)
            ++run;
        const size_t part =
            static_cast<size_t>(std::min<std::uint64_t>(count - got, run * sectorSize - within));
        size_t done = 0;
        QV_STG_TRY(file_.disk().read(file_.header().offsetOf(first) + within, bytes + got, part, done));
        got += done;
        if (done < part) return S_OK;
    }
    return S_OK;
}

HRESULT StreamData::write(std::uint64_t offset, const void* bytes, size_t count) {
    if (count == 0) return S_OK;
    const std::uint64_t end = offset + count;
    if (end < offset) return STG_E_MEDIUMFULL;
    if (end > size_) QV_STG_TRY(resize(end));
    changed_ = true;
    if (isSmall(size_)) {
        QV_STG_TRY(loadSmall());
        if (small_.size() < size_)
            small_.resize(static_cast<size_t>(size_)); // a damaged stream is made whole
        std::memcpy(small_.data() + offset, bytes, count);
        return S_OK;
    }
    QV_STG_TRY(makeFresh(offset, count));
    if (offset > written_) QV_STG_TRY(writeLarge(written_, nullptr, offset - written_));
    QV_STG_TRY(writeLarge(offset, static_cast<const std::uint8_t*>(bytes), count));
    written_ = std::max(written_, end);
    return S_OK;
}

HRESULT StreamData::resize(std::uint64_t size) {
    if (size == size_) return S_OK;
    // Readers of files with small sectors know 31 bits of a size.
    if (!file_.isWide() && size > 0x80000000u) return STG_E_MEDIUMFULL;
    changed_ = true;
    if (!isSmall(size)) return isSmall(size_) ? makeLarge(size) : resizeLarge(size);
    if (!isSmall(size_)) return makeSmall(size);
    QV_STG_TRY(loadSmall());
    small_.resize(static_cast<size_t>(size));
    size_ = written_ = size;
    return S_OK;
}

HRESULT StreamData::resizeLarge(std::uint64_t size) {
    const std::uint64_t sectorSize = file_.header().sectorSize();
    const std::uint64_t needed = (size + sectorSize - 1) / sectorSize;
    std::uint64_t sectors = 0;
    QV_STG_TRY(chain_->length(sectors));
    if (needed > sectors) QV_STG_TRY(chain_->grow(Use::Data, needed - sectors, kLeastRun));
    if (needed < sectors) QV_STG_TRY(chain_->cut(needed));
    size_ = size;
    written_ = std::min(written_, size);
    return S_OK;
}

HRESULT StreamData::makeLarge(std::uint64_t size) {
    QV_STG_TRY(loadSmall());
    QV_STG_TRY(file_.releaseContent(id_));
    std::vector<std::uint8_t> content;
    content.swap(small_);
    smallLoaded_ = false;
    chain_ = std::make_unique<Chain>(file_.fat(), kEndOfChain);
    written_ = 0;
    QV_STG_TRY(resizeLarge(size));
    QV_STG_TRY(writeLarge(0, content.data(), content.size()));
    written_ = content.size();
    return S_OK;
}

HRESULT StreamData::makeSmall(std::uint64_t size) {
    small_.resize(static_cast<size_t>(size));
    size_t got = 0;
    if (size > 0) QV_STG_TRY(read(0, small_.data(), small_.size(), got));
    QV_STG_TRY(chain_->cut(0));
    Entry entry;
    QV_STG_TRY(file_.directory().edit(id_, entry));
    entry.setStart(kEndOfChain);
    entry.setSize(0);
    smallLoaded_ = true;
    size_ = written_ = size;
    return S_OK;
}

// Gives a range sectors that may be written, keeping the bytes at its edges.
HRESULT StreamData::makeFresh(std::uint64_t offset, std::uint64_t count) {
    const std::uint64_t sectorSize = file_.header().sectorSize();
    const std::uint64_t last = (offset + count - 1) / sectorSize;
    for (std::uint64_t place = std::min(offset, written_) / sectorSize; place <= last;) {
        Sector sector = 0;
        bool there = false, fresh = false;
        std::uint64_t run = 0;
        for (; place + run <= last; ++run) {
            QV_STG_TRY(chain_->at(place + run, sector, there));
            if (!there) return STG_E_DOCFILECORRUPT;
            QV_STG_TRY(file_.fat().isFresh(sector, fresh));
            if (fresh) break;
        }
        if (run > 0) QV_STG_TRY(keepEdges(place, place + run, offset, offset + count));
        place += run + 1;
    }
    return S_OK;
}

// Moves the sectors of places `from` to `to`, of which the range from `offset` to `end` will be written.
HRESULT StreamData::keepEdges(std::uint64_t from, std::uint64_t to, std::uint64_t offset, std::uint64_t end) {
    const std::uint64_t sectorSize = file_.header().sectorSize();
    const std::uint64_t start = from * sectorSize, stop = std::min(to * sectorSize, written_);
    std::vector<std::uint8_t> head, tail;
    size_t got = 0;
    if (start < std::min(offset, stop)) {
        head.resize(static_cast<size_t>(std::min(offset, stop) - start));
        QV_STG_TRY(readLarge(start, head.data(), head.size(), got));
    }
    const std::uint64_t tailStart = std::max(start, end);
    if (tailStart < stop) {
        tail.resize(static_cast<size_t>(stop - tailStart));
        QV_STG_TRY(readLarge(tailStart, tail.data(), tail.size(), got));
    }
    QV_STG_TRY(chain_->replace(Use::Data, from, to - from));
    if (!head.empty()) QV_STG_TRY(writeLarge(start, head.data(), head.size()));
    if (!tail.empty()) QV_STG_TRY(writeLarge(tailStart, tail.data(), tail.size()));
    return S_OK;
}

// Null bytes mean zeros.
HRESULT StreamData::writeLarge(std::uint64_t offset, const std::uint8_t* bytes, std::uint64_t count) {
    const std::uint64_t sectorSize = file_.header().sectorSize();
    for (std::uint64_t done = 0; done < count;) {
        const std::uint64_t place = (offset + done) / sectorSize, within = (offset + done) % sectorSize;
        Sector first = 0, sector = 0;
        bool there = false;
        QV_STG_TRY(chain_->at(place, first, there));
        if (!there) return STG_E_DOCFILECORRUPT;
        std::uint64_t run = 1;
        while (run * sectorSize - within < count - done) {
            QV_STG_TRY(chain_->at(place + run, sector, there));
            if (!there || sector != first + run) break;
            ++run;
        }
        const std::uint64_t part = std::min(count - done, run * sectorSize - within);
        const std::uint64_t at = file_.header().offsetOf(first) + within;
        if (bytes)
            QV_STG_TRY(file_.disk().write(at, bytes + done, static_cast<size_t>(part)));
        else
            QV_STG_TRY(file_.disk().writeZeros(at, part));
        done += part;
    }
    return S_OK;
}

HRESULT StreamData::settle() {
    if (!changed_) return S_OK;
    Entry entry;
    if (isSmall(size_)) {
        QV_STG_TRY(file_.releaseContent(id_));
        Sector start = kEndOfChain;
        QV_STG_TRY(file_.miniStream().store(small_, start));
        QV_STG_TRY(file_.directory().edit(id_, entry));
        entry.setStart(start);
    } else {
        if (written_ < size_) {
            QV_STG_TRY(makeFresh(written_, size_ - written_));
            QV_STG_TRY(writeLarge(written_, nullptr, size_ - written_));
            written_ = size_;
        }
        QV_STG_TRY(file_.directory().edit(id_, entry));
        entry.setStart(chain_->first());
    }
    entry.setSize(size_);
    changed_ = false;
    return S_OK;
}

} // namespace qv::compound
