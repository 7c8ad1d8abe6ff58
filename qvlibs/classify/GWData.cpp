#include "qvlibs/classify/GWData.h"

#include "qvlibs/classify/CachedCheck.h"
#include "qvlibs/classify/MediaTypes.h"
#include "qvlibs/classify/SupportChecks.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/media/QVMovie.h"
#include "qvlibs/media/SoundFile.h"
#include "qvlibs/platform/FileUse.h"

namespace {

constexpr const char* kEntry = "QVTLGetGWData";

int fillMovie(const char* path, GWFILEDATA* data, ULONG kind, int quick) {
    data->kind = kind;
    CAVIFile movie;
    if (!movie.Open(path, 1, quick)) return 0;
    data->picture = *movie.GetVideoFormat();
    return 1;
}

int fillKind(GWFILEDATA* data, ULONG kind) {
    data->kind = kind;
    return 1;
}

} // namespace

int QVTLGetGWDataAVI(const char* path, GWFILEDATA* data) {
    QVTL_TRACE();
    const bool mine = QVTLCheckExtensionAVI(path) && QVTLCheckSupportAVI(path, 0);
    return mine ? fillMovie(path, data, QV_EXT_AVI, 0) : 0;
}

int QVTLGetGWDataMpeg1(const char* path, GWFILEDATA* data) {
    QVTL_TRACE();
    const bool mine = QVTLCheckExtensionMpeg(path) && QVTLCheckSupportMpeg1(path, 1);
    return mine ? fillMovie(path, data, QV_EXT_MPEG1, 1) : 0;
}

int QVTLGetGWDataMpeg2(const char* path, GWFILEDATA* data) {
    QVTL_TRACE();
    const bool mine = QVTLCheckExtensionMpeg(path) && QVTLCheckSupportMpeg2(path, 13);
    return mine ? fillMovie(path, data, QV_EXT_MPEG2, 0) : 0;
}

int QVTLGetGWDataAsf(const char* path, GWFILEDATA* data) {
    QVTL_TRACE();
    const bool mine = QVTLCheckExtensionAsf(path) && QVTLCheckSupportAsf(path, 0);
    return mine ? fillMovie(path, data, QV_EXT_ASF, 0) : 0;
}

int QVTLGetGWDataPicture(const char* path, GWFILEDATA* data) {
    QVTL_TRACE();
    if (!QVTLCheckExtensionPicture(path) || !QVTLCheckSupportPicture(path, 0)) return 0;
    CQVDIB picture;
    CString description;
    BITMAPINFOHEADER header{};
    if (picture.GetInfo(path, &header, description) != 0) return 0;
    data->kind = QV_EXT_PICTURE;
    data->picture = header;
    return 1;
}

int QVTLGetGWDataSound(const char* path, GWFILEDATA* data) {
    QVTL_TRACE();
    if (!QVTLCheckExtensionSound(path) || !QVTLCheckSupportSound(path, 0)) return 0;
    CSoundFile sound(path);
    const WAVEFORMATEX* format = sound.GetWaveFormat();
    if (!format) return 0;
    data->kind = QV_EXT_SOUND;
    data->sound = *format;
    return 1;
}

int QVTLGetGWDataSEQ(const char* path, GWFILEDATA* data) {
    QVTL_TRACE();
    return QVTLCheckExtensionSEQ(path) && QVTLCheckSupportSEQ(path, 0) ? fillKind(data, QV_EXT_SEQ) : 0;
}

int QVTLGetGWDataTAP(const char* path, GWFILEDATA* data) {
    QVTL_TRACE();
    return QVTLCheckExtensionTAP(path) && QVTLCheckSupportTAP(path, 0) ? fillKind(data, QV_EXT_TAP) : 0;
}

int QVTLGetGWDataTitle(const char* path, GWFILEDATA* data) {
    QVTL_TRACE();
    return QVTLCheckExtensionTitle(path) && QVTLCheckSupportTitle(path, 0) ? fillKind(data, QV_EXT_TITLE) : 0;
}

int _QVTLGetGWData(const char* path, GWFILEDATA* data) {
    QVTL_TRACE();
    constexpr int (*kFillers[])(const char*, GWFILEDATA*) = {
        QVTLGetGWDataAVI,   QVTLGetGWDataMpeg1, QVTLGetGWDataMpeg2, QVTLGetGWDataAsf,   QVTLGetGWDataPicture,
        QVTLGetGWDataSound, QVTLGetGWDataSEQ,   QVTLGetGWDataTAP,   QVTLGetGWDataTitle,
    };
    for (const auto fill : kFillers) {
        if (const int result = fill(path, data)) return result;
    }
    return 0;
}

int QVTLGetGWData(const char* path, GWFILEDATA* data) {
    QVTL_TRACE();
    if (!path || !data) return 0;
    if (!QVTLCheckSupportDate(path) || !QVTLCheckSupportVender(path, 0)) return 0;
    qv::SupportElement element;
    if (!QVTLGetStatus(path, element.identity)) return 0;
    if (const auto* known = qv::supportCache().find(kEntry, element.identity)) {
        *data = known->data;
        return known->result;
    }
    qv::traceThinking(kEntry, path);
    element.result = _QVTLGetGWData(path, data);
    if (element.result == 0 && qv::isFileInUse(path)) return 0;
    element.data = *data;
    return qv::supportCache().insert(kEntry, std::move(element)).result;
}
