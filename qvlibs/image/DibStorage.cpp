// Pictures in compound files: a storage for each, with the time and size of the file that it stands for.
#include "qvlibs/framework/Messages.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/DibLayout.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/platform/StatusText.h"
#include "qvlibs/platform/StreamFile.h"

#include <memory>

namespace {

constexpr DWORD kWrite = STGM_WRITE | STGM_SHARE_EXCLUSIVE;
constexpr DWORD kRead = STGM_READ | STGM_SHARE_EXCLUSIVE;
constexpr LONG kFormat = 2;            // what "info" says of all pictures written
constexpr LONG kNothingInside = 1;     // a format whose picture is not read
constexpr DWORD kFileSizePosition = 2; // of bfSize in a BMP file

struct Releaser {
    void operator()(IStorage* storage) const { storage->Release(); }
};
using Storage = std::unique_ptr<IStorage, Releaser>;

Storage openElement(IStorage* root, const char* name) {
    IStorage* element = nullptr;
    if (root) root->OpenStorage(name, nullptr, kRead, nullptr, 0, &element);
    return Storage(element);
}

IStream* openStream(IStorage* element, const char* name) {
    IStream* stream = nullptr;
    element->OpenStream(name, nullptr, kRead, 0, &stream);
    return stream;
}

// False when there is no such stream; bytes that it lacks are zero.
bool readNumber(IStorage* element, const char* name, LONG& number) {
    IStream* stream = openStream(element, name);
    if (!stream) return false;
    COleStreamFile file(stream);
    BYTE bytes[4] = {};
    ULONG got = 0;
    stream->Read(bytes, sizeof bytes, &got);
    number = qv::ByteReader(bytes, sizeof bytes).i32();
    return true;
}

HRESULT writeNumber(IStorage* element, const char* name, LONG number) {
    IStream* stream = nullptr;
    const HRESULT status = element->CreateStream(name, STGM_CREATE | kWrite, 0, 0, &stream);
    if (status < 0) return status;
    COleStreamFile file(stream);
    qv::ByteWriter out;
    out.i32(number);
    return stream->Write(out.data().data(), 4, nullptr);
}

} // namespace

// The picture as a BMP file whose size field is image size + 14: on purpose, files have always been written
// so and readers must not rely on it (DibStorage_BmpSizeFieldIsImageSizePlus14).
bool CQVDIB::writeStored(IStream* stream) {
    COleStreamFile file(stream);
    qv::ByteWriter sizeField;
    sizeField.u32(imageSize_ + qv::kBmpFileHeaderSize);
    try {
        file.SetLength(__int64{GetSizeHeader()} + qv::kBmpFileHeaderSize + imageSize_);
        if (!Write(&file)) return false;
        file.Seek(kFileSizePosition, CFile::begin);
        file.Write(sizeField.data().data(), 4);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

ULONG CQVDIB::WriteToStg(IStorage* root, const char* name, LONG time, LONG sizeLow, LONG sizeHigh, LONG,
                         int replace) {
    QV_TRACE("CQVDIB");
    if (!root || !header_ || !bits_) return QV_FAILED;
    IStorage* made = nullptr;
    if (root->CreateStorage(name, kWrite | (replace ? STGM_CREATE : 0), 0, 0, &made) < 0) return QV_FAILED;
    const Storage element(made);
    // A number that cannot be written does not stop the others; the format value is not the argument but
    // always 2, on purpose (DibStorage_InfoIsAlways2).
    bool good = writeNumber(made, "time", time) >= 0;
    good = writeNumber(made, "size_low", sizeLow) >= 0 && good;
    good = writeNumber(made, "size_high", sizeHigh) >= 0 && good;
    good = writeNumber(made, "info", kFormat) >= 0 && good;
    IStream* data = nullptr;
    if (made->CreateStream("data", STGM_CREATE | kWrite, 0, 0, &data) < 0) return QV_FAILED;
    good = writeStored(data) && good;
    // Takes effect here, where a full disk can still be told.
    return made->Commit(STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE) >= 0 && good ? QV_OK : QV_FAILED;
}

bool CQVDIB::readStored(IStream* stream) {
    COleStreamFile file(stream);
    Empty();
    try {
        if (readFrom(file, Pixels::AllThere)) return true;
    } catch (const std::exception&) { // the stream's; its reason has no place in the result
    }
    Empty();
    return false;
}

ULONG CQVDIB::ReadFromStg(IStorage* root, const char* name) {
    QV_TRACE("CQVDIB");
    const Storage element = openElement(root, name);
    if (!element) return QV_FAILED;
    LONG format = kFormat; // an element without "info" too
    readNumber(element.get(), "info", format);
    IStream* data = openStream(element.get(), "data");
    if (!data) return QV_FAILED;
    if (format == kNothingInside) { // the image stays as it is
        data->Release();
        return QV_OK;
    }
    return readStored(data) ? QV_OK : QV_FAILED;
}

ULONG CQVDIB::DestroyElementStorage(IStorage* root, const char* name) {
    QV_TRACE("CQVDIB");
    return root && root->DestroyElement(name) >= 0 ? QV_OK : QV_FAILED;
}

ULONG CQVDIB::ReadFileTimeFromStg(IStorage* root, const char* name, LONG* time) {
    QV_TRACE("CQVDIB");
    const Storage element = openElement(root, name);
    return element && time && readNumber(element.get(), "time", *time) ? QV_OK : QV_FAILED;
}

ULONG CQVDIB::ReadFileSizeFromStg(IStorage* root, const char* name, LONG& sizeLow, LONG& sizeHigh) {
    QV_TRACE("CQVDIB");
    const Storage element = openElement(root, name);
    if (!element) return QV_FAILED;
    // Only the upper half decides: an element without "size_low" leaves that value as it was, on purpose
    // (DibStorage_MissingSizeLowLeavesTheValue).
    readNumber(element.get(), "size_low", sizeLow);
    return readNumber(element.get(), "size_high", sizeHigh) ? QV_OK : QV_FAILED;
}

ULONG CQVDIB::ErrorMessageBox(LONG status) {
    QV_TRACE("CQVDIB");
    qv::showMessage(qv::statusText(status), "Error", qv::MessageKind::Information);
    return QV_OK;
}
