// Frames as DV data: out of the plug-in, or encoded from its pictures.
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/FrameTools.h"
#include "qvlibs/media/AskPlugin.h"
#include "qvlibs/media/DvBridge.h"
#include "qvlibs/media/Qvavitools.h"
#include "qvlibs/plugins/plugin_api.h"

using qv::ask;

namespace {

// Encodes the frame's picture for a plug-in that has no DV data to give.
ULONG encodePicture(void* handle, LONG frame, unsigned char* dif) {
    const BITMAPINFOHEADER* lent = QVTLAVIGetNonCompressedStream(handle, frame, 1);
    if (!lent) return QV_NO_EXPORT;
    BITMAPINFOHEADER header = *lent;
    const auto* bits = reinterpret_cast<const unsigned char*>(lent + 1);
    CQVDIB picture;
    picture.SetExternalDIB(const_cast<unsigned char*>(bits), &header, 1);
    picture.ComputePaletteSize(header.biBitCount);
    picture.ComputeMetrics();
    const CSize wanted = QVTLGetJustXYSize(-1);
    if (picture.GetDimensions() == wanted) {
        DEDVDIBtoDIF(&picture, dif);
        return QV_OK;
    }
    CQVDIB resized;
    if (picture.ResizeFilter(wanted, &resized, RESIZE_OPTION_FIT, DIB_TYPE_AUTO, DIB_TYPE_AUTO,
                             RESIZE_METHOD_DEFAULT) != 0)
        return QV_FAILED;
    DEDVDIBtoDIF(&resized, dif);
    return QV_OK;
}

} // namespace

ULONG QVTLAVIGetCompressedStream(void* handle, LONG frame, unsigned char* dif) {
    QVTL_TRACE();
    const ULONG result = ask(handle, QV_NO_MODULE, &CPluginInfo::GetDif, frame, dif, 0, nullptr, nullptr);
    return result == QV_NO_EXPORT ? encodePicture(handle, frame, dif) : result;
}

ULONG QVTLAVIGetCompressedStreamEx(void* handle, LONG frame, unsigned char* dif, LONG reserved,
                                   unsigned char* audio, ULONG* audioLength) {
    QVTL_TRACE();
    auto* const length = reinterpret_cast<LONG*>(audioLength);
    const ULONG result = ask(handle, QV_NO_MODULE, &CPluginInfo::GetDif, frame, dif, reserved, audio, length);
    if (result != QV_NO_EXPORT) return result;
    const ULONG encoded = encodePicture(handle, frame, dif);
    if (encoded != QV_OK) return encoded;
    ask(handle, QV_NO_MODULE, &CPluginInfo::GetAudio, frame, 1, audio, length);
    return QV_OK;
}

ULONG QVTLAVIGetCompressedStream2(void* handle, LONG frame, unsigned char* buffer, LONG width, LONG height,
                                  DIB_TYPE dibType, RESIZE_METHOD method, ULONG* streamValue,
                                  ULONG* streamValue2) {
    QVTL_TRACE();
    if (dibType == DIB_TYPE_AUTO) return QVTLAVIGetCompressedStream(handle, frame, buffer);
    ULONG flags = QV_FRAME_INTERLACED | QV_FRAME_COMPRESSED;
    if (streamValue) flags |= QV_FRAME_REPORT_CHANGE;
    const ULONG result =
        QVTLAVIGetNonCompressedStreamEx2(handle, frame, buffer, width, height, dibType, 1,
                                         MOVIE_DECODE_DEFAULT, method, flags, streamValue, streamValue2);
    // Swapped on purpose: here the result says what is left to do (CompressedStream.SwapsResultsOnPurpose).
    if (result == QV_COMPRESSED) return QV_OK;
    return result == QV_OK ? QV_COMPRESSED : result;
}
