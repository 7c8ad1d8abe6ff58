/* Uses the library of stray_library.c and has few exports of its own. */
#include "qvlibs/plugins/plugin_api.h"

unsigned strayVersion(void);

QV_PLUGIN_EXPORT uint32_t IsSupported(const char* path, int* supported) {
    (void)path;
    *supported = 1;
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT uint32_t GetMiliseconds(QVSTREAM stream) { return stream + strayVersion(); }
