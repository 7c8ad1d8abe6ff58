#include "qvlibs/plugins/PluginInfo.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/plugins/ModuleCall.h"
#include "qvlibs/plugins/Registry.h"
#include "qvlibs/plugins/plugin_api.h"

#include <cstring>
#include <filesystem>
#include <memory>

namespace {

static_assert(sizeof(QVFRAMEREQUEST) == 68 && offsetof(QVFRAMEREQUEST, compressedDataLo) == 56 &&
              offsetof(QVFRAMEREQUEST, compressedDataHi) == 64);
static_assert(sizeof(QVPICTUREINFO) == 148 && sizeof(QVDATETIME) == 16);

constexpr qv::CallFailures<ULONG> kCode = {QV_NO_MODULE, QV_NO_EXPORT};

using Lock = std::lock_guard<std::recursive_mutex>;

// Calls that report a status.
template <class Export, class... Arguments>
ULONG code(HMODULE module, Export wanted, Arguments... arguments) {
    const CCriticalTrace trace(wanted.name, "CPluginInfo", __FILE__, __LINE__);
    return qv::callModule(module, wanted, kCode, arguments...);
}

// The same without a trace scope: sounds and titles are read in small steps.
template <class Export, class... Arguments>
ULONG untraced(HMODULE module, Export wanted, Arguments... arguments) {
    return qv::callModule(module, wanted, kCode, arguments...);
}

// Calls that hand something over: nothing is 0.
template <class Export, class... Arguments>
auto handle(HMODULE module, Export wanted, Arguments... arguments) {
    const CCriticalTrace trace(wanted.name, "CPluginInfo", __FILE__, __LINE__);
    return qv::callModule(module, wanted, {}, arguments...);
}

} // namespace

void CPluginInfo::ReloadPlugin() { qv::codecRegistry().reload(path); }

ULONG CPluginInfo::GetNumOfSupportedExtentions(ULONG* error) {
    ULONG word = module ? QV_NO_EXPORT : QV_NO_MODULE;
    if (qv::moduleExport(module, "GetNumOfSupportedExtentions")) word = QV_OK;
    const ULONG count = handle(module, QV_EXPORT(GetNumOfSupportedExtentions), &word);
    if (error) *error = word;
    return count;
}

ULONG CPluginInfo::GetSupportedExtention(ULONG index, char* text) {
    return code(module, QV_EXPORT(GetSupportedExtention), index, text);
}

ULONG CPluginInfo::Investigate(const char* filePath, int* attributes, ULONG* type) {
    const Lock hold(qv::codecRegistry().lock);
    int flags = 0;
    ULONG word = 0;
    const ULONG result = code(module, QV_EXPORT(Investigate), filePath, &flags, &word);
    if (result == QV_NO_MODULE || result == QV_NO_EXPORT) return result;
    if (attributes) *attributes = flags;
    if (type) *type = word;
    if (word == QV_TYPE_RELOAD) ReloadPlugin();
    return result;
}

ULONG CPluginInfo::IsSupported(const char* filePath, int* supported) {
    const Lock hold(qv::codecRegistry().lock);
    return code(module, QV_EXPORT(IsSupported), filePath, supported);
}

HGLOBAL CPluginInfo::Decode(const char* filePath, ULONG* error) {
    const Lock hold(qv::codecRegistry().lock);
    if (error) *error = !module ? QV_NO_MODULE : qv::moduleExport(module, "Decode") ? QV_OK : QV_NO_EXPORT;
    return static_cast<HGLOBAL>(handle(module, QV_EXPORT(Decode), filePath));
}

HGLOBAL CPluginInfo::DecodeAtLeast(const char* filePath, LONG width, LONG height) {
    if (module && !qv::moduleExport(module, "DecodeAtLeast")) return Decode(filePath);
    const Lock hold(qv::codecRegistry().lock);
    return static_cast<HGLOBAL>(handle(module, QV_EXPORT(DecodeAtLeast), filePath, width, height));
}

ULONG CPluginInfo::GetStillImageInfo(const char* filePath, QVPICTUREINFO* info) {
    const Lock hold(qv::codecRegistry().lock);
    return code(module, QV_EXPORT(GetStillImageInfo), filePath, info);
}

ULONG CPluginInfo::Encode(HGLOBAL picture, const char* filePath, LONG option1, LONG option2) {
    return code(module, QV_EXPORT(Encode), picture, filePath, option1, option2);
}

ULONG CPluginInfo::OpenR(const char* filePath, ULONG mode) {
    return handle(module, QV_EXPORT(OpenR), filePath, mode);
}

ULONG CPluginInfo::CloseR(ULONG stream) { return code(module, QV_EXPORT(CloseR), stream); }

ULONG CPluginInfo::GetTotalFrames(ULONG stream) { return code(module, QV_EXPORT(GetTotalFrames), stream); }

ULONG CPluginInfo::GetMiliseconds(ULONG stream) { return code(module, QV_EXPORT(GetMiliseconds), stream); }

ULONG CPluginInfo::GetTotalSamples(ULONG stream, int vfw) {
    return code(module, QV_EXPORT(GetTotalSamples), stream, vfw);
}

ULONG CPluginInfo::GetTotalSamples(ULONG stream) {
    return untraced(module, QV_EXPORT(GetTotalSamples), stream, 0);
}

const BITMAPINFOHEADER* CPluginInfo::GetVideo(ULONG stream, LONG frame, ULONG flags) {
    return static_cast<const BITMAPINFOHEADER*>(handle(module, QV_EXPORT(GetVideo), stream, frame, flags));
}

ULONG CPluginInfo::GetVideoEx(ULONG stream, LONG frame, void* bits, ULONG flags) {
    return code(module, QV_EXPORT(GetVideoEx), stream, frame, bits, flags);
}

ULONG CPluginInfo::GetVideoParam(ULONG stream, QVFRAMEREQUEST* request, LONG frame) {
    return handle(module, QV_EXPORT(GetVideoParam), stream, request, frame);
}

const void* CPluginInfo::GetDIBfromLastParam(ULONG stream, QVFRAMEREQUEST* request, LONG frame, void* bits) {
    return handle(module, QV_EXPORT(GetDIBfromLastParam), stream, request, frame, bits);
}

ULONG CPluginInfo::GetDif(ULONG stream, LONG frame, void* dif, LONG reserved, void* audio,
                          LONG* audioLength) {
    return code(module, QV_EXPORT(GetDif), stream, frame, dif, reserved, audio, audioLength);
}

ULONG CPluginInfo::GetAudio(ULONG stream, LONG first, LONG count, void* buffer, LONG* length) {
    return code(module, QV_EXPORT(GetAudio), stream, first, count, buffer, length);
}

ULONG CPluginInfo::GetFccHeader(ULONG stream, ULONG* fcc) {
    return code(module, QV_EXPORT(GetFccHeader), stream, fcc);
}

ULONG CPluginInfo::GetVideoRate(ULONG stream, ULONG* rate, ULONG* scale) {
    return code(module, QV_EXPORT(GetVideoRate), stream, rate, scale);
}

ULONG CPluginInfo::GetAudioFormat(ULONG stream, WAVEFORMATEX* format) {
    return code(module, QV_EXPORT(GetAudioFormat), stream, format);
}

ULONG CPluginInfo::GetVideoFormat(ULONG stream, BITMAPINFOHEADER* format) {
    return code(module, QV_EXPORT(GetVideoFormat), stream, format);
}

ULONG CPluginInfo::GetVideoCompressionRate(ULONG stream) {
    return code(module, QV_EXPORT(GetVideoCompressionRate), stream);
}

ULONG CPluginInfo::GetAudioCompressionRate(ULONG stream) {
    return code(module, QV_EXPORT(GetAudioCompressionRate), stream);
}

ULONG CPluginInfo::GetVideoAverageRate(ULONG stream) {
    return code(module, QV_EXPORT(GetVideoAverageRate), stream);
}

ULONG CPluginInfo::OpenW(const char* filePath, LONG mode) {
    return handle(module, QV_EXPORT(OpenW), filePath, mode);
}

ULONG CPluginInfo::Write(ULONG writer, const BITMAPINFOHEADER* header, const void* bits, LONG frame) {
    return code(module, QV_EXPORT(Write), writer, header, bits, frame);
}

ULONG CPluginInfo::Write2(ULONG writer, const BITMAPINFOHEADER* header, ULONG dibType, const void* bits,
                          LONG frame) {
    if (module && !qv::moduleExport(module, "Write2")) return Write(writer, header, bits, frame);
    return code(module, QV_EXPORT(Write2), writer, header, dibType, bits, frame);
}

ULONG CPluginInfo::WriteDif(ULONG writer, const void* dif, const void* audio, LONG frame) {
    return code(module, QV_EXPORT(WriteDif), writer, dif, audio, frame);
}

ULONG CPluginInfo::WriteDif2(ULONG writer, const void* dif, ULONG dibType, const void* audio, LONG frame) {
    if (module && !qv::moduleExport(module, "WriteDif2")) return WriteDif(writer, dif, audio, frame);
    return code(module, QV_EXPORT(WriteDif2), writer, dif, dibType, audio, frame);
}

ULONG CPluginInfo::CloseW(ULONG writer) { return code(module, QV_EXPORT(CloseW), writer); }

ULONG CPluginInfo::SetParameters(ULONG writer, LONG a, LONG b, LONG c) {
    return code(module, QV_EXPORT(SetParameters), writer, a, b, c);
}

ULONG CPluginInfo::ResetCodec(ULONG writer) { return untraced(module, QV_EXPORT(ResetCodec), writer); }

ULONG CPluginInfo::SetTotalSample(ULONG stream, __int64 samples, int pal) {
    return untraced(module, QV_EXPORT(SetTotalSample), stream, samples, pal);
}

ULONG CPluginInfo::GetFileInfo(const char* filePath, ULONG wanted, void* data) {
    return untraced(module, QV_EXPORT(GetFileInfo), filePath, wanted, data);
}

ULONG CPluginInfo::GetFileData(ULONG stream, ULONG wanted, void* data, ULONG reserved) {
    return untraced(module, QV_EXPORT(GetFileData), stream, wanted, data, reserved);
}

ULONG CPluginInfo::GetDib(ULONG stream, LONG frame, void* bits) {
    return untraced(module, QV_EXPORT(GetDib), stream, frame, bits);
}

ULONG CPluginInfo::SetDibSize(ULONG stream, LONG width, LONG height) {
    return untraced(module, QV_EXPORT(SetDibSize), stream, width, height);
}

CPluginInfo* CPluginEnumerator::Next(const char* pattern) {
    const auto& modules = qv::codecRegistry().modules();
    while (next_ < modules.size()) {
        const auto& loaded = modules[next_++];
        // A name without an extension is of every kind.
        const std::string extension = std::filesystem::path(loaded.path.str()).extension();
        if (std::strstr(pattern, extension.c_str())) return new CPluginInfo(loaded.path, loaded.module);
    }
    return nullptr;
}

CPluginInfo* LoadPlugIns(const char* pattern, const char* path) {
    if (!path) return nullptr;
    CPluginEnumerator all;
    while (std::unique_ptr<CPluginInfo> plugin{all.Next(pattern)}) {
        int supported = 0;
        plugin->IsSupported(path, &supported);
        if (supported) return plugin.release();
    }
    return nullptr;
}

CPluginInfo* LoadVideoCodecPlugIn(const char* path) { return LoadPlugIns("*.vcp", path); }

CPluginInfo* LoadAudioCodecPlugIn(const char* path) { return LoadPlugIns("*.acp", path); }

CPluginInfo* LoadTitleCodecPlugIn(const char* path) { return LoadPlugIns("*.tcp", path); }

int QVTLHasPlugInExport(HMODULE module, const char* name) { return qv::moduleExport(module, name) ? 1 : 0; }
