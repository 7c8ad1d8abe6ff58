/* plugin_api.h and dv_component.h are plain C, and their records are laid out as they say. */
#include "qvlibs/plugins/dv_component.h"
#include "qvlibs/plugins/plugin_api.h"

#include <stddef.h>

_Static_assert(sizeof(QVFRAMEREQUEST) == 68, "the frame request has 68 bytes");
_Static_assert(offsetof(QVFRAMEREQUEST, displayCx) == 20 && offsetof(QVFRAMEREQUEST, fieldMode) == 36 &&
                   offsetof(QVFRAMEREQUEST, streamValue) == 44 &&
                   offsetof(QVFRAMEREQUEST, compressedDataLo) == 56 &&
                   offsetof(QVFRAMEREQUEST, streamParameter) == 60 &&
                   offsetof(QVFRAMEREQUEST, compressedDataHi) == 64,
               "its fields lie where they always lay");
_Static_assert(sizeof(QVPICTUREINFO) == 148, "picture information has 148 bytes");
_Static_assert(sizeof(QVDATETIME) == 16, "a date has eight words");
_Static_assert(sizeof(QVDVBLOCK) == 52, "a DV block has 52 bytes");
_Static_assert(offsetof(QVDVCOMPONENTTABLE, openDecoder) == 7 * sizeof(void*), "seven slots come first");

int main(void) {
    const void* const addresses[] = {NULL, &addresses, (const void*)(uintptr_t)0x123456789ABCDEF0u};
    for (size_t i = 0; i < sizeof addresses / sizeof addresses[0]; ++i) {
        QVFRAMEREQUEST request = {.size = 68};
        qvSetCompressedData(&request, addresses[i]);
        if (qvGetCompressedData(&request) != addresses[i]) return 1;
        if (request.streamParameter != 0) return 2; /* it lies between the halves */
    }
    QVFRAMEREQUEST low = {.size = 68};
    low.compressedDataLo = 0xFFFFFFF0u; /* a module that fills only the first half */
    return qvGetCompressedData(&low) == (const void*)(uintptr_t)0xFFFFFFF0u ? 0 : 3;
}
