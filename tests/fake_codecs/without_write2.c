/* A writer from before picture types: Write and WriteDif only. They answer their last argument, so that a
 * call with one argument too many shows. */
#include "qvlibs/plugins/plugin_api.h"

QV_PLUGIN_EXPORT uint32_t Write(QVWRITER writer, const void* bitmapHeader, const void* bits, int32_t frame) {
    (void)writer;
    return bits > bitmapHeader ? (uint32_t)frame : QV_PLUGIN_FAILED;
}

QV_PLUGIN_EXPORT uint32_t WriteDif(QVWRITER writer, const void* dif, const void* audio, int32_t frame) {
    (void)writer;
    return audio > dif ? (uint32_t)frame : QV_PLUGIN_FAILED;
}
