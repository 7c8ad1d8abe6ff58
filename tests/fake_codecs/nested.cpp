// Asks the library for plug-ins from inside a call that is held apart from others.
#include "qvlibs/plugins/PluginInfo.h"
#include "qvlibs/plugins/plugin_api.h"

#include <memory>

extern "C" QV_PLUGIN_EXPORT uint32_t IsSupported(const char*, int* supported) {
    *supported = 1;
    return QV_PLUGIN_OK;
}

extern "C" QV_PLUGIN_EXPORT uint32_t GetStillImageInfo(const char* path, QVPICTUREINFO* info) {
    const std::unique_ptr<CPluginInfo> found(LoadPlugIns("*.pcp", path));
    info->width = found ? found->path.GetLength() : 0;
    return QV_PLUGIN_OK;
}
