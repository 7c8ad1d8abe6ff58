// The objects that callers hold: IStorage, IStream and the enumeration over a compound file.
#pragma once

#include "qvlibs/platform/CompoundRoot.h"

#include <memory>
#include <string>
#include <vector>

namespace qv::compound {

class StreamCore;

// Counting for the objects; they belong to one thread at a time.
template <class Interface>
class Counted : public Interface {
public:
    ULONG AddRef() override { return ++references_; }
    ULONG Release() override {
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }

private:
    ULONG references_ = 1;
};

class StorageObject final : public Counted<IStorage>, public OpenElement {
public:
    StorageObject(std::shared_ptr<Root> root, OpenElement* parent, EntryId id, DWORD mode)
        : OpenElement(std::move(root), parent, id, mode) {}
    ~StorageObject() override;

    HRESULT CreateStream(const char* name, DWORD mode, DWORD reserved1, DWORD reserved2,
                         IStream** stream) override;
    HRESULT OpenStream(const char* name, void* reserved1, DWORD mode, DWORD reserved2,
                       IStream** stream) override;
    HRESULT CreateStorage(const char* name, DWORD mode, DWORD reserved1, DWORD reserved2,
                          IStorage** storage) override;
    HRESULT OpenStorage(const char* name, IStorage* priority, DWORD mode, SNB exclude, DWORD reserved,
                        IStorage** storage) override;
    HRESULT CopyTo(DWORD excludedClasses, const CLSID* classes, SNB exclude, IStorage* target) override;
    HRESULT MoveElementTo(const char* name, IStorage* target, const char* newName, DWORD flags) override;
    HRESULT Commit(DWORD flags) override;
    HRESULT Revert() override;
    HRESULT EnumElements(DWORD reserved1, void* reserved2, DWORD reserved3, IEnumSTATSTG** elements) override;
    HRESULT DestroyElement(const char* name) override;
    HRESULT RenameElement(const char* oldName, const char* newName) override;
    HRESULT SetElementTimes(const char* name, const FILETIME* created, const FILETIME* accessed,
                            const FILETIME* modified) override;
    HRESULT SetClass(const CLSID& id) override;
    HRESULT SetStateBits(DWORD bits, DWORD mask) override;
    HRESULT Stat(STATSTG* stat, DWORD flags) override;

private:
    [[nodiscard]] HRESULT checkWrite() const;
    // The element of a name: STG_E_FILENOTFOUND when there is none.
    [[nodiscard]] HRESULT lookUp(const char* name, std::u16string& units, EntryId& id) const;
    [[nodiscard]] HRESULT create(const char* name, DWORD mode, EntryType type, EntryId& id);
    [[nodiscard]] HRESULT open(const char* name, DWORD mode, EntryType type, EntryId& id) const;
    [[nodiscard]] HRESULT everythingIn(EntryId id, std::vector<EntryId>& ids) const;
    [[nodiscard]] HRESULT destroy(EntryId id, const std::vector<EntryId>& everything);
    [[nodiscard]] HRESULT setTimes(EntryId id, const FILETIME* created, const FILETIME* modified);
    // The end of a change by this object alone: it takes effect when nothing else is open.
    [[nodiscard]] HRESULT finish(HRESULT changed);
    [[nodiscard]] HRESULT copyElements(SNB exclude, IStorage* target);
    [[nodiscard]] HRESULT copyElement(const STATSTG& element, const char* newName, IStorage* target);
};

class StreamObject final : public Counted<IStream> {
public:
    explicit StreamObject(std::shared_ptr<StreamCore> core) : core_(std::move(core)) {}

    HRESULT Read(void* buffer, ULONG count, ULONG* read) override;
    HRESULT Write(const void* buffer, ULONG count, ULONG* written) override;
    HRESULT Seek(std::int64_t move, DWORD origin, std::uint64_t* position) override;
    HRESULT SetSize(std::uint64_t size) override;
    HRESULT CopyTo(IStream* target, std::uint64_t count, std::uint64_t* read,
                   std::uint64_t* written) override;
    HRESULT Commit(DWORD flags) override;
    HRESULT Revert() override;
    HRESULT Stat(STATSTG* stat, DWORD flags) override;
    HRESULT Clone(IStream** copy) override;

private:
    std::shared_ptr<StreamCore> core_; // with the clones
    std::uint64_t position_ = 0;
};

// What an open stream and its clones share.
class StreamCore final : public OpenElement {
public:
    StreamCore(std::shared_ptr<Root> root, OpenElement* parent, EntryId id, DWORD mode)
        : OpenElement(std::move(root), parent, id, mode), data_(this->root().file(), id) {}
    ~StreamCore() override;

    StreamData& data() { return data_; }
    [[nodiscard]] HRESULT settle() override;
    void changed() { changed_ = true; }

private:
    StreamData data_;
    bool changed_ = false;
};

class Enumeration final : public Counted<IEnumSTATSTG> {
public:
    explicit Enumeration(std::shared_ptr<const std::vector<STATSTG>> elements, size_t next = 0)
        : elements_(std::move(elements)), next_(next) {}

    HRESULT Next(ULONG count, STATSTG* elements, ULONG* fetched) override;
    HRESULT Skip(ULONG count) override;
    HRESULT Reset() override;
    HRESULT Clone(IEnumSTATSTG** copy) override;

private:
    std::shared_ptr<const std::vector<STATSTG>> elements_; // as they were when the enumeration was made
    size_t next_;
};

// Fills in what the entry says.
void describe(const Entry& entry, bool wide, DWORD flags, STATSTG& stat);

} // namespace qv::compound
