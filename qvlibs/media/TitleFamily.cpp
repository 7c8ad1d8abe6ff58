#include "qvlibs/media/TitleFamily.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/media/AskPlugin.h"

namespace {

// The stream behind a handle, or null when it has no plug-in to ask.
PluginStreamHandle* usable(void* handle) {
    auto* stream = qv::streamOf(handle);
    return stream && stream->plugin ? stream : nullptr;
}

} // namespace

void* QVTLTitleFileOpen(const char* path) {
    QVTL_TRACE();
    return qv::openStream(std::unique_ptr<CPluginInfo>(LoadTitleCodecPlugIn(path)), path, 0);
}

ULONG QVTLTitleFileClose(void* handle) {
    QVTL_TRACE();
    if (PluginStreamHandle* stream = usable(handle)) return qv::closeStream(stream);
    delete qv::streamOf(handle);
    return QV_FAILED;
}

ULONG QVTLTitleGetDib(void* handle, LONG frame, unsigned char* buffer) {
    QVTL_TRACE();
    PluginStreamHandle* stream = usable(handle);
    if (!stream) return QV_FAILED;
    stream->plugin->GetDib(stream->stream, frame, buffer);
    return QV_OK;
}

ULONG QVTLTitleSetDibSize(void* handle, int width, int height) {
    QVTL_TRACE();
    PluginStreamHandle* stream = usable(handle);
    if (!stream) return QV_FAILED;
    stream->plugin->SetDibSize(stream->stream, width, height);
    return QV_OK;
}
