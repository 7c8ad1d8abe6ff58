#include "qvlibs/platform/StreamFile.h"

#include "qvlibs/platform/StatusText.h"

#include <cerrno>

namespace {

int errorOf(HRESULT status) {
    switch (status) {
    case STG_E_ACCESSDENIED: return EACCES;
    case STG_E_MEDIUMFULL: return ENOSPC;
    case STG_E_INSUFFICIENTMEMORY: return ENOMEM;
    case STG_E_INVALIDFUNCTION: return EINVAL;
    case STG_E_REVERTED: return EBADF;
    default: return EIO;
    }
}

} // namespace

COleStreamFile::~COleStreamFile() {
    if (stream_) stream_->Release();
}

void COleStreamFile::Attach(IStream* stream) {
    if (stream_ && stream_ != stream) stream_->Release();
    stream_ = stream;
}

IStream* COleStreamFile::Detach() {
    IStream* stream = stream_;
    stream_ = nullptr;
    return stream;
}

void COleStreamFile::check(HRESULT status) const {
    if (status < 0) throw CFileException(errorOf(status), path_);
}

IStream& COleStreamFile::stream() const {
    if (!stream_) throw CFileException(EBADF, path_);
    return *stream_;
}

int COleStreamFile::Open(const char* path, unsigned, CFileException* error) {
    if (error) *error = CFileException(ENOTSUP, path);
    return 0;
}

unsigned COleStreamFile::Read(void* buffer, unsigned count) {
    ULONG got = 0;
    if (count) check(stream().Read(buffer, count, &got));
    return got;
}

void COleStreamFile::Write(const void* buffer, unsigned count) {
    if (count) check(stream().Write(buffer, count, nullptr));
}

__int64 COleStreamFile::Seek(__int64 offset, SeekPosition from) {
    std::uint64_t position = 0;
    check(stream().Seek(offset, static_cast<DWORD>(from), &position));
    return static_cast<__int64>(position);
}

__int64 COleStreamFile::GetPosition() const {
    std::uint64_t position = 0;
    check(stream().Seek(0, STREAM_SEEK_CUR, &position));
    return static_cast<__int64>(position);
}

__int64 COleStreamFile::GetLength() const {
    STATSTG stat;
    check(stream().Stat(&stat, STATFLAG_NONAME));
    return static_cast<__int64>(stat.cbSize);
}

void COleStreamFile::SetLength(__int64 length) {
    if (length < 0) throw CFileException(EINVAL, path_);
    check(stream().SetSize(static_cast<std::uint64_t>(length)));
}

void COleStreamFile::Flush() { check(stream().Commit(STGC_DEFAULT)); }

void COleStreamFile::Close() {
    if (IStream* stream = Detach()) stream->Release();
}
