#include "qvlibs/media/AudioFamily.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/media/AskPlugin.h"
#include "qvlibs/plugins/plugin_api.h"
#include "qvlibs/timecode/DvMetadata.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kSamplesPerSecond = 48000; // of lengths that are said apart from a file
constexpr double kPalRate = 25.0;
constexpr double kNtscRate = 29.97;
// On purpose not kNtscRate: minimum lengths count whole frames (AudioFamily.MinimumLengthsCountThirtyOnNtsc).
constexpr double kNtscMinimumRate = 30.0;

using qv::ask;

double rounded(double value) { return std::trunc(value + 0.5); }

WAVEFORMATEX formatOf(void* handle) {
    WAVEFORMATEX format{};
    ask(handle, QV_FAILED, &CPluginInfo::GetAudioFormat, &format);
    return format;
}

LONG minimumInFrames(LONG samples) {
    const double rate = QVIsPal() ? kPalRate : kNtscMinimumRate;
    return static_cast<LONG>(rounded(rate * samples / kSamplesPerSecond));
}

void fileInfo(const char* path, ULONG code, void* data) {
    const std::unique_ptr<CPluginInfo> plugin(LoadAudioCodecPlugIn(path));
    if (plugin) plugin->GetFileInfo(path, code, data);
}

void fileData(void* handle, ULONG code, void* data) {
    ask(handle, QV_FAILED, &CPluginInfo::GetFileData, code, data, 0u);
}

} // namespace

void* QVTLAudioFileOpen(const char* path) {
    QVTL_TRACE();
    return qv::openStream(std::unique_ptr<CPluginInfo>(LoadAudioCodecPlugIn(path)), path,
                          static_cast<ULONG>(QVIsPal()));
}

ULONG QVTLAudioFileClose(void* handle) {
    QVTL_TRACE();
    return handle ? qv::closeStream(qv::streamOf(handle)) : QV_FAILED;
}

LONG QVTLAudioGetTotalFrames(void* handle) {
    QVTL_TRACE();
    if (!handle) return QV_FAILED;
    const LONG samples = QVTLAudioGetTotalSamples(handle);
    const DWORD rate = formatOf(handle).nSamplesPerSec;
    if (rate == 0) return 0;
    const double frames = rounded(samples * (QVIsPal() ? kPalRate : kNtscRate) / rate);
    return static_cast<LONG>(std::clamp<double>(frames, INT32_MIN, INT32_MAX));
}

ULONG QVTLAudioGetWaveFormat(void* handle, WAVEFORMATEX* format) {
    QVTL_TRACE();
    return ask(handle, QV_FAILED, &CPluginInfo::GetAudioFormat, format);
}

ULONG QVTLAudioGetAudioFormat(void* handle, LONG first, LONG count, unsigned char* buffer, LONG* length) {
    QVTL_TRACE();
    return ask(handle, QV_FAILED, &CPluginInfo::GetAudio, first, count, buffer, length);
}

LONG QVTLAudioGetTotalSamples(void* handle) {
    QVTL_TRACE();
    return static_cast<LONG>(ask<ULONG>(handle, QV_FAILED, &CPluginInfo::GetTotalSamples));
}

ULONG QVTLAudioGetAudioChannelsAndBits(void* handle, int* channels, int* bits) {
    QVTL_TRACE();
    if (!handle) return QV_FAILED;
    const WAVEFORMATEX format = formatOf(handle);
    *channels = format.nChannels;
    *bits = format.wBitsPerSample;
    return QV_OK;
}

ULONG QVTLAudioGetAudioRatio(void* handle, LONG* rate) {
    QVTL_TRACE();
    if (!handle) return QV_FAILED;
    *rate = static_cast<LONG>(formatOf(handle).nSamplesPerSec);
    return QV_OK;
}

ULONG QVTLAudioSetTotalFrame(void* handle, __int64 frames, int pal) {
    QVTL_TRACE();
    const double samples =
        rounded(static_cast<double>(frames) * kSamplesPerSecond / (pal ? kPalRate : kNtscRate));
    constexpr double kLimit = 9.0e18; // what 64 bits hold
    return ask(handle, QV_FAILED, &CPluginInfo::SetTotalSample,
               static_cast<__int64>(std::clamp(samples, -kLimit, kLimit)), pal);
}

LONG QVTLAudioGetMinimumLength(const char* path) {
    QVTL_TRACE();
    LONG samples = 0;
    fileInfo(path, QV_FILE_MINIMUM_LENGTH, &samples);
    return minimumInFrames(samples);
}

LONG QVTLAudioGetMinimumLength(void* handle) {
    QVTL_TRACE();
    if (!handle) return QV_FAILED;
    LONG samples = 0;
    fileData(handle, QV_FILE_MINIMUM_LENGTH, &samples);
    return minimumInFrames(samples);
}

ULONG QVTLAudioDisplayName(const char* path, char* name) {
    QVTL_TRACE();
    fileInfo(path, QV_FILE_NAME, name);
    return QV_OK;
}

ULONG QVTLAudioDisplayName(void* handle, char* name) {
    QVTL_TRACE();
    if (!handle) return QV_FAILED;
    fileData(handle, QV_FILE_NAME, name);
    return QV_OK;
}

ULONG QVTLAudioClassification(const char* path, ULONG* classification) {
    QVTL_TRACE();
    fileInfo(path, QV_FILE_CLASSIFICATION, classification);
    return QV_OK;
}

ULONG QVTLAudioClassification(void* handle, ULONG* classification) {
    QVTL_TRACE();
    if (!handle) return QV_FAILED;
    fileData(handle, QV_FILE_CLASSIFICATION, classification);
    return QV_OK;
}

ULONG QVTLAudioGetCriticalFrame(void* handle, LONG, int) {
    QVTL_TRACE();
    if (!handle) return QV_FAILED;
    for (ULONG code = QV_FILE_CRITICAL_FIRST; code <= QV_FILE_CRITICAL_LAST; ++code)
        fileData(handle, code, nullptr);
    return QV_OK;
}
