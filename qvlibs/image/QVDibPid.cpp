// Picture files of every kind: BMP here, the rest through codec plug-ins, Exif through picture-property
// plug-ins.
#include "qvlibs/framework/Messages.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/DibLayout.h"
#include "qvlibs/image/PicturePlugIns.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/platform/Resources.h"
#include "qvlibs/plugins/plugin_api.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/util/Qvfiletools.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <sys/stat.h>

namespace {

constexpr int kBmpDescription = 1; // string resource

// A pipe or a device is nobody's picture, whatever its name: opening one may wait for ever.
bool isBmp(const char* path) {
    if (!qv::equalNoCase(QVTLGetExtention(path).str(), "bmp")) return false;
    struct stat status {};
    return ::stat(path, &status) != 0 || S_ISREG(status.st_mode) || S_ISDIR(status.st_mode);
}

// The platform's number of a failed open, as the callers know it.
ULONG platformError(int error) {
    constexpr struct {
        int error;
        ULONG number;
    } rows[] = {
        {ENOENT, 2}, {ENOTDIR, 3}, {EMFILE, 4},   {EACCES, 5},  {EPERM, 5},
        {EISDIR, 5}, {EROFS, 5},   {ETXTBSY, 32}, {EEXIST, 80}, {ENOSPC, 112},
    };
    for (const auto& row : rows) {
        if (row.error == error) return row.number;
    }
    return 31; // a device that does not work
}

std::optional<qv::BmpStart> bmpStartOf(const char* path) {
    CFile file;
    if (!file.Open(path, CFile::modeRead | CFile::shareDenyNone)) return {};
    try {
        return qv::readBmpStart(file);
    } catch (const CFileException&) {
        return {};
    }
}

void reportUnwritten(const char* path) {
    qv::showMessage(CString(path) + ": cannot be written", "CQVDIB", qv::MessageKind::Error);
}

} // namespace

qv::PicturePlugIns& CQVDIB::plugIns() const {
    if (!plugIns_) plugIns_ = std::make_unique<qv::PicturePlugIns>();
    return *plugIns_;
}

ULONG CQVDIB::SetPluginLevel(int level) {
    plugIns().level = level;
    return QV_OK;
}

void CQVDIB::LoadPlugIns() { plugIns().codecs(); }
void CQVDIB::LoadPlugInsPb() { plugIns().photos(); }
void CQVDIB::LoadPlugInsPb2(const char* pattern) { plugIns().listPhotos(pattern); }

ULONG CQVDIB::Load(const char* path, int showWait) {
    QV_TRACE("CQVDIB");
    exifFlag_ = 0;
    orientation_ = 0;
    if (isBmp(path)) {
        CFile file;
        CFileException error;
        if (file.Open(path, CFile::modeRead | CFile::shareDenyWrite, &error))
            return Read(&file) ? QV_OK : QV_FAILED;
        return (platformError(error.osError) & 0xFFFF) | 0x84070000;
    }
    CPluginInfo* const codec = plugIns().codecFor(path);
    if (!codec) return QV_NO_EXPORT;
    const qv::WaitCursor waiting(showWait != 0);
    return takeDecoded(codec->Decode(path)) ? turnUpright(path) : QV_FAILED;
}

ULONG CQVDIB::LoadAtLeast(const char* path, CSize wanted, int showWait) {
    QV_TRACE("CQVDIB");
    CPluginInfo* const codec = isBmp(path) ? nullptr : plugIns().codecFor(path);
    if (!codec) return Load(path, showWait);
    exifFlag_ = 0;
    orientation_ = 0;
    const qv::WaitCursor waiting(showWait != 0);
    // The picture may be turned by a quarter: both sides must be large enough for either.
    const LONG side = std::max(wanted.cx, wanted.cy);
    return takeDecoded(codec->DecodeAtLeast(path, side, side)) ? turnUpright(path) : QV_FAILED;
}

bool CQVDIB::takeDecoded(HGLOBAL block) {
    void* const address = GlobalLock(block);
    if (!address) return false;
    if (AttachMemory(address, 1, block)) return true;
    GlobalUnlock(block);
    GlobalFree(block);
    return false;
}

ULONG CQVDIB::turnUpright(const char* path) {
    if (IsExif(path, &exifFlag_) != 0 || !exifFlag_) return QV_OK;
    LONG status = 0;
    orientation_ = GetOrientationInfo(path, &status, 0);
    if (status != 0) {
        qv::showMessage("error GetOrientationInfo", "CQVDIB", qv::MessageKind::Warning);
        return QV_FAILED;
    }
    switch (orientation_) {
    case 0: orientation_ = 1; return QV_OK;
    case 1: return QV_OK;
    case 3:
    case 6:
    case 8:
        if (RotationFilter2(orientation_, nullptr) == 0) return QV_OK;
        qv::showMessage("error RotationFilter2", "CQVDIB", qv::MessageKind::Warning);
        return QV_FAILED;
    default: exifFlag_ = 0; return QV_OK; // mirrored pictures stay as they are
    }
}

ULONG CQVDIB::Save(const char* path, int option1, int option2) {
    QV_TRACE("CQVDIB");
    // Read and not used, on purpose: programs watch the setting being asked for.
    static_cast<void>(QVGetProfileInt("Common", "PictureType", 0));
    if (isBmp(path)) {
        CFileException error;
        const BmpSaved saved = saveBmp(path, error);
        if (saved == BmpSaved::notWritten) reportUnwritten(path);
        return saved == BmpSaved::notCreated ? QV_FAILED : QV_OK;
    }
    CPluginInfo* const codec = plugIns().codecFor(path);
    if (!codec) return QV_NO_EXPORT;
    RemapToGlobalMemoryAddress();
    if (codec->Encode(globalHandle_, path, option1, option2) != QV_OK) reportUnwritten(path);
    return QV_OK;
}

int CQVDIB::Investigate(const char* path) {
    QV_TRACE("CQVDIB");
    if (!IsSupported(path)) return 0;
    CQVDIB picture;
    return picture.Load(path, 1) == QV_OK ? 1 : 0;
}

int CQVDIB::IsLocalSupported(const char* path) {
    QV_TRACE("CQVDIB");
    const auto start = isBmp(path) ? bmpStartOf(path) : std::nullopt;
    return start && start->header.biCompression == BI_RGB ? 1 : 0;
}

int CQVDIB::IsPluginSupported(const char* path) {
    QV_TRACE("CQVDIB");
    return qv::PicturePlugIns().codecFor(path) ? 1 : 0;
}

int CQVDIB::IsSupported(const char* path) {
    return IsLocalSupported(path) || IsPluginSupported(path) ? 1 : 0;
}

ULONG CQVDIB::GetInfo(const char* path, BITMAPINFOHEADER* info, CString& description) {
    return GetInfo(path, info, description, nullptr);
}

ULONG CQVDIB::GetInfo(const char* path, BITMAPINFOHEADER* info, CString& description, int* extra) {
    QV_TRACE("CQVDIB");
    if (!info) return QV_FAILED;
    if (isBmp(path)) {
        const auto start = bmpStartOf(path);
        if (!start) return QV_FAILED;
        *info = start->header;
        description = qv::resourceText(kBmpDescription);
        return QV_OK;
    }
    CPluginInfo* const codec = plugIns().codecFor(path);
    if (!codec) return QV_NO_EXPORT;
    QVPICTUREINFO record{};
    if (codec->GetStillImageInfo(path, &record) != QV_OK) return QV_FAILED;
    if (extra) *extra = record.extra;
    *info = {};
    info->biSize = sizeof *info;
    info->biWidth = record.width;
    info->biHeight = record.height;
    info->biBitCount = static_cast<WORD>(record.bitCount);
    description = CString(record.format, static_cast<int>(strnlen(record.format, sizeof record.format)));
    return QV_OK;
}

ULONG CQVDIB::GetAvailableExtentions(int index, CStringList& list) {
    if (index == 0) {
        list.AddTail("bmp");
        list.AddTail("dib");
        return QV_OK;
    }
    const auto& codecs = plugIns().codecs();
    if (index < 0 || static_cast<size_t>(index) > codecs.size()) return QV_OK;
    CPluginInfo& codec = *codecs[static_cast<size_t>(index) - 1];
    const ULONG count = codec.GetNumOfSupportedExtentions(nullptr);
    for (ULONG i = 0; i < count; ++i) {
        char text[QV_EXTENSION_SIZE] = "";
        if (codec.GetSupportedExtention(i, text) == QV_OK) list.AddTail(CString(text));
    }
    return QV_OK;
}

ULONG CQVDIB::GetAllAvailableExtentions(CStringList& list) {
    for (int index = 0; index < GetNumOfPlugin(); ++index) GetAvailableExtentions(index, list);
    return QV_OK;
}

ULONG CQVDIB::GetCopyrigth(int, const char*) {
    LoadPlugIns();
    return QV_OK;
}

int CQVDIB::GetNumOfPlugin() { return static_cast<int>(plugIns().codecs().size()) + 1; }
