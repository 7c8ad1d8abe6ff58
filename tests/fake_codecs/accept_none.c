/* Could open everything, but declares nothing supported: its flag stays as it was. */
#include "qvlibs/plugins/plugin_api.h"

QV_PLUGIN_EXPORT uint32_t IsSupported(const char* path, int* supported) {
    (void)path;
    (void)supported;
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT QVSTREAM OpenR(const char* path, uint32_t mode) {
    (void)path;
    return mode + 1;
}
