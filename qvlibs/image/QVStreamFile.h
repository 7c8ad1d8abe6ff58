// CQVStreamFile: the stream "data" of a compound file of its own, as a file object.
#pragma once

#include "qvlibs/framework/Object.h"
#include "qvlibs/platform/StreamFile.h"

class QVLIBS_API CQVStreamFile : public CObject, public COleStreamFile {
public:
    QV_DECLARE_DYNAMIC(CQVStreamFile)

    CQVStreamFile() = default;
    // References to both are taken over; either may be null.
    CQVStreamFile(IStream* stream, IStorage* storage) : COleStreamFile(stream), storage_(storage) {}
    // Of `openFlags` two bits count: CFile::modeWrite and CFile::modeCreate.
    //   neither   the file is opened for reading, against writers
    //   write     an existing compound file is used and keeps its other streams, else one is made
    //   both      a new file replaces what is there
    // For writing, "data" starts empty. Nothing is thrown: after a failure there is no stream, and
    // GetLastError says why.
    CQVStreamFile(const char* path, unsigned openFlags);
    ~CQVStreamFile() override;

    // What was written takes effect, the last error is cleared, stream and storage are released.
    void Close() override;
    // Without a stream nothing happens. A failure is kept as the last error, it is not thrown.
    void Write(const void* buffer, unsigned count) override;
    // The failing status with bit 0x4000000 set; 0 when there was none.
    ULONG GetLastError() const { return lastError_; }
    IStorage* GetStorage() const { return storage_; } // stays this object's

private:
    void fail(HRESULT status);
    [[nodiscard]] HRESULT openStorage(const char* path, bool write, bool create);

    IStorage* storage_ = nullptr;
    ULONG lastError_ = 0;
};
