// COleStreamFile: a stream of a compound file as a file object.
#pragma once

#include "qvlibs/framework/File.h"
#include "qvlibs/platform/Storage.h"

class QVLIBS_API COleStreamFile : public CFile {
public:
    // The stream's reference is taken over, and released by Close or at the end.
    explicit COleStreamFile(IStream* stream = nullptr) : stream_(stream) {}
    ~COleStreamFile() override;

    // A stream held before is released first.
    void Attach(IStream* stream);
    // The caller has the reference again.
    IStream* Detach();
    IStream* GetStream() const { return stream_; } // stays this object's

    int Open(const char* path, unsigned flags, CFileException* error = nullptr) override; // refused: 0
    // These throw CFileException, without a stream too.
    unsigned Read(void* buffer, unsigned count) override;
    void Write(const void* buffer, unsigned count) override;
    __int64 Seek(__int64 offset, SeekPosition from) override;
    __int64 GetPosition() const override;
    __int64 GetLength() const override;
    void SetLength(__int64 length) override;
    void Flush() override;
    void Close() override; // does not throw

private:
    IStream& stream() const;
    void check(HRESULT status) const;

    IStream* stream_;
};
