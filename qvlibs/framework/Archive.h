// Archives: little-endian records over a file, written and read in the same order.
//
//   integers          their width in bytes, low byte first
//   strings           a length and the bytes. The length is 1 byte below 255, FF and 2 bytes below 65534, else
//                     FF FF FF and 4 bytes
//   times and spans   signed 32-bit seconds
//
// Reading past the end, or a length that the rest of the file cannot hold, throws CArchiveException before
// any memory is taken for it.
#pragma once

#include "qvlibs/framework/File.h"
#include "qvlibs/framework/Object.h"
#include "qvlibs/framework/Time.h"

#include <exception>

class QVLIBS_API CArchiveException : public std::exception {
public:
    enum Cause : int {
        none = 0,
        generic = 1,
        readOnly = 2,
        endOfFile = 3,
        writeOnly = 4,
        badIndex = 5,
        badClass = 6,
        badSchema = 7
    };
    CArchiveException(int cause, CString name) : m_cause(cause), m_strFileName(std::move(name)) {}
    const char* what() const noexcept override;

    int m_cause;
    CString m_strFileName; // the file, or the class whose record is bad
};

class QVLIBS_API CArchive {
public:
    enum Mode : unsigned { store = 0, load = 1 };
    // The file stays the caller's and must outlive the archive. When storing, bytes reach it at Flush, at
    // Close and in blocks of `bufferSize`; when loading, Flush moves the file's position back to the first
    // byte not yet read.
    CArchive(CFile* file, unsigned mode, int bufferSize = 4096);
    // Closes without throwing: call Close to learn of a failed write.
    ~CArchive();
    CArchive(const CArchive&) = delete;
    CArchive& operator=(const CArchive&) = delete;

    int IsStoring() const { return mode_ == store ? 1 : 0; }
    int IsLoading() const { return mode_ == load ? 1 : 0; }
    CFile* GetFile() const { return file_; }
    void Flush();
    void Close();

    // Bytes read; fewer than asked at the end of the file.
    unsigned Read(void* buffer, unsigned count);
    void Write(const void* buffer, unsigned count);
    __int64 BytesLeft() const; // when loading

    CArchive& operator<<(BYTE value);
    CArchive& operator<<(WORD value);
    CArchive& operator<<(DWORD value);
    CArchive& operator<<(LONG value);
    CArchive& operator<<(const CString& text);
    CArchive& operator<<(CTime time);
    CArchive& operator<<(CTimeSpan span);
    CArchive& operator>>(BYTE& value);
    CArchive& operator>>(WORD& value);
    CArchive& operator>>(DWORD& value);
    CArchive& operator>>(LONG& value);
    CArchive& operator>>(CString& text);
    CArchive& operator>>(CTime& time);
    CArchive& operator>>(CTimeSpan& span);

private:
    template <class Word>
    void put(Word value);
    template <class Word>
    Word get();

    CFile* file_;
    unsigned mode_;
    size_t room_;
    std::vector<BYTE> buffer_; // storing: bytes not yet written; loading: bytes read ahead
    size_t next_ = 0;          // loading: the first byte of the buffer not yet handed out
};
