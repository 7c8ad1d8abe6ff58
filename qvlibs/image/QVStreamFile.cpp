#include "qvlibs/image/QVStreamFile.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"

#include <utility>

namespace {

constexpr char kStreamName[] = "data";
constexpr DWORD kAlone = STGM_READWRITE | STGM_SHARE_EXCLUSIVE;

} // namespace

QV_IMPLEMENT_DYNAMIC(CQVStreamFile, new CQVStreamFile)

CQVStreamFile::CQVStreamFile(const char* path, unsigned openFlags) {
    QV_TRACE("CQVStreamFile");
    const bool write = openFlags & modeWrite;
    HRESULT status = openStorage(path, write, openFlags & modeCreate);
    if (status < 0) {
        fail(status);
        return;
    }
    IStream* stream = nullptr;
    status = write ? storage_->CreateStream(kStreamName, STGM_CREATE | kAlone, 0, 0, &stream)
                   : storage_->OpenStream(kStreamName, nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, 0, &stream);
    if (status < 0) {
        std::exchange(storage_, nullptr)->Release();
        fail(status);
        return;
    }
    path_ = path;
    Attach(stream);
}

CQVStreamFile::~CQVStreamFile() { CQVStreamFile::Close(); }

HRESULT CQVStreamFile::openStorage(const char* path, bool write, bool create) {
    if (!write)
        return StgOpenStorage(path, nullptr, STGM_READ | STGM_SHARE_DENY_WRITE, nullptr, 0, &storage_);
    const HRESULT status = StgCreateDocfile(path, kAlone | (create ? STGM_CREATE : 0), 0, &storage_);
    if (create || status != STG_E_FILEALREADYEXISTS) return status;
    return StgOpenStorage(path, nullptr, kAlone, nullptr, 0, &storage_);
}

void CQVStreamFile::fail(HRESULT status) { lastError_ = static_cast<ULONG>(status) | QV_COMPONENT_FAILED; }

void CQVStreamFile::Close() {
    lastError_ = 0;
    COleStreamFile::Close();
    if (IStorage* storage = std::exchange(storage_, nullptr)) storage->Release();
}

void CQVStreamFile::Write(const void* buffer, unsigned count) {
    if (!GetStream() || count == 0) return;
    const HRESULT status = GetStream()->Write(buffer, count, nullptr);
    if (status < 0) fail(status);
}
