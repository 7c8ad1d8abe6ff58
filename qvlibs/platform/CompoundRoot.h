// What is open of one compound file: its objects, and when their changes take effect.
#pragma once

#include "qvlibs/platform/CompoundFile.h"

#include <memory>
#include <new>
#include <string>
#include <vector>

namespace qv::compound {

class Root;

// An open storage or stream. Elements beneath a storage end with it.
class OpenElement {
public:
    OpenElement(std::shared_ptr<Root> root, OpenElement* parent, EntryId id, DWORD mode);
    virtual ~OpenElement();
    OpenElement(const OpenElement&) = delete;
    OpenElement& operator=(const OpenElement&) = delete;

    EntryId id() const { return id_; }
    DWORD mode() const { return mode_; }
    bool canRead() const { return (mode_ & 3) != STGM_WRITE; }
    bool canWrite() const { return (mode_ & 3) != STGM_READ; }
    bool isReverted() const { return reverted_; }
    bool isBeneath(const OpenElement& storage) const;
    const OpenElement* above() const { return parent_; }
    Root& root() const { return *root_; }
    const std::shared_ptr<Root>& sharedRoot() const { return root_; }

    // Brings the file's tables up to date with what this object holds.
    [[nodiscard]] virtual HRESULT settle() { return S_OK; }
    // The element is gone, or the state that it was opened in.
    void revert() { reverted_ = true; }

protected:
    // Marks a storage as changed now. Roots have the times of their file.
    [[nodiscard]] HRESULT touch();
    [[nodiscard]] HRESULT touchParent() { return parent_->touch(); }

private:
    std::shared_ptr<Root> root_;
    OpenElement* parent_;
    EntryId id_;
    DWORD mode_;
    bool reverted_ = false;
};

class Root {
public:
    Root(std::unique_ptr<File> file, std::string path, DWORD mode)
        : file_(std::move(file)), path_(std::move(path)), mode_(mode) {}
    ~Root() { close(); }
    Root(const Root&) = delete;
    Root& operator=(const Root&) = delete;

    File& file() { return *file_; }
    const std::string& path() const { return path_; }
    bool isTransacted() const { return (mode_ & STGM_TRANSACTED) != 0; }

    void opened(OpenElement& element) { open_.push_back(&element); }
    void closed(OpenElement& element);
    OpenElement* find(EntryId id) const; // null when it is not open
    // Whether an element or anything beneath it is open.
    bool isOpenBeneath(const std::vector<EntryId>& ids) const;
    // Ends what is open of these elements, or beneath a storage; changes made so far stay.
    void end(const std::vector<EntryId>& ids);
    void endBeneath(const OpenElement& storage);

    // Runs a step that changes something. A failure spoils all changes that are not published yet.
    template <class Step>
    [[nodiscard]] HRESULT change(Step step) {
        HRESULT status;
        try {
            status = file_->prepareChange();
            if (status >= 0) status = step();
        } catch (const std::bad_alloc&) {
            status = STG_E_INSUFFICIENTMEMORY;
        }
        if (status < 0 && file_->isChanged()) spoil(status);
        return status;
    }
    // What was changed takes effect. On failure it is taken back and everything but the root is reverted.
    [[nodiscard]] HRESULT publish(bool waitForDisk);
    // The same in direct mode when nothing that can write is open beneath the root.
    [[nodiscard]] HRESULT publishWhenIdle();
    void rollBack();
    void close();

private:
    bool isIdle() const; // nothing that can write is open beneath the root
    void spoil(HRESULT status);
    void end(OpenElement& element);
    [[nodiscard]] HRESULT settleAll();
    void revertAll();

    std::unique_ptr<File> file_; // null once the root's object is gone
    std::string path_;
    DWORD mode_;
    std::vector<OpenElement*> open_;
};

// Modes of elements: within the access of the storage above, exclusive, no flags but those.
[[nodiscard]] HRESULT checkElementMode(DWORD mode, DWORD allowedFlags, const OpenElement& above);

} // namespace qv::compound
