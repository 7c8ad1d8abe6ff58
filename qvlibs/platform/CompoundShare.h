// Share modes of compound files between all openers that use this library, as locks on the open file.
#pragma once

#include "qvlibs/platform/Storage.h"

namespace qv::compound {

// Takes the locks for a mode, for as long as the file stays open. STG_E_SHAREVIOLATION when another opener
// stands against it.
[[nodiscard]] HRESULT lockShare(int descriptor, DWORD mode);

// Whether anybody else has the file open as a storage.
bool othersPresent(int descriptor);

// Holds the header still, or alone, for the life of the object. Waits. Descriptor -1 locks nothing.
class CommitLock {
public:
    enum Kind { Read, Write };
    CommitLock(int descriptor, Kind kind);
    ~CommitLock();
    CommitLock(const CommitLock&) = delete;
    CommitLock& operator=(const CommitLock&) = delete;

private:
    int descriptor_;
};

} // namespace qv::compound
