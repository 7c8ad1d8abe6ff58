#include "qvlibs/media/MovieWriter.h"

#include "qvlibs/framework/Trace.h"
#include "qvlibs/media/AskPlugin.h"

using qv::ask;
using qv::streamOf;

namespace {

const BITMAPINFOHEADER* headerOf(const unsigned char* header) {
    return reinterpret_cast<const BITMAPINFOHEADER*>(header);
}

} // namespace

void* QVTLAVIInitCreateAVI(const char* path, LONG mode) {
    QVTL_TRACE();
    std::unique_ptr<CPluginInfo> plugin(LoadVideoCodecPlugIn(path));
    if (!plugin) return nullptr;
    const ULONG writer = mode == -1 ? 0 : plugin->OpenW(path, mode);
    if (mode != -1 && writer == 0) return nullptr;
    return new PluginStreamHandle{std::move(plugin), writer};
}

ULONG QVTLAVIOpenW(void* handle, const char* path, LONG mode) {
    QVTL_TRACE();
    PluginStreamHandle* const stream = streamOf(handle);
    if (!stream) return QV_NO_MODULE;
    if (stream->stream != 0) return QV_ALREADY_OPEN;
    stream->stream = stream->plugin->OpenW(path, mode);
    return stream->stream != 0 ? QV_OK : QV_FAILED;
}

ULONG QVTLAVICloseCreateAVI(void* handle) {
    QVTL_TRACE();
    const std::unique_ptr<PluginStreamHandle> owned(streamOf(handle));
    return owned->plugin->CloseW(owned->stream);
}

ULONG QVTLAVISetParameters(void* handle, LONG a, LONG b, LONG c) {
    QVTL_TRACE();
    return ask(handle, QV_NO_MODULE, &CPluginInfo::SetParameters, a, b, c);
}

ULONG QVTLAVIResetCodec(void* handle) {
    QVTL_TRACE();
    return ask(handle, QV_NO_MODULE, &CPluginInfo::ResetCodec);
}

ULONG QVTLAVIWrite(void* handle, unsigned char* header, unsigned char* bits, LONG frame) {
    QVTL_TRACE();
    return ask(handle, QV_NO_MODULE, &CPluginInfo::Write, headerOf(header), bits, frame);
}

ULONG QVTLAVIWrite2(void* handle, unsigned char* header, DIB_TYPE type, unsigned char* bits, LONG frame) {
    QVTL_TRACE();
    return ask(handle, QV_NO_MODULE, &CPluginInfo::Write2, headerOf(header), static_cast<ULONG>(type), bits,
               frame);
}

ULONG QVTLAVIWriteDIF(void* handle, unsigned char* dif, unsigned char* audio, LONG frame) {
    QVTL_TRACE();
    return ask(handle, QV_NO_MODULE, &CPluginInfo::WriteDif, dif, audio, frame);
}

ULONG QVTLAVIWriteDIF2(void* handle, unsigned char* dif, DIB_TYPE type, unsigned char* audio, LONG frame) {
    QVTL_TRACE();
    return ask(handle, QV_NO_MODULE, &CPluginInfo::WriteDif2, dif, static_cast<ULONG>(type), audio, frame);
}
