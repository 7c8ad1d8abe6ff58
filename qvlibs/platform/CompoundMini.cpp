#include "qvlibs/platform/CompoundStream.h"

#include <algorithm>

namespace qv::compound {
namespace {

constexpr std::uint64_t kSearchedPieces = 4096;

} // namespace

MiniStream::MiniStream(Disk& disk, const Header& header, Fat& fat, Directory& directory)
    : disk_(disk), header_(header), fat_(fat), directory_(directory),
      table_(disk, header, fat, header.firstMiniFat), content_(std::make_unique<Chain>(fat, kEndOfChain)) {}

HRESULT MiniStream::load() {
    if (loaded_) return S_OK;
    Entry root;
    QV_STG_TRY(directory_.read(kRootEntry, root));
    content_ = std::make_unique<Chain>(fat_, root.start());
    const std::uint64_t bytes = root.size(header_.isWide());
    // A last piece may be cut short in files of others.
    pieces_ = std::min<std::uint64_t>(bytes / kMiniSize + (bytes % kMiniSize ? 1 : 0), kMaxSector);
    piecesLeft_ = pieces_;
    cursor_ = header_.searchStart(pieces_);
    loaded_ = true;
    return S_OK;
}

HRESULT MiniStream::next(Sector piece, Sector& following) {
    PagedChain::Page* page = nullptr;
    QV_STG_TRY(table_.read(piece / perPage(), page));
    if (!page) return STG_E_DOCFILECORRUPT;
    following = get32(page->now.data() + 4ul * (piece % perPage()));
    return S_OK;
}

HRESULT MiniStream::set(Sector piece, Sector following) {
    PagedChain::Page* page = nullptr;
    QV_STG_TRY(table_.edit(piece / perPage(), page));
    put32(page->now.data() + 4ul * (piece % perPage()), following);
    return S_OK;
}

HRESULT MiniStream::offsetOf(Sector piece, std::uint64_t& offset) {
    QV_STG_TRY(load());
    const std::uint64_t at = std::uint64_t{piece} * kMiniSize;
    Sector sector = 0;
    bool there = false;
    if (piece >= pieces_) return STG_E_DOCFILECORRUPT;
    QV_STG_TRY(content_->at(at / header_.sectorSize(), sector, there));
    if (!there) return STG_E_DOCFILECORRUPT;
    offset = header_.offsetOf(sector) + at % header_.sectorSize();
    return S_OK;
}

HRESULT MiniStream::read(Sector start, std::uint64_t size, std::vector<std::uint8_t>& bytes) {
    bytes.clear();
    // A chain that runs in a circle ends when it is longer than all there is.
    std::uint64_t left = disk_.length() / kMiniSize + 1;
    for (Sector piece = start; bytes.size() < size && isReal(piece) && left > 0; --left) {
        std::uint64_t offset = 0;
        if (offsetOf(piece, offset) < 0) break;
        const size_t part = static_cast<size_t>(std::min<std::uint64_t>(kMiniSize, size - bytes.size()));
        size_t got = 0;
        bytes.resize(bytes.size() + part);
        QV_STG_TRY(disk_.readCached(offset, bytes.data() + bytes.size() - part, part, got));
        if (got < part) {
            bytes.resize(bytes.size() - part + got);
            break;
        }
        if (bytes.size() < size && next(piece, piece) < 0) break;
    }
    return S_OK;
}

// A piece that is free now and in the published state. Looks at a part of the table each time it is called for.
HRESULT MiniStream::findFree(Sector& piece) {
    piece = kFree;
    for (std::uint64_t budget = kSearchedPieces; budget > 0 && piecesLeft_ > 0; --budget, --piecesLeft_) {
        if (cursor_ >= pieces_) cursor_ = firstUsable_;
        const auto candidate = static_cast<Sector>(cursor_++);
        PagedChain::Page* page = nullptr;
        QV_STG_TRY(table_.read(candidate / perPage(), page));
        if (!page) return STG_E_DOCFILECORRUPT;
        const size_t at = 4ul * (candidate % perPage());
        if (get32(page->now.data() + at) == kFree &&
            (page->published.empty() || get32(page->published.data() + at) == kFree)) {
            piece = candidate;
            return S_OK;
        }
    }
    return S_OK;
}

HRESULT MiniStream::grow() {
    std::uint64_t sectors = 0, pages = 0;
    QV_STG_TRY(content_->length(sectors));
    const std::uint64_t added = std::clamp<std::uint64_t>(sectors / 8, 1, 64);
    const std::uint64_t total = (sectors + added) * (header_.sectorSize() / kMiniSize);
    if (total > std::min<std::uint64_t>(kMaxSector, 0x7FFFFFFFu / kMiniSize)) return STG_E_MEDIUMFULL;
    QV_STG_TRY(content_->grow(Use::Tables, added, 1));
    QV_STG_TRY(table_.count(pages));
    if (pages * perPage() < total) QV_STG_TRY(table_.grow((total + perPage() - 1) / perPage() - pages, 0xFF));
    Entry root;
    QV_STG_TRY(directory_.edit(kRootEntry, root));
    root.setStart(content_->first());
    root.setSize(total * kMiniSize);
    cursor_ = pieces_;
    piecesLeft_ += total - pieces_;
    pieces_ = total;
    return S_OK;
}

HRESULT MiniStream::store(const std::vector<std::uint8_t>& bytes, Sector& start) {
    QV_STG_TRY(load());
    start = kEndOfChain;
    Sector before = kEndOfChain;
    for (size_t done = 0; done < bytes.size(); done += kMiniSize) {
        Sector piece = kFree;
        QV_STG_TRY(findFree(piece));
        if (piece == kFree) {
            QV_STG_TRY(grow());
            QV_STG_TRY(findFree(piece));
            if (piece == kFree) return STG_E_DOCFILECORRUPT;
        }
        std::uint64_t offset = 0;
        QV_STG_TRY(offsetOf(piece, offset));
        QV_STG_TRY(
            disk_.write(offset, bytes.data() + done, std::min<size_t>(kMiniSize, bytes.size() - done)));
        QV_STG_TRY(set(piece, kEndOfChain));
        if (before == kEndOfChain)
            start = piece;
        else
            QV_STG_TRY(set(before, piece));
        before = piece;
    }
    return S_OK;
}

HRESULT MiniStream::release(Sector start) {
    QV_STG_TRY(load());
    for (Sector piece = start; isReal(piece);) {
        Sector following = kEndOfChain;
        QV_STG_TRY(next(piece, following));
        if (following == kFree) return STG_E_DOCFILECORRUPT;
        QV_STG_TRY(set(piece, kFree));
        piece = following;
    }
    piecesLeft_ = pieces_ - firstUsable_;
    return S_OK;
}

HRESULT MiniStream::appendOnly() {
    QV_STG_TRY(load());
    firstUsable_ = cursor_ = pieces_;
    piecesLeft_ = 0;
    return S_OK;
}

} // namespace qv::compound
