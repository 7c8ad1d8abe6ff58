// The record of an MTV side file: which MPEG-2 recording it belongs to, who made it, when, and with what parameters.
// The file holds exactly the record's 568 bytes, little-endian; docs/side-file.md tells it byte for byte.
#pragma once

#include "qvlibs/framework/MediaHeaders.h"

#pragma pack(push, 1)
struct MtvAtrTag {
    char magic[8];       //   0  "QVMTV\0\0\0" in files made here; not looked at when reading
    DWORD version;       //   8  0x10000
    DWORD size;          //  12  568
    char vendor[32];     //  16  zero-ended text of at most 31 characters
    char link[255];      //  48  file name of the recording, with extension, filled up with zeros
    BYTE reserved1[9];   // 303
    WORD year;           // 312  0 = not known
    BYTE month;          // 314
    BYTE day;            // 315
    BYTE hour;           // 316
    BYTE minute;         // 317
    BYTE second;         // 318
    BYTE reserved2[201]; // 319
    BYTE one;            // 520  always 1
    BYTE system;         // 521  1 PAL, 0 NTSC
    BYTE layout;         // 522  0 full frame, 1 wide or letterboxed
    BYTE reserved3[3];   // 523
    BYTE sizeClass; // 526  0 720, 1 704, 2 352 x full height, 3 352 x half, 4 544, 5 480; 0xFF another size
    BYTE attribute; // 527  1 when bits 0x300000 of the attributes are 0x100000
    DWORD videoBitRate; // 528  bits a second
    BYTE reserved4[8];  // 532
    BYTE two;           // 540  always 2
    BYTE reserved5;     // 541
    BYTE zero;          // 542  always 0
    BYTE oneMore;       // 543  always 1
    BYTE audioBitRate;  // 544  code 1 to 14; 0 another rate
    BYTE reserved6[3];  // 545
    BYTE audioSampling; // 548  0 48000, 1 44100, 2 32000 Hz; 0xFF another rate
    BYTE reserved7[19]; // 549
};
#pragma pack(pop)
static_assert(sizeof(MtvAtrTag) == 568);
static_assert(offsetof(MtvAtrTag, link) == 48 && offsetof(MtvAtrTag, year) == 312);
static_assert(offsetof(MtvAtrTag, one) == 520 && offsetof(MtvAtrTag, videoBitRate) == 528);
static_assert(offsetof(MtvAtrTag, two) == 540 && offsetof(MtvAtrTag, audioSampling) == 548);

// All return 0 when done, 1 otherwise; `reserved` is 0.
extern "C" {
// A new record with the vendor text (cut to 31 characters), the link name taken from `path`, the constants and, for
// everything else, "not known". Null for a version other than 0x10000. Freed with MTV_FreeMtv.
QVLIBS_API MtvAtrTag* MTV_AllocMtv(ULONG version, const char* vendor, const char* path, ULONG reserved);
QVLIBS_API ULONG MTV_FreeMtv(MtvAtrTag* record, ULONG reserved);
// *size is the room for the record, at least 568, and becomes the bytes read. A file of any other length is refused,
// and the record stays as it was.
QVLIBS_API ULONG MTV_LoadFile(const char* path, MtvAtrTag* record, ULONG* size, ULONG reserved);
// The file appears whole or not at all.
QVLIBS_API ULONG MTV_SaveFile(const char* path, const MtvAtrTag* record, ULONG reserved);
}
