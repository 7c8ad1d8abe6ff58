/* A DV component that writes down what it is asked, one line a call, to the file named by QV_DV_RECORD, and
 * fails the calls named in QV_DV_FAIL with 0x80004005. It touches no picture and no frame. */
#include "qvlibs/plugins/dv_component.h"
#include "qvlibs/plugins/plugin_api.h"

#include <stdio.h>
#include <stdlib.h>

static int32_t note(const char* call, uint32_t option, const QVDVBLOCK* block) {
    const char* fail = getenv("QV_DV_FAIL");
    FILE* file = fopen(getenv("QV_DV_RECORD"), "a");
    fprintf(file, "%s %x", call, option);
    if (block) {
        int rest = 0;
        for (int i = 0; i < 12; ++i) rest |= block->reserved[i] != 0;
        fprintf(file, " pitch %d%s", block->pitch, rest ? " and more" : "");
    }
    fprintf(file, "\n");
    fclose(file);
    return fail && strstr(fail, call) ? (int32_t)0x80004005u : 0;
}

static uint32_t references;
static int32_t query(QVDVCOMPONENT* self, const char* interfaceId, void** out) {
    (void)interfaceId;
    *out = self;
    return 0;
}
static uint32_t addRef(QVDVCOMPONENT* self) {
    (void)self;
    return ++references;
}
static uint32_t release(QVDVCOMPONENT* self) {
    (void)self;
    note("release", --references, NULL);
    return references;
}
static int32_t openDecoder(QVDVCOMPONENT* self, uint32_t option) {
    (void)self;
    return note("openDecoder", option, NULL);
}
static int32_t decode(QVDVCOMPONENT* self, const void* dif, void* bits, uint32_t option,
                      const QVDVBLOCK* block) {
    (void)self, (void)dif, (void)bits;
    return note("decode", option, block);
}
static int32_t closeDecoder(QVDVCOMPONENT* self) {
    (void)self;
    return note("closeDecoder", 0, NULL);
}
static int32_t openEncoder(QVDVCOMPONENT* self, uint32_t option) {
    (void)self;
    return note("openEncoder", option, NULL);
}
static int32_t encode(QVDVCOMPONENT* self, const void* bits, void* dif, uint32_t option,
                      const QVDVBLOCK* block) {
    (void)self, (void)dif, (void)bits;
    return note("encode", option, block);
}
static int32_t closeEncoder(QVDVCOMPONENT* self) {
    (void)self;
    return note("closeEncoder", 0, NULL);
}

static const QVDVCOMPONENTTABLE table = {query,  addRef,       release,     {0, 0, 0, 0}, openDecoder,
                                         decode, closeDecoder, openEncoder, encode,       closeEncoder};
static QVDVCOMPONENT component = {&table};

QV_PLUGIN_EXPORT int32_t QVCreateComponent(const char* classId, const char* interfaceId, void** out) {
    (void)classId, (void)interfaceId;
    references = 1;
    *out = &component;
    return 0;
}
