// Structured storage: a file of named storages (folders) and streams (files), as compound files hold them.
//
// Objects     counted: what a call hands out starts with one reference and dies with the last Release.
//             Releasing a storage ends what is still open beneath it: those objects then answer
//             STG_E_REVERTED. All objects of one root belong to one thread at a time.
// Names       UTF-8, 1 to 31 UTF-16 units, none of / \ : !, compared without case; lone surrogates in files
//             of others are carried as three bytes. Text that is not UTF-8 gives STG_E_INVALIDNAME.
// Sharing     a root keeps its share mode against every opener that uses this library, in this process and
//             in others; CFile's share modes are seen and see it. Elements are always opened exclusively: a
//             second open gives STG_E_ACCESSDENIED, also for a storage's parent and its children.
// Changes     are made beside the old state and take effect together, at once and whole: after a kill or on
//             a full disk the file is what it was, for any program that reads it. In direct mode they take
//             effect when nothing that can write is open beneath the root any more, at any Commit, and when
//             the root is released; in transacted mode (of a root) at the root's Commit only. A write that
//             failed takes back all changes that had not taken effect; what was open then is reverted.
// Durability  Commit waits for the disk unless told not to; what takes effect by a release does not wait.
// Limits      sectors of 512 bytes (the default): 2 GiB a file; of 4096 bytes: 16 TiB.
// Statuses    negative means failure. Out parameters are null or 0 on failure unless said otherwise.
#pragma once

#include "qvlibs/framework/Strings.h"
#include "qvlibs/framework/Types.h"

#include <cstdint>

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1; // done, but less than asked: the end of an enumeration, no storage file
constexpr HRESULT STG_E_INVALIDFUNCTION = static_cast<HRESULT>(0x80030001u);
constexpr HRESULT STG_E_FILENOTFOUND = static_cast<HRESULT>(0x80030002u);
constexpr HRESULT STG_E_PATHNOTFOUND = static_cast<HRESULT>(0x80030003u);
constexpr HRESULT STG_E_TOOMANYOPENFILES = static_cast<HRESULT>(0x80030004u);
constexpr HRESULT STG_E_ACCESSDENIED = static_cast<HRESULT>(0x80030005u);
constexpr HRESULT STG_E_INSUFFICIENTMEMORY = static_cast<HRESULT>(0x80030008u);
constexpr HRESULT STG_E_INVALIDPOINTER = static_cast<HRESULT>(0x80030009u);
constexpr HRESULT STG_E_WRITEFAULT = static_cast<HRESULT>(0x8003001Du);
constexpr HRESULT STG_E_READFAULT = static_cast<HRESULT>(0x8003001Eu);
constexpr HRESULT STG_E_SHAREVIOLATION = static_cast<HRESULT>(0x80030020u);
constexpr HRESULT STG_E_FILEALREADYEXISTS = static_cast<HRESULT>(0x80030050u);
constexpr HRESULT STG_E_INVALIDPARAMETER = static_cast<HRESULT>(0x80030057u);
constexpr HRESULT STG_E_MEDIUMFULL = static_cast<HRESULT>(0x80030070u);    // disk, or the format's limit
constexpr HRESULT STG_E_INVALIDHEADER = static_cast<HRESULT>(0x800300FBu); // no compound file
constexpr HRESULT STG_E_INVALIDNAME = static_cast<HRESULT>(0x800300FCu);
constexpr HRESULT STG_E_INVALIDFLAG = static_cast<HRESULT>(0x800300FFu);
constexpr HRESULT STG_E_NOTCURRENT = static_cast<HRESULT>(0x80030101u); // somebody else committed meanwhile
constexpr HRESULT STG_E_REVERTED = static_cast<HRESULT>(0x80030102u);   // the object's element is gone
constexpr HRESULT STG_E_OLDFORMAT = static_cast<HRESULT>(0x80030104u);  // a format from before this one
constexpr HRESULT STG_E_DOCFILECORRUPT = static_cast<HRESULT>(0x80030109u);

// Modes: one access, one share mode, and flags. Other bits give STG_E_INVALIDFLAG.
constexpr DWORD STGM_READ = 0x0;
constexpr DWORD STGM_WRITE = 0x1;
constexpr DWORD STGM_READWRITE = 0x2;
constexpr DWORD STGM_SHARE_EXCLUSIVE = 0x10;
constexpr DWORD STGM_SHARE_DENY_WRITE = 0x20;
constexpr DWORD STGM_SHARE_DENY_READ = 0x30;
constexpr DWORD STGM_SHARE_DENY_NONE = 0x40; // what no share mode means too
constexpr DWORD STGM_CREATE = 0x1000;        // replaces what is there; without it that is an error
constexpr DWORD STGM_FAILIFTHERE = 0x0;
constexpr DWORD STGM_DIRECT = 0x0;
constexpr DWORD STGM_TRANSACTED = 0x10000; // roots only
constexpr DWORD STGM_NOSCRATCH = 0x100000; // hints for transacted roots, without effect here
constexpr DWORD STGM_NOSNAPSHOT = 0x200000;
constexpr DWORD STGM_DELETEONRELEASE = 0x4000000; // the file of a root

constexpr DWORD STGC_DEFAULT = 0;
constexpr DWORD STGC_OVERWRITE = 1;                          // without effect: old data is never in danger
constexpr DWORD STGC_ONLYIFCURRENT = 2;                      // always so
constexpr DWORD STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE = 4; // does not wait for the disk
constexpr DWORD STGTY_STORAGE = 1;
constexpr DWORD STGTY_STREAM = 2;
constexpr DWORD STREAM_SEEK_SET = 0;
constexpr DWORD STREAM_SEEK_CUR = 1;
constexpr DWORD STREAM_SEEK_END = 2;
constexpr DWORD STATFLAG_DEFAULT = 0;
constexpr DWORD STATFLAG_NONAME = 1;
constexpr DWORD STGMOVE_MOVE = 0;
constexpr DWORD STGMOVE_COPY = 1;

// 100-nanosecond steps since 1601-01-01 UTC; 0 where there is none.
struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

struct CLSID {
    DWORD Data1;
    WORD Data2;
    WORD Data3;
    BYTE Data4[8];
    bool operator==(const CLSID&) const = default;
};

// What is known of an element.
struct STATSTG {
    CString pwcsName;         // the absolute path for a root; empty with STATFLAG_NONAME
    DWORD type = 0;           // STGTY_*
    std::uint64_t cbSize = 0; // bytes of a stream, 0 for storages
    FILETIME mtime{};         // storages only; the file's own times for a root
    FILETIME ctime{};
    FILETIME atime{};
    DWORD grfMode = 0; // how the object was opened; 0 in an enumeration
    CLSID clsid{};     // storages only
    DWORD grfStateBits = 0;
};

// Names left out of a copy or an open: an array that ends with null.
using SNB = const char* const*;

class QVLIBS_API IUnknownStorage {
public:
    virtual ULONG AddRef() = 0;  // the new count
    virtual ULONG Release() = 0; // the count left

protected:
    virtual ~IUnknownStorage() = default;
};

class IEnumSTATSTG : public IUnknownStorage {
public:
    // The next elements in the order of names. S_OK when all asked for came, S_FALSE at the end.
    virtual HRESULT Next(ULONG count, STATSTG* elements, ULONG* fetched) = 0;
    virtual HRESULT Skip(ULONG count) = 0;
    virtual HRESULT Reset() = 0;
    virtual HRESULT Clone(IEnumSTATSTG** copy) = 0;
};

class IStream : public IUnknownStorage {
public:
    // Fewer bytes than asked come only at the end, and before damage: then the next call fails.
    virtual HRESULT Read(void* buffer, ULONG count, ULONG* read) = 0;
    // Writing past the end grows the stream; what lies between reads as zeros. Nothing or all is written.
    virtual HRESULT Write(const void* buffer, ULONG count, ULONG* written) = 0;
    // Positions may lie past the end; before the start gives STG_E_INVALIDFUNCTION.
    virtual HRESULT Seek(std::int64_t move, DWORD origin, std::uint64_t* position) = 0;
    virtual HRESULT SetSize(std::uint64_t size) = 0; // grows with zeros; the position stays
    // From this position to the other's.
    virtual HRESULT CopyTo(IStream* target, std::uint64_t count, std::uint64_t* read,
                           std::uint64_t* written) = 0;
    virtual HRESULT Commit(DWORD flags) = 0; // of the whole root in direct mode; nothing in transacted mode
    virtual HRESULT Revert() = 0;            // streams are direct: does nothing
    virtual HRESULT Stat(STATSTG* stat, DWORD flags) = 0;
    virtual HRESULT Clone(IStream** copy) = 0; // the same stream with a position of its own
};

class IStorage : public IUnknownStorage {
public:
    // The access must be within this storage's own, the share mode exclusive. With STGM_CREATE an element of
    // that name, of either kind, is replaced. The reserved arguments are 0.
    virtual HRESULT CreateStream(const char* name, DWORD mode, DWORD reserved1, DWORD reserved2,
                                 IStream** stream) = 0;
    virtual HRESULT OpenStream(const char* name, void* reserved1, DWORD mode, DWORD reserved2,
                               IStream** stream) = 0;
    virtual HRESULT CreateStorage(const char* name, DWORD mode, DWORD reserved1, DWORD reserved2,
                                  IStorage** storage) = 0;
    virtual HRESULT OpenStorage(const char* name, IStorage* priority, DWORD mode, SNB exclude, DWORD reserved,
                                IStorage** storage) = 0;
    // All elements beneath (but the names of `exclude`) with class, state and content; storages that the
    // target has already are merged, streams replaced. The class arguments are 0 and null.
    virtual HRESULT CopyTo(DWORD excludedClasses, const CLSID* classes, SNB exclude, IStorage* target) = 0;
    // Copies one element into another storage under a new name, where storages are merged and streams replaced; with
    // STGMOVE_MOVE it is then destroyed here.
    virtual HRESULT MoveElementTo(const char* name, IStorage* target, const char* newName, DWORD flags) = 0;
    virtual HRESULT Commit(DWORD flags) = 0; // of the whole root in direct mode; see above
    virtual HRESULT Revert() = 0; // a transacted root goes back to its last Commit; else does nothing
    virtual HRESULT EnumElements(DWORD reserved1, void* reserved2, DWORD reserved3,
                                 IEnumSTATSTG** elements) = 0;
    // With everything beneath. Objects that are open on it are reverted.
    virtual HRESULT DestroyElement(const char* name) = 0;
    virtual HRESULT RenameElement(const char* oldName, const char* newName) = 0;
    // Null times stay as they are; access times are not kept. A null name means this storage, which must not
    // be a root. Streams have no times: STG_E_INVALIDFUNCTION.
    virtual HRESULT SetElementTimes(const char* name, const FILETIME* created, const FILETIME* accessed,
                                    const FILETIME* modified) = 0;
    virtual HRESULT SetClass(const CLSID& id) = 0;
    virtual HRESULT SetStateBits(DWORD bits, DWORD mask) = 0;
    virtual HRESULT Stat(STATSTG* stat, DWORD flags) = 0;
};

struct STGOPTIONS {
    WORD usVersion = 1;
    WORD reserved = 0;
    ULONG ulSectorSize = 512; // or 4096, for files beyond 2 GiB
};

extern "C" {

// A new, empty file, which appears whole. Direct roots that write need STGM_SHARE_EXCLUSIVE. Without STGM_CREATE an
// existing file gives STG_E_FILEALREADYEXISTS; with it the file is replaced at once, keeps its permissions, and is
// replaced where it lies when the path is a link.
QVLIBS_API HRESULT StgCreateDocfile(const char* path, DWORD mode, DWORD reserved, IStorage** storage);
QVLIBS_API HRESULT StgCreateStorageEx(const char* path, DWORD mode, const STGOPTIONS* options,
                                      IStorage** storage);
// Direct roots: reading needs STGM_SHARE_DENY_WRITE or _EXCLUSIVE, writing _EXCLUSIVE. Transacted roots take
// every share mode and see the state of when they were opened.
QVLIBS_API HRESULT StgOpenStorage(const char* path, IStorage* priority, DWORD mode, SNB exclude,
                                  DWORD reserved, IStorage** storage);
// S_OK when the file begins like a compound file, S_FALSE when not, a failure when it cannot be read.
QVLIBS_API HRESULT StgIsStorageFile(const char* path);

} // extern "C"
