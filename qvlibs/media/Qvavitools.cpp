#include "qvlibs/media/Qvavitools.h"

#include "qvlibs/framework/Trace.h"
#include "qvlibs/media/AskPlugin.h"
#include "qvlibs/media/WaveResample.h"
#include "qvlibs/plugins/plugin_api.h"

using qv::ask;
using qv::streamOf;

namespace {

// A record that asks about the stream only.
QVFRAMEREQUEST bareRequest() {
    QVFRAMEREQUEST request{};
    request.size = sizeof request;
    return request;
}

} // namespace

void* QVTLAVIFileOpen(const char* path, ULONG mode) {
    QVTL_TRACE();
    return qv::openStream(std::unique_ptr<CPluginInfo>(LoadVideoCodecPlugIn(path)), path, mode);
}

ULONG QVTLAVIFileClose(void* handle) {
    QVTL_TRACE();
    return qv::closeStream(streamOf(handle));
}

LONG QVTLAVIGetTotalFrames(void* handle) {
    QVTL_TRACE();
    return static_cast<LONG>(ask(handle, QV_NO_MODULE, &CPluginInfo::GetTotalFrames));
}

LONG QVTLAVIGetMiliseconds(void* handle) {
    QVTL_TRACE();
    return static_cast<LONG>(ask(handle, QV_NO_MODULE, &CPluginInfo::GetMiliseconds));
}

LONG QVTLAVIGetTotalSamples(void* handle) {
    QVTL_TRACE();
    return static_cast<LONG>(ask<ULONG, int>(handle, QV_NO_MODULE, &CPluginInfo::GetTotalSamples, 0));
}

LONG QVTLAVIGetTotalSamplesVFW(void* handle) {
    QVTL_TRACE();
    return static_cast<LONG>(ask<ULONG, int>(handle, QV_NO_MODULE, &CPluginInfo::GetTotalSamples, 1));
}

const BITMAPINFOHEADER* QVTLAVIGetNonCompressedStream(void* handle, LONG frame, ULONG flags) {
    QVTL_TRACE();
    return ask(handle, static_cast<const BITMAPINFOHEADER*>(nullptr), &CPluginInfo::GetVideo, frame, flags);
}

ULONG QVTLAVIGetNonCompressedStreamEx(void* handle, LONG frame, unsigned char* buffer, ULONG flags) {
    QVTL_TRACE();
    return ask(handle, QV_NO_MODULE, &CPluginInfo::GetVideoEx, frame, buffer, flags);
}

ULONG QVTLAVIGetFccHeader(void* handle, ULONG* fcc) {
    QVTL_TRACE();
    return ask(handle, QV_NO_MODULE, &CPluginInfo::GetFccHeader, fcc);
}

ULONG QVTLAVIGetVideoRatio(void* handle, ULONG* rate, ULONG* scale) {
    QVTL_TRACE();
    return ask(handle, QV_NO_MODULE, &CPluginInfo::GetVideoRate, rate, scale);
}

ULONG QVTLAVIGetVideoFormat(void* handle, BITMAPINFOHEADER* format) {
    QVTL_TRACE();
    return ask(handle, QV_NO_MODULE, &CPluginInfo::GetVideoFormat, format);
}

ULONG QVTLAVIGetWaveFormat(void* handle, WAVEFORMATEX* format) {
    QVTL_TRACE();
    return ask(handle, QV_NO_MODULE, &CPluginInfo::GetAudioFormat, format);
}

ULONG QVTLAVIGetAudioRatio(void* handle, LONG* rate) {
    QVTL_TRACE();
    WAVEFORMATEX format{};
    const ULONG result = ask(handle, QV_NO_MODULE, &CPluginInfo::GetAudioFormat, &format);
    *rate = result == QV_OK ? static_cast<LONG>(format.nSamplesPerSec) : 0;
    return QV_OK;
}

ULONG QVTLAVIGetAudioChannelsAndBits(void* handle, int* channels, int* bits) {
    QVTL_TRACE();
    WAVEFORMATEX format{};
    const ULONG result = ask(handle, QV_NO_MODULE, &CPluginInfo::GetAudioFormat, &format);
    *channels = format.nChannels;
    *bits = format.wBitsPerSample;
    return result;
}

ULONG QVTLAVIGetWaveData(void* handle, int frame, int count, void* buffer, LONG* length) {
    QVTL_TRACE();
    return ask(handle, QV_NO_MODULE, &CPluginInfo::GetAudio, frame, count, buffer, length);
}

ULONG QVTLAVIGetWaveDataEx(void* handle, int frame, int count, void* buffer, LONG* length, LONG num,
                           LONG den) {
    QVTL_TRACE();
    if (!qv::resampledLength(0, num, den)) return QV_FAILED;
    const ULONG result = ask(handle, QV_NO_MODULE, &CPluginInfo::GetAudio, frame, count, buffer, length);
    if (result != QV_OK) return result;
    const auto wanted = qv::resampledLength(*length, num, den);
    if (!wanted) return QV_FAILED;
    qv::resampleInPlace(static_cast<unsigned char*>(buffer), *length, num, den);
    *length = *wanted;
    return QV_OK;
}

int QVTLAVIGetVideoCompressionRate(void* handle) {
    QVTL_TRACE();
    return static_cast<int>(ask(handle, QV_NO_MODULE, &CPluginInfo::GetVideoCompressionRate)) / 1000;
}

int QVTLAVIGetAudioCompressionRate(void* handle) {
    QVTL_TRACE();
    return static_cast<int>(ask(handle, QV_NO_MODULE, &CPluginInfo::GetAudioCompressionRate)) / 1000;
}

int QVTLAVIGetVideoAverageRate(void* handle) {
    QVTL_TRACE();
    return static_cast<int>(ask(handle, QV_NO_MODULE, &CPluginInfo::GetVideoAverageRate));
}

ULONG QVTLAVIGetDIBType(void* handle, DIB_TYPE& type, LONG frame) {
    QVTL_TRACE();
    if (!handle) return QV_FAILED;
    QVFRAMEREQUEST request = bareRequest();
    const ULONG result = ask(handle, QV_NO_MODULE, &CPluginInfo::GetVideoParam, &request, frame);
    type = static_cast<DIB_TYPE>(request.dibType);
    return result;
}

ULONG QVTLAVIGetDIBType(void* handle, DIB_TYPE& type, LONG frame, int /*unused*/) {
    return QVTLAVIGetDIBType(handle, type, frame);
}

ULONG QVTLAVIGetStreamParameter(void* handle, ULONG& value) {
    QVTL_TRACE();
    value = 0;
    ULONG fcc = 0;
    if (!handle) return QV_FAILED;
    ask(handle, QV_NO_MODULE, &CPluginInfo::GetFccHeader, &fcc);
    if (fcc != makeFourCC('m', 'p', 'g', '2') && fcc != makeFourCC('M', 'P', 'G', '2')) return QV_FAILED;
    QVFRAMEREQUEST request = bareRequest();
    ask(handle, QV_NO_MODULE, &CPluginInfo::GetVideoParam, &request, 0);
    if (request.streamParameter == 1) value = 1;
    return QV_OK;
}
