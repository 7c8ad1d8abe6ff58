#include "qvlibs/platform/CompoundRoot.h"

#include <algorithm>

#include <unistd.h>

namespace qv::compound {

OpenElement::OpenElement(std::shared_ptr<Root> root, OpenElement* parent, EntryId id, DWORD mode)
    : root_(std::move(root)), parent_(parent), id_(id), mode_(mode) {
    root_->opened(*this);
}

OpenElement::~OpenElement() { root_->closed(*this); }

bool OpenElement::isBeneath(const OpenElement& storage) const {
    for (const OpenElement* above = parent_; above; above = above->parent_) {
        if (above == &storage) return true;
    }
    return false;
}

HRESULT OpenElement::touch() {
    if (id_ == kRootEntry) return S_OK;
    Entry entry;
    QV_STG_TRY(root_->file().directory().edit(id_, entry));
    entry.setModified(fileTimeNow());
    return S_OK;
}

void Root::closed(OpenElement& element) { std::erase(open_, &element); }

OpenElement* Root::find(EntryId id) const {
    const auto found = std::find_if(open_.begin(), open_.end(), [id](const OpenElement* element) {
        return element->id() == id && !element->isReverted();
    });
    return found == open_.end() ? nullptr : *found;
}

bool Root::isOpenBeneath(const std::vector<EntryId>& ids) const {
    return std::any_of(open_.begin(), open_.end(), [&ids](const OpenElement* element) {
        return !element->isReverted() && std::binary_search(ids.begin(), ids.end(), element->id());
    });
}

void Root::end(OpenElement& element) {
    if (const HRESULT status = element.settle(); status < 0) file_->spoil(status);
    element.revert();
}

void Root::end(const std::vector<EntryId>& ids) {
    for (OpenElement* element : open_) {
        if (!element->isReverted() && std::binary_search(ids.begin(), ids.end(), element->id()))
            end(*element);
    }
}

void Root::endBeneath(const OpenElement& storage) {
    for (OpenElement* element : open_) {
        if (!element->isReverted() && element->isBeneath(storage)) end(*element);
    }
}

bool Root::isIdle() const {
    return std::none_of(open_.begin(), open_.end(), [](const OpenElement* element) {
        return element->id() != kRootEntry && element->canWrite() && !element->isReverted();
    });
}

// In direct mode nobody would come to take the changes back when nothing is open.
void Root::spoil(HRESULT status) {
    file_->spoil(status);
    if (!isTransacted() && isIdle()) rollBack();
}

HRESULT Root::settleAll() {
    for (OpenElement* element : open_) {
        if (!element->isReverted()) QV_STG_TRY(element->settle());
    }
    return S_OK;
}

void Root::revertAll() {
    for (OpenElement* element : open_) {
        if (element->id() != kRootEntry && !element->isReverted()) element->revert();
    }
}

HRESULT Root::publish(bool waitForDisk) {
    HRESULT status = S_OK;
    if (file_->isChanged()) status = change([this] { return settleAll(); });
    const HRESULT published = file_->publish(waitForDisk);
    if (status >= 0) status = published;
    if (published < 0) revertAll();
    return status;
}

HRESULT Root::publishWhenIdle() {
    if (!file_ || isTransacted() || !file_->isChanged() || !isIdle()) return S_OK;
    return publish(false);
}

void Root::rollBack() {
    file_->rollBack();
    revertAll();
}

void Root::close() {
    if (!file_) return;
    revertAll();
    if (file_->isChanged()) file_->rollBack();
    file_.reset();
    if (mode_ & STGM_DELETEONRELEASE) ::unlink(path_.c_str());
}

HRESULT checkElementMode(DWORD mode, DWORD allowedFlags, const OpenElement& above) {
    const DWORD access = mode & 3;
    if (access == 3 || (mode & ~(DWORD{3} | STGM_SHARE_EXCLUSIVE | allowedFlags)) != 0 ||
        (mode & STGM_SHARE_EXCLUSIVE) == 0)
        return STG_E_INVALIDFLAG;
    const bool reads = access != STGM_WRITE, writes = access != STGM_READ;
    return (reads && !above.canRead()) || (writes && !above.canWrite()) ? STG_E_ACCESSDENIED : S_OK;
}

} // namespace qv::compound
