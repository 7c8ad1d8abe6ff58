/* A DV component that compresses nothing: decoding fills the picture with the first byte of the frame,
 * encoding fills the frame with the first byte of the picture. It makes one class, and one object at a time.
 */
#include "qvlibs/plugins/dv_component.h"
#include "qvlibs/plugins/plugin_api.h"

static uint32_t references;
static uint32_t opened; /* option word of the open coder, 0 = none */

static int32_t query(QVDVCOMPONENT* self, const char* interfaceId, void** out) {
    if (strcmp(interfaceId, QV_DV_INTERFACE) != 0) return (int32_t)0x80004002u;
    ++references;
    *out = self;
    return 0;
}

static uint32_t addRef(QVDVCOMPONENT* self) {
    (void)self;
    return ++references;
}

static uint32_t release(QVDVCOMPONENT* self) {
    (void)self;
    return --references;
}

static int32_t openCoder(QVDVCOMPONENT* self, uint32_t option) {
    (void)self;
    opened = option;
    return 0;
}

static int32_t closeCoder(QVDVCOMPONENT* self) {
    (void)self;
    opened = 0;
    return 0;
}

static int32_t decode(QVDVCOMPONENT* self, const void* dif, void* bits, uint32_t option,
                      const QVDVBLOCK* block) {
    const int64_t pitch = block->pitch < 0 ? -(int64_t)block->pitch : block->pitch;
    const uint32_t rows = (option & QV_DV_PAL ? 576 : 480) / (option & 15 ? option & 15 : 1);
    (void)self;
    if (!opened) return (int32_t)0x80004005u;
    memset(bits, *(const uint8_t*)dif, (size_t)(pitch * rows));
    return 0;
}

static int32_t encode(QVDVCOMPONENT* self, const void* bits, void* dif, uint32_t option,
                      const QVDVBLOCK* block) {
    (void)self;
    (void)block;
    if (!opened) return (int32_t)0x80004005u;
    memset(dif, *(const uint8_t*)bits, option & QV_DV_PAL ? 144000 : 120000);
    return 0;
}

static const QVDVCOMPONENTTABLE table = {query,  addRef,     release,   {0, 0, 0, 0}, openCoder,
                                         decode, closeCoder, openCoder, encode,       closeCoder};
static QVDVCOMPONENT component = {&table};

QV_PLUGIN_EXPORT int32_t QVCreateComponent(const char* classId, const char* interfaceId, void** out) {
    if (strcmp(classId, QV_DV_CLASS) != 0) return (int32_t)0x80040154u;
    return query(&component, interfaceId, out);
}
