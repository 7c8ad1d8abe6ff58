#include "qvlibs/platform/CompoundNames.h"
#include "qvlibs/platform/CompoundObjects.h"

#include <algorithm>
#include <tuple>

#include <sys/stat.h>

namespace qv::compound {
namespace {

FILETIME toFileTime(std::uint64_t steps) {
    return {static_cast<DWORD>(steps), static_cast<DWORD>(steps >> 32)};
}

std::uint64_t fromFileTime(const FILETIME& time) {
    return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

} // namespace

void describe(const Entry& entry, bool wide, DWORD flags, STATSTG& stat) {
    stat = {};
    if (!(flags & STATFLAG_NONAME)) stat.pwcsName = toUtf8(entry.name());
    stat.type = entry.type() == kStream ? STGTY_STREAM : STGTY_STORAGE;
    if (entry.type() == kStream) {
        stat.cbSize = entry.size(wide);
        return;
    }
    stat.ctime = toFileTime(entry.created());
    stat.mtime = toFileTime(entry.modified());
    stat.clsid = entry.classId();
    stat.grfStateBits = entry.stateBits();
}

// The last reference is gone. What cannot be published then is taken back; nobody is left to be told.
StorageObject::~StorageObject() {
    if (isReverted()) return;
    Root& owner = root();
    owner.endBeneath(*this);
    revert();
    if (canWrite()) std::ignore = owner.publishWhenIdle();
    if (id() == kRootEntry) owner.close();
}

HRESULT StorageObject::checkWrite() const {
    if (isReverted()) return STG_E_REVERTED;
    return canWrite() ? S_OK : STG_E_ACCESSDENIED;
}

HRESULT StorageObject::lookUp(const char* name, std::u16string& units, EntryId& found) const {
    if (!name) return STG_E_INVALIDPOINTER;
    if (!toUtf16(name, units) || !isValidName(units)) return STG_E_INVALIDNAME;
    QV_STG_TRY(root().file().directory().find(id(), units, found));
    return found == kNoEntry ? STG_E_FILENOTFOUND : S_OK;
}

HRESULT StorageObject::everythingIn(EntryId top, std::vector<EntryId>& ids) const {
    Directory& directory = root().file().directory();
    ids.assign(1, top);
    for (size_t i = 0; i < ids.size(); ++i) {
        Entry entry;
        std::vector<EntryId> below;
        QV_STG_TRY(directory.read(ids[i], entry));
        if (entry.type() == kStorage) QV_STG_TRY(directory.list(ids[i], below));
        ids.insert(ids.end(), below.begin(), below.end());
    }
    std::sort(ids.begin(), ids.end());
    return S_OK;
}

HRESULT StorageObject::destroy(EntryId element, const std::vector<EntryId>& everything) {
    File& file = root().file();
    QV_STG_TRY(file.directory().remove(id(), element));
    for (const EntryId gone : everything) {
        Entry entry;
        QV_STG_TRY(file.directory().read(gone, entry));
        if (entry.type() == kStream) QV_STG_TRY(file.releaseContent(gone));
        QV_STG_TRY(file.directory().release(gone));
    }
    return touch();
}

HRESULT StorageObject::create(const char* name, DWORD mode, EntryType type, EntryId& created) {
    QV_STG_TRY(checkWrite());
    QV_STG_TRY(checkElementMode(mode, STGM_CREATE, *this));
    std::u16string units;
    EntryId old = kNoEntry;
    std::vector<EntryId> replaced;
    const HRESULT found = lookUp(name, units, old);
    if (found < 0 && found != STG_E_FILENOTFOUND) return found;
    if (found >= 0) {
        if (!(mode & STGM_CREATE)) return STG_E_FILEALREADYEXISTS;
        QV_STG_TRY(everythingIn(old, replaced));
        if (root().isOpenBeneath(replaced)) return STG_E_ACCESSDENIED;
    }
    return root().change([&] {
        Directory& directory = root().file().directory();
        Entry entry;
        if (found >= 0) QV_STG_TRY(destroy(old, replaced));
        QV_STG_TRY(directory.allocate(created));
        QV_STG_TRY(directory.edit(created, entry));
        entry.clear(type, units);
        if (type == kStorage) {
            entry.setCreated(fileTimeNow());
            entry.setModified(entry.created());
        }
        QV_STG_TRY(directory.insert(id(), created));
        return touch();
    });
}

HRESULT StorageObject::open(const char* name, DWORD mode, EntryType type, EntryId& opened) const {
    if (isReverted()) return STG_E_REVERTED;
    QV_STG_TRY(checkElementMode(mode, 0, *this));
    std::u16string units;
    QV_STG_TRY(lookUp(name, units, opened));
    Entry entry;
    QV_STG_TRY(root().file().directory().read(opened, entry));
    if (entry.type() != type) return STG_E_FILENOTFOUND;
    return root().find(opened) ? STG_E_ACCESSDENIED : S_OK;
}

HRESULT StorageObject::CreateStream(const char* name, DWORD mode, DWORD reserved1, DWORD reserved2,
                                    IStream** stream) {
    if (!stream) return STG_E_INVALIDPOINTER;
    *stream = nullptr;
    if (reserved1 || reserved2) return STG_E_INVALIDPARAMETER;
    EntryId created = kNoEntry;
    QV_STG_TRY(create(name, mode, kStream, created));
    auto core = std::make_shared<StreamCore>(sharedRoot(), this, created, mode);
    QV_STG_TRY(core->data().open());
    *stream = new StreamObject(std::move(core));
    return S_OK;
}

HRESULT StorageObject::OpenStream(const char* name, void* reserved1, DWORD mode, DWORD reserved2,
                                  IStream** stream) {
    if (!stream) return STG_E_INVALIDPOINTER;
    *stream = nullptr;
    if (reserved1 || reserved2) return STG_E_INVALIDPARAMETER;
    EntryId opened = kNoEntry;
    QV_STG_TRY(open(name, mode, kStream, opened));
    auto core = std::make_shared<StreamCore>(sharedRoot(), this, opened, mode);
    QV_STG_TRY(core->data().open());
    *stream = new StreamObject(std::move(core));
    return S_OK;
}

HRESULT StorageObject::CreateStorage(const char* name, DWORD mode, DWORD reserved1, DWORD reserved2,
                                     IStorage** storage) {
    if (!storage) return STG_E_INVALIDPOINTER;
    *storage = nullptr;
    if (reserved1 || reserved2) return STG_E_INVALIDPARAMETER;
    EntryId created = kNoEntry;
    QV_STG_TRY(create(name, mode, kStorage, created));
    *storage = new StorageObject(sharedRoot(), this, created, mode);
    return S_OK;
}

HRESULT StorageObject::OpenStorage(const char* name, IStorage* priority, DWORD mode, SNB exclude,
                                   DWORD reserved, IStorage** storage) {
    if (!storage) return STG_E_INVALIDPOINTER;
    *storage = nullptr;
    if (priority || exclude || reserved) return STG_E_INVALIDPARAMETER;
    EntryId opened = kNoEntry;
    QV_STG_TRY(open(name, mode, kStorage, opened));
    *storage = new StorageObject(sharedRoot(), this, opened, mode);
    return S_OK;
}

HRESULT StorageObject::Commit(DWORD flags) {
    if (isReverted()) return STG_E_REVERTED;
    if (flags & ~(STGC_OVERWRITE | STGC_ONLYIFCURRENT | STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE))
        return STG_E_INVALIDFLAG;
    if (!canWrite() || (root().isTransacted() && id() != kRootEntry)) return S_OK;
    return root().publish(!(flags & STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE));
}

HRESULT StorageObject::Revert() {
    if (isReverted()) return STG_E_REVERTED;
    if (root().isTransacted() && id() == kRootEntry) root().rollBack();
    return S_OK;
}

HRESULT StorageObject::finish(HRESULT changed) { return changed < 0 ? changed : root().publishWhenIdle(); }

HRESULT StorageObject::EnumElements(DWORD reserved1, void* reserved2, DWORD reserved3,
                                    IEnumSTATSTG** elements) {
    if (!elements) return STG_E_INVALIDPOINTER;
    *elements = nullptr;
    if (reserved1 || reserved2 || reserved3) return STG_E_INVALIDPARAMETER;
    if (isReverted()) return STG_E_REVERTED;
    if (!canRead()) return STG_E_ACCESSDENIED;
    File& file = root().file();
    std::vector<EntryId> ids;
    QV_STG_TRY(file.directory().list(id(), ids));
    auto found = std::make_shared<std::vector<STATSTG>>(ids.size());
    for (size_t i = 0; i < ids.size(); ++i) {
        Entry entry;
        QV_STG_TRY(file.directory().read(ids[i], entry));
        describe(entry, file.isWide(), STATFLAG_DEFAULT, (*found)[i]);
    }
    *elements = new Enumeration(std::move(found));
    return S_OK;
}

HRESULT StorageObject::DestroyElement(const char* name) {
    QV_STG_TRY(checkWrite());
    std::u16string units;
    EntryId element = kNoEntry;
    std::vector<EntryId> everything;
    QV_STG_TRY(lookUp(name, units, element));
    QV_STG_TRY(everythingIn(element, everything));
    return finish(root().change([&] {
        root().end(everything);
        return destroy(element, everything);
    }));
}

HRESULT StorageObject::RenameElement(const char* oldName, const char* newName) {
    QV_STG_TRY(checkWrite());
    std::u16string units;
    EntryId element = kNoEntry, other = kNoEntry;
    QV_STG_TRY(lookUp(oldName, units, element));
    const HRESULT taken = lookUp(newName, units, other);
    if (taken < 0 && taken != STG_E_FILENOTFOUND) return taken;
    if (taken >= 0 && other != element) return STG_E_FILEALREADYEXISTS;
    if (root().find(element)) return STG_E_ACCESSDENIED;
    return finish(root().change([&] {
        Directory& directory = root().file().directory();
        Entry entry;
        QV_STG_TRY(directory.remove(id(), element));
        QV_STG_TRY(directory.edit(element, entry));
        entry.setName(units);
        QV_STG_TRY(directory.insert(id(), element));
        return touch();
    }));
}

HRESULT StorageObject::setTimes(EntryId element, const FILETIME* created, const FILETIME* modified) {
    Entry entry;
    QV_STG_TRY(root().file().directory().edit(element, entry));
    if (created) entry.setCreated(fromFileTime(*created));
    if (modified) entry.setModified(fromFileTime(*modified));
    return S_OK;
}

HRESULT StorageObject::SetElementTimes(const char* name, const FILETIME* created, const FILETIME*,
                                       const FILETIME* modified) {
    QV_STG_TRY(checkWrite());
    std::u16string units;
    EntryId element = id();
    if (name) QV_STG_TRY(lookUp(name, units, element));
    Entry entry;
    QV_STG_TRY(root().file().directory().read(element, entry));
    if (entry.type() != kStorage) return STG_E_INVALIDFUNCTION;
    return finish(root().change([&] { return setTimes(element, created, modified); }));
}

HRESULT StorageObject::SetClass(const CLSID& classId) {
    QV_STG_TRY(checkWrite());
    return finish(root().change([&] {
        Entry entry;
        QV_STG_TRY(root().file().directory().edit(id(), entry));
        entry.setClassId(classId);
        return touch();
    }));
}

HRESULT StorageObject::SetStateBits(DWORD bits, DWORD mask) {
    QV_STG_TRY(checkWrite());
    return finish(root().change([&] {
        Entry entry;
        QV_STG_TRY(root().file().directory().edit(id(), entry));
        entry.setStateBits((entry.stateBits() & ~mask) | (bits & mask));
        return touch();
    }));
}

HRESULT StorageObject::Stat(STATSTG* stat, DWORD flags) {
    if (!stat) return STG_E_INVALIDPOINTER;
    if (isReverted()) return STG_E_REVERTED;
    File& file = root().file();
    Entry entry;
    QV_STG_TRY(file.directory().read(id(), entry));
    describe(entry, file.isWide(), flags, *stat);
    stat->grfMode = mode();
    if (id() != kRootEntry) return S_OK;
    if (!(flags & STATFLAG_NONAME)) stat->pwcsName = root().path();
    struct stat status {};
    if (::fstat(file.disk().descriptor(), &status) == 0) {
        stat->mtime = toFileTime(fileTimeOf(status.st_mtim));
        stat->ctime = toFileTime(fileTimeOf(status.st_ctim));
        stat->atime = toFileTime(fileTimeOf(status.st_atim));
    }
    return S_OK;
}

} // namespace qv::compound
