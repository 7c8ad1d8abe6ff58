// Copying and moving elements between storages, through the interfaces: the target may be of any kind.
#include "qvlibs/platform/CompoundNames.h"
#include "qvlibs/platform/CompoundObjects.h"
#include "qvlibs/platform/Held.h"

namespace qv::compound {
namespace {

constexpr int kDeepestStorage = 500; // a guard for the stack

bool isExcluded(const CString& name, SNB exclude) {
    std::u16string own, other;
    for (; exclude && *exclude; ++exclude) {
        if (toUtf16(name.str(), own) && toUtf16(*exclude, other) && compareNames(own, other) == 0)
            return true;
    }
    return false;
}

int depthOf(const OpenElement& storage) {
    int depth = 0;
    for (const OpenElement* above = storage.above(); above; above = above->above()) ++depth;
    return depth;
}

HRESULT openOrCreate(IStorage* target, const char* name, IStorage** storage) {
    const HRESULT created = target->CreateStorage(name, STGM_WRITE | STGM_SHARE_EXCLUSIVE, 0, 0, storage);
    if (created != STG_E_FILEALREADYEXISTS) return created;
    const HRESULT opened =
        target->OpenStorage(name, nullptr, STGM_WRITE | STGM_SHARE_EXCLUSIVE, nullptr, 0, storage);
    if (opened != STG_E_FILENOTFOUND) return opened; // else it is a stream, which gives way
    return target->CreateStorage(name, STGM_CREATE | STGM_WRITE | STGM_SHARE_EXCLUSIVE, 0, 0, storage);
}

} // namespace

HRESULT StorageObject::copyElement(const STATSTG& element, const char* newName, IStorage* target) {
    if (element.type == STGTY_STREAM) {
        Held<IStream> from, to;
        QV_STG_TRY(OpenStream(element.pwcsName, nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, 0, from.out()));
        QV_STG_TRY(
            target->CreateStream(newName, STGM_CREATE | STGM_WRITE | STGM_SHARE_EXCLUSIVE, 0, 0, to.out()));
        std::uint64_t copied = 0;
        QV_STG_TRY(to->SetSize(element.cbSize));
        QV_STG_TRY(from->CopyTo(to.get(), element.cbSize, nullptr, &copied));
        return copied == element.cbSize ? S_OK : STG_E_DOCFILECORRUPT;
    }
    Held<IStorage> from, to;
    QV_STG_TRY(
        OpenStorage(element.pwcsName, nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, nullptr, 0, from.out()));
    QV_STG_TRY(openOrCreate(target, newName, to.out()));
    return from->CopyTo(0, nullptr, nullptr, to.get());
}

HRESULT StorageObject::copyElements(SNB exclude, IStorage* target) {
    Held<IEnumSTATSTG> elements;
    QV_STG_TRY(EnumElements(0, nullptr, 0, elements.out()));
    STATSTG element;
    while (elements->Next(1, &element, nullptr) == S_OK) {
        if (!isExcluded(element.pwcsName, exclude))
            QV_STG_TRY(copyElement(element, element.pwcsName, target));
    }
    return S_OK;
}

HRESULT StorageObject::CopyTo(DWORD excludedClasses, const CLSID* classes, SNB exclude, IStorage* target) {
    if (!target) return STG_E_INVALIDPOINTER;
    if (excludedClasses || classes) return STG_E_INVALIDPARAMETER;
    if (isReverted()) return STG_E_REVERTED;
    if (depthOf(*this) > kDeepestStorage) return STG_E_INSUFFICIENTMEMORY;
    STATSTG own;
    QV_STG_TRY(Stat(&own, STATFLAG_NONAME));
    QV_STG_TRY(copyElements(exclude, target));
    QV_STG_TRY(target->SetClass(own.clsid));
    return target->SetStateBits(own.grfStateBits, ~DWORD{0});
}

HRESULT StorageObject::MoveElementTo(const char* name, IStorage* target, const char* newName, DWORD flags) {
    if (!target || !newName) return STG_E_INVALIDPOINTER;
    if (flags > STGMOVE_COPY) return STG_E_INVALIDFLAG;
    if (isReverted()) return STG_E_REVERTED;
    if (flags == STGMOVE_MOVE) QV_STG_TRY(checkWrite());
    std::u16string units;
    EntryId id = kNoEntry;
    QV_STG_TRY(lookUp(name, units, id));
    Entry entry;
    QV_STG_TRY(root().file().directory().read(id, entry));
    STATSTG element;
    describe(entry, root().file().isWide(), STATFLAG_DEFAULT, element);
    QV_STG_TRY(copyElement(element, newName, target));
    return flags == STGMOVE_MOVE ? DestroyElement(name) : S_OK;
}

} // namespace qv::compound
