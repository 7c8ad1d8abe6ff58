#include "qvlibs/classify/MediaTypes.h"

#include "qvlibs/framework/Strings.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/util/Qvfiletools.h"

namespace {

// The interface hands the lists out as they are, so each is an array of its own.
constinit const char* kAvi[] = {"avi", "dv", "dvf", nullptr};
constinit const char* kMpg[] = {"mpg", nullptr};
constinit const char* kAsf[] = {"asf", nullptr};
constinit const char* kAviOnly[] = {"avi", nullptr};
constinit const char* kWmv[] = {"wmv", nullptr};
constinit const char* kBmp[] = {"bmp", nullptr};
constinit const char* kJpeg[] = {"jpg", "jpeg", nullptr};
constinit const char* kPng[] = {"png", nullptr};
constinit const char* kTiff[] = {"tif", "tiff", nullptr};
constinit const char* kGif[] = {"gif", nullptr};
constinit const char* kJpgOnly[] = {"jpg", nullptr};
constinit const char* kWave[] = {"wav", "mbm", nullptr};
constinit const char* kMp3[] = {"mp3", nullptr};
constinit const char* kWma[] = {"wma", nullptr};
constinit const char* kBgm[] = {"sbg", nullptr};
constinit const char* kSeq[] = {"seq", nullptr};
constinit const char* kTap[] = {"tap", nullptr};
constinit const char* kTitle[] = {"tte", nullptr};
constinit const char* kMtv[] = {"mtv", nullptr};
constinit const char* kGwm[] = {"gwm", nullptr};
constinit const char* kEpg[] = {"epg", nullptr};

constexpr struct {
    ULONG bit;
    const char** extensions;
} kLists[] = {
    {QV_EXT_AVI, kAvi},          {QV_EXT_MPEG1, kMpg},        {QV_EXT_MPEG2, kMpg}, {QV_EXT_MPEG_OTHER, kMpg},
    {QV_EXT_ASF, kAsf},          {QV_EXT_AVI_ONLY, kAviOnly}, {QV_EXT_WMV, kWmv},   {QV_EXT_BMP, kBmp},
    {QV_EXT_JPEG, kJpeg},        {QV_EXT_PNG, kPng},          {QV_EXT_TIFF, kTiff}, {QV_EXT_GIF, kGif},
    {QV_EXT_JPG_ONLY, kJpgOnly}, {QV_EXT_WAVE, kWave},        {QV_EXT_MP3, kMp3},   {QV_EXT_WMA, kWma},
    {QV_EXT_BGM, kBgm},          {QV_EXT_SEQ, kSeq},          {QV_EXT_TAP, kTap},   {QV_EXT_TITLE, kTitle},
    {QV_EXT_MTV, kMtv},          {QV_EXT_GWM, kGwm},          {QV_EXT_EPG, kEpg},
};

} // namespace

const char** QVTLGetSupportExtensions(ULONG bit) {
    QVTL_TRACE();
    for (const auto& row : kLists) {
        if (row.bit == bit) return row.extensions;
    }
    throw 0;
}

int QVTLCheckExtension(const char* path, const char** list) {
    QVTL_TRACE();
    const CString extension = QVTLGetExtention(path);
    if (extension.IsEmpty()) return 0;
    for (; list && *list; ++list) {
        if (extension.CompareNoCase(*list) == 0) return 1;
    }
    return 0;
}

int QVTLCheckExtensions(const char* path, ULONG mask) {
    QVTL_TRACE();
    for (int number = 0; number < 32; ++number) {
        const ULONG bit = ULONG{1} << number;
        if ((mask & bit) && QVTLCheckExtension(path, QVTLGetSupportExtensions(bit))) return 1;
    }
    return 0;
}

int QVTLCheckExtensionAVI(const char* path) { return QVTLCheckExtensions(path, QV_EXT_AVI); }
int QVTLCheckExtensionMpeg(const char* path) { return QVTLCheckExtensions(path, QV_EXT_MPEG); }
int QVTLCheckExtensionAsf(const char* path) { return QVTLCheckExtensions(path, QV_EXT_ASF); }
int QVTLCheckExtensionSound(const char* path) { return QVTLCheckExtensions(path, QV_EXT_SOUND); }
int QVTLCheckExtensionSEQ(const char* path) { return QVTLCheckExtensions(path, QV_EXT_SEQ); }
int QVTLCheckExtensionTAP(const char* path) { return QVTLCheckExtensions(path, QV_EXT_TAP); }
int QVTLCheckExtensionTitle(const char* path) { return QVTLCheckExtensions(path, QV_EXT_TITLE); }
int QVTLCheckExtensionBGM(const char* path) { return QVTLCheckExtensions(path, QV_EXT_BGM); }
int QVTLCheckExtensionEPG(const char* path) { return QVTLCheckExtensions(path, QV_EXT_EPG); }
int QVTLCheckExtensionMTV(const char* path) { return QVTLCheckExtensions(path, QV_EXT_MTV); }

int QVTLCheckExtensionPicture(const char* path) {
    QVTL_TRACE();
    if (!QVTLCheckExtensions(path, QV_EXT_PICTURE)) return 0;
    const CString extension = QVTLGetExtention(path);
    for (int number = 1;; ++number) {
        CString key;
        key.Format("ImageExtention%04d", number);
        const CString listed = QVGetProfileString("Sequence", key, "");
        if (listed.IsEmpty()) return 0;
        if (extension.CompareNoCase(listed) == 0) return 1;
    }
}

ULONG QVTLGetFileType(const char* path) {
    QVTL_TRACE();
    constexpr struct {
        int (*check)(const char*);
        ULONG type;
    } rows[] = {
        {QVTLCheckExtensionAVI, QV_FILE_AVI},
        {QVTLCheckExtensionMpeg, QV_FILE_MPEG},
        {QVTLCheckExtensionPicture, QV_FILE_PICTURE},
        {QVTLCheckExtensionSound, QV_FILE_SOUND},
    };
    for (const auto& row : rows) {
        if (row.check(path)) return row.type;
    }
    return QV_FILE_OTHER;
}
