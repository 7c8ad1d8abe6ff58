// Files of the interface: a byte stream with a position, on disk (CFile) or in memory (CMemFile).
//
// Opening reports failure by its result; reading, writing and seeking throw CFileException, which the members
// of the interface that take a CFile catch. A file is used by one thread at a time.
#pragma once

#include "qvlibs/framework/Strings.h"

#include <exception>
#include <vector>

// Why a file operation failed. `osError` is the errno of the failing call, 0 when there was none.
class QVLIBS_API CFileException : public std::exception {
public:
    explicit CFileException(int osError = 0, CString fileName = {});
    const char* what() const noexcept override { return text_; }
    // Shows the reason through the message handler (framework/Messages.h).
    void ReportError() const;

    int osError = 0;
    CString fileName;

private:
    CString text_;
};

class QVLIBS_API CFile {
public:
    // Open flags. A share mode is kept between all openers of this library that give one, in this process and in
    // others. Openers without one, or with shareDenyNone, and other programs do not see it.
    enum OpenFlags : unsigned {
        modeRead = 0x0000,
        modeWrite = 0x0001,
        modeReadWrite = 0x0002,
        shareExclusive = 0x0010,
        shareDenyWrite = 0x0020,
        shareDenyNone = 0x0040,
        modeCreate = 0x1000, // an existing file is cut to nothing
    };
    enum SeekPosition : int { begin = 0, current = 1, end = 2 };

    CFile() = default;
    virtual ~CFile();
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;

    // 1 done, 0 failed: `error`, when given, then tells why. An open file is closed first. Opening a pipe does not wait
    // for its other end.
    virtual int Open(const char* path, unsigned flags, CFileException* error = nullptr);
    // Bytes read: fewer than asked only at the end of the file.
    virtual unsigned Read(void* buffer, unsigned count);
    virtual void Write(const void* buffer, unsigned count);
    virtual __int64 Seek(__int64 offset, SeekPosition from);
    virtual __int64 GetPosition() const;
    virtual __int64 GetLength() const;
    virtual void SetLength(__int64 length);
    virtual void Flush();
    virtual void Close();

    CString GetFilePath() const { return path_; }
    int Descriptor() const { return descriptor_; } // stays the file's; -1 when closed

protected:
    int descriptor_ = -1;
    CString path_;
};

// A file whose bytes live in memory; grows as it is written.
class QVLIBS_API CMemFile : public CFile {
public:
    CMemFile() = default;
    // Starts with a copy of these bytes, at position 0.
    CMemFile(const void* bytes, size_t size);

    int Open(const char* path, unsigned flags, CFileException* error = nullptr) override; // refused: 0
    unsigned Read(void* buffer, unsigned count) override;
    void Write(const void* buffer, unsigned count) override;
    __int64 Seek(__int64 offset, SeekPosition from) override;
    __int64 GetPosition() const override { return position_; }
    __int64 GetLength() const override { return static_cast<__int64>(bytes_.size()); }
    void SetLength(__int64 length) override;
    void Flush() override {}
    void Close() override {}

    const std::vector<BYTE>& Bytes() const { return bytes_; }

private:
    std::vector<BYTE> bytes_;
    __int64 position_ = 0;
};
