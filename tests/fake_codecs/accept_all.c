/* Declares every file supported and opens it; knows nothing else. Its result of IsSupported is a failure,
 * which must not count: the flag alone decides. */
#include "qvlibs/plugins/plugin_api.h"

QV_PLUGIN_EXPORT uint32_t IsSupported(const char* path, int* supported) {
    (void)path;
    *supported = 1;
    return QV_PLUGIN_FAILED;
}

QV_PLUGIN_EXPORT QVSTREAM OpenR(const char* path, uint32_t mode) {
    (void)path;
    return mode + 1;
}

QV_PLUGIN_EXPORT uint32_t CloseR(QVSTREAM stream) { return stream ? QV_PLUGIN_OK : QV_PLUGIN_FAILED; }
