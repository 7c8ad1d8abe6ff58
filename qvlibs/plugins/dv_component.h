/* The DV codec component: an in-process server that compresses and decompresses DV frames. Plain C.
 *
 * The library asks the registry for the class {0F1AAC3A-124E-4C4A-A05E-DEB8742761C6} (key
 * "CLSID\{...}\InprocServer32" under the local-machine hive's "Software\Classes", unnamed value: path of a
 * module), else takes the shipped module "dvcodec.so" beside the library, and calls its export
 * QVCreateComponent.
 *
 * A component is a pointer to a structure whose first member points to the table below. Slots 3 to 6 are
 * reserved and never called. Statuses are 32 bits, negative = failure. One component serves one thread at a
 * time.
 */
#ifndef QVLIBS_DV_COMPONENT_H
#define QVLIBS_DV_COMPONENT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define QV_DV_CLASS "{0F1AAC3A-124E-4C4A-A05E-DEB8742761C6}"
#define QV_DV_INTERFACE "{B5AB8060-9337-4BEA-A71A-1D9EC53808AB}"

/* Option words: what open and the calls receive, OR-ed together. */
#define QV_DV_SIZE_MASK 0x0000000Fu /* decoding: 1 full, 2 and 3 half, 4 quarter, 8 eighth */
#define QV_DV_NTSC 0x00000010u
#define QV_DV_PAL 0x00000020u
#define QV_DV_RGB24 0x00002100u
#define QV_DV_RGB565 0x00002200u
#define QV_DV_RGB555 0x00002400u
#define QV_DV_ENCODER 0x00010000u
#define QV_DV_FAST_CPU 0x01000000u
/* Colour range of the RGB side: 0 = full range 0..255; set = 16..235. The setting "ComplusionDR219RGB" of
 * section "Common" is OR-ed into the option word, so the value to store there is this bit. */
#define QV_DV_STUDIO_RGB 0x00100000u

/* First words of a parameter block of 52 bytes; the rest is zero. */
typedef struct QVDVBLOCK {
    /* Bytes from row to row; negative: the bits are bottom-up. Callers count three bytes a pixel for every
     * format; rows of 16-bit pixels lie two thirds of this apart. */
    int32_t pitch;
    uint32_t reserved[12];
} QVDVBLOCK;

typedef struct QVDVCOMPONENT QVDVCOMPONENT;
typedef struct QVDVCOMPONENTTABLE {
    int32_t (*query)(QVDVCOMPONENT*, const char* interfaceId, void** out);
    uint32_t (*addRef)(QVDVCOMPONENT*);
    uint32_t (*release)(QVDVCOMPONENT*);
    void (*reserved[4])(void);
    int32_t (*openDecoder)(QVDVCOMPONENT*, uint32_t option);
    /* `bits` always points to the first byte of the picture's memory; a negative pitch means that the first
     * row in memory is the bottom row of the picture. Blocks that the player marked as damaged may show what the
     * frame decoded before at this size showed: open a decoder for each run of frames. */
    int32_t (*decode)(QVDVCOMPONENT*, const void* dif, void* bits, uint32_t option, const QVDVBLOCK* block);
    int32_t (*closeDecoder)(QVDVCOMPONENT*);
    int32_t (*openEncoder)(QVDVCOMPONENT*, uint32_t option);
    int32_t (*encode)(QVDVCOMPONENT*, const void* bits, void* dif, uint32_t option, const QVDVBLOCK* block);
    int32_t (*closeEncoder)(QVDVCOMPONENT*);
} QVDVCOMPONENTTABLE;

struct QVDVCOMPONENT {
    const QVDVCOMPONENTTABLE* table;
};

/* The one export of a component module: a component with one reference, or a negative status
 * (0x80040154 for another class, 0x80004002 for another interface). */
int32_t QVCreateComponent(const char* classId, const char* interfaceId, void** out);

#ifdef __cplusplus
}
#endif
#endif
