#include "qvlibs/sidefiles/MtvRecord.h"

#include "qvlibs/framework/File.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/util/AtomicFile.h"
#include "qvlibs/util/Qvfiletools.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr ULONG kVersion = 0x10000;
constexpr BYTE kNotKnown = 0xFF;

// Text in a field of fixed width, filled up with zeros; the last byte stays zero where `ended` says so.
template <size_t width>
void setText(char (&field)[width], const CString& text, bool ended) {
    std::memset(field, 0, width);
    std::memcpy(field, text.GetString(),
                std::min<size_t>(static_cast<size_t>(text.GetLength()), width - (ended ? 1 : 0)));
}

} // namespace

MtvAtrTag* MTV_AllocMtv(ULONG version, const char* vendor, const char* path, ULONG) {
    if (version != kVersion) return nullptr;
    auto* record = new MtvAtrTag{};
    std::memcpy(record->magic, "QVMTV", 5);
    record->version = kVersion;
    record->size = sizeof *record;
    setText(record->vendor, vendor, true);
    setText(record->link, QVTLGetFileName(path), false);
    record->one = record->oneMore = 1;
    record->two = 2;
    record->sizeClass = record->audioSampling = kNotKnown;
    return record;
}

ULONG MTV_FreeMtv(MtvAtrTag* record, ULONG) {
    delete record;
    return QV_OK;
}

ULONG MTV_LoadFile(const char* path, MtvAtrTag* record, ULONG* size, ULONG) {
    if (!record || !size || *size < sizeof *record) return QV_FAILED;
    CFile file;
    if (!file.Open(path, CFile::modeRead | CFile::shareDenyNone)) return QV_FAILED;
    try {
        MtvAtrTag bytes;
        if (file.GetLength() != sizeof bytes || file.Read(&bytes, sizeof bytes) != sizeof bytes)
            return QV_FAILED;
        *record = bytes;
        *size = sizeof bytes;
        return QV_OK;
    } catch (const CFileException&) {
        return QV_FAILED;
    }
}

ULONG MTV_SaveFile(const char* path, const MtvAtrTag* record, ULONG) {
    if (!path || !record) return QV_FAILED;
    qv::AtomicFile file(path);
    return file.write(record, sizeof *record) && file.commit() ? QV_OK : QV_FAILED;
}
