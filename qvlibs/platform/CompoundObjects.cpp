#include "qvlibs/platform/CompoundObjects.h"

#include <algorithm>
#include <limits>
#include <tuple>

namespace qv::compound {

StreamCore::~StreamCore() {
    if (isReverted()) return;
    if (canWrite()) {
        if (const HRESULT status = settle(); status < 0) root().file().spoil(status);
    }
    revert();
    // What cannot be published is taken back; nobody is left to be told.
    if (canWrite()) std::ignore = root().publishWhenIdle();
}

HRESULT StreamCore::settle() {
    QV_STG_TRY(data_.settle());
    if (!changed_) return S_OK;
    changed_ = false;
    return touchParent();
}

HRESULT StreamObject::Read(void* buffer, ULONG count, ULONG* read) {
    if (read) *read = 0;
    if (!buffer) return STG_E_INVALIDPOINTER;
    if (core_->isReverted()) return STG_E_REVERTED;
    if (!core_->canRead()) return STG_E_ACCESSDENIED;
    size_t got = 0;
    const HRESULT status = core_->data().read(position_, buffer, count, got);
    position_ += got;
    if (read) *read = static_cast<ULONG>(got);
    return status;
}

HRESULT StreamObject::Write(const void* buffer, ULONG count, ULONG* written) {
    if (written) *written = 0;
    if (!buffer) return STG_E_INVALIDPOINTER;
    if (core_->isReverted()) return STG_E_REVERTED;
    if (!core_->canWrite()) return STG_E_ACCESSDENIED;
    if (count == 0) return S_OK;
    const HRESULT status = core_->root().change([&] {
        core_->changed();
        return core_->data().write(position_, buffer, count);
    });
    if (status < 0) return status;
    position_ += count;
    if (written) *written = count;
    return S_OK;
}

HRESULT StreamObject::Seek(std::int64_t move, DWORD origin, std::uint64_t* position) {
    if (position) *position = position_;
    if (core_->isReverted()) return STG_E_REVERTED;
    if (origin > STREAM_SEEK_END) return STG_E_INVALIDFUNCTION;
    const std::uint64_t base = origin == STREAM_SEEK_SET   ? 0
                               : origin == STREAM_SEEK_CUR ? position_
                                                           : core_->data().size();
    const std::uint64_t back = 0 - static_cast<std::uint64_t>(move); // of a negative move
    constexpr auto kFarthest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (move < 0 ? back > base : static_cast<std::uint64_t>(move) > kFarthest - std::min(base, kFarthest))
        return STG_E_INVALIDFUNCTION;
    position_ = move < 0 ? base - back : base + static_cast<std::uint64_t>(move);
    if (position) *position = position_;
    return S_OK;
}

HRESULT StreamObject::SetSize(std::uint64_t size) {
    if (core_->isReverted()) return STG_E_REVERTED;
    if (!core_->canWrite()) return STG_E_ACCESSDENIED;
    return core_->root().change([&] {
        core_->changed();
        return core_->data().resize(size);
    });
}

HRESULT StreamObject::CopyTo(IStream* target, std::uint64_t count, std::uint64_t* read,
                             std::uint64_t* written) {
    if (read) *read = 0;
    if (written) *written = 0;
    if (!target) return STG_E_INVALIDPOINTER;
    std::vector<std::uint8_t> buffer(static_cast<size_t>(std::min<std::uint64_t>(count, 1 << 18)));
    while (count > 0) {
        ULONG got = 0, put = 0;
        QV_STG_TRY(
            Read(buffer.data(), static_cast<ULONG>(std::min<std::uint64_t>(count, buffer.size())), &got));
        if (got == 0) break;
        if (read) *read += got;
        const HRESULT status = target->Write(buffer.data(), got, &put);
        if (written) *written += put;
        if (status < 0) return status;
        count -= got;
    }
    return S_OK;
}

HRESULT StreamObject::Commit(DWORD flags) {
    if (core_->isReverted()) return STG_E_REVERTED;
    if (!core_->canWrite() || core_->root().isTransacted()) return S_OK;
    return core_->root().publish(!(flags & STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE));
}

HRESULT StreamObject::Revert() { return core_->isReverted() ? STG_E_REVERTED : S_OK; }

HRESULT StreamObject::Stat(STATSTG* stat, DWORD flags) {
    if (!stat) return STG_E_INVALIDPOINTER;
    if (core_->isReverted()) return STG_E_REVERTED;
    File& file = core_->root().file();
    Entry entry;
    QV_STG_TRY(file.directory().read(core_->id(), entry));
    describe(entry, file.isWide(), flags, *stat);
    stat->cbSize = core_->data().size();
    stat->grfMode = core_->mode();
    return S_OK;
}

HRESULT StreamObject::Clone(IStream** copy) {
    if (!copy) return STG_E_INVALIDPOINTER;
    *copy = nullptr;
    if (core_->isReverted()) return STG_E_REVERTED;
    auto* clone = new StreamObject(core_);
    clone->position_ = position_;
    *copy = clone;
    return S_OK;
}

HRESULT Enumeration::Next(ULONG count, STATSTG* elements, ULONG* fetched) {
    if (fetched) *fetched = 0;
    if (!elements || (!fetched && count != 1)) return STG_E_INVALIDPOINTER;
    const auto left = static_cast<ULONG>(std::min<size_t>(elements_->size() - next_, count));
    std::copy_n(elements_->begin() + static_cast<std::ptrdiff_t>(next_), left, elements);
    next_ += left;
    if (fetched) *fetched = left;
    return left == count ? S_OK : S_FALSE;
}

HRESULT Enumeration::Skip(ULONG count) {
    const size_t left = elements_->size() - next_;
    next_ += std::min<size_t>(left, count);
    return count <= left ? S_OK : S_FALSE;
}

HRESULT Enumeration::Reset() {
    next_ = 0;
    return S_OK;
}

HRESULT Enumeration::Clone(IEnumSTATSTG** copy) {
    if (!copy) return STG_E_INVALIDPOINTER;
    *copy = new Enumeration(elements_, next_);
    return S_OK;
}

} // namespace qv::compound
