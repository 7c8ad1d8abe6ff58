// The bridge to the DV codec component: DV frames (120,000 bytes NTSC, 144,000 PAL) to bitmaps and back.
//
// The television system is the setting's (QVIsPal), whatever the frame says: buffers must have its sizes, and
// a frame of the other system is a failure of the component.
// The component is found when a decoder or encoder is opened: the module that the registry names for its
// class, else the shipped one. Its failures come back as its 32-bit status with bit 0x4000000 set.
// Threads: one at a time per handle.
#pragma once

#include "qvlibs/framework/Geometry.h"
#include "qvlibs/image/DibTypes.h"
#include "qvlibs/media/DvAspect.h"

class CQVDIB;

// There is nothing to load: always 0.
QVLIBS_API ULONG DEDVLoadCodec(const char* name);
QVLIBS_API ULONG DEDVUnloadCodec();

// Option words. Opening: 0x10 NTSC or 0x20 PAL, 0x10000 for encoders, 0x1000000 where the processor has MMX.
// Decoding: the size in the low four bits (below) with 0x2100 for 24, 0x2200 for 16 (5-6-5) or 0x2400 for 15
// bits a pixel. The calls OR the opening word into theirs.

// *handle receives what the other calls take, null on failure; close it. 0 done.
QVLIBS_API ULONG DEDVOpenDVCDecoder(ULONG option, void** handle);
// 0 done; 14 for null.
QVLIBS_API ULONG DEDVCloseDVCDecoder(void* handle);
// Decodes a frame into rows without padding, 3 bytes a pixel or 2 as the option says; a negative width makes the
// picture bottom-up. `width` and the room in `bits` must be those of the size that the option names. 0 done; 14 for
// null.
QVLIBS_API ULONG DEDVDVCDecode(void* handle, ULONG option, LONG width, unsigned char* dif,
                               unsigned char* bits);

QVLIBS_API ULONG DEDVOpenDVCEncoder(ULONG option, void** handle);
QVLIBS_API ULONG DEDVCloseDVCEncoder(void* handle);
// Encodes 24-bit rows of 720 pixels, bottom-up, into a frame. 0 done; 14 for null.
QVLIBS_API ULONG DEDVDVCEncode(void* handle, ULONG option, unsigned char* dif, unsigned char* bits);

// Not supported: always 9.
QVLIBS_API ULONG DEDVCodecProperty(char* a, char* b, char* c, char* d);

// The picture size of a decoding option's low four bits: 1 full, 2 and 3 a half, 4 a quarter, 8 an eighth
// (88 wide); 5 to 7 give 0 x 0. 0 done; 1 and 0 x 0 for 0 and 9 to 15, which are no sizes.
QVLIBS_API ULONG DEDVGetDecoderSize(ULONG option, ULONG* cx, ULONG* cy);
QVLIBS_API CSize DEDVGetDecoderSizeEx(ULONG option);
// The decoding option that fills a bitmap: its size by the width alone, 0 in the low bits when no size is that
// wide; 0 for depths other than 15, 16 and 24 and for null.
QVLIBS_API ULONG DEDVMakeDecoderOptionFromDIB(CQVDIB* dib);

// A frame as a new picture of the wanted size, which is the caller's to delete. It is decoded at the smallest
// size that is as wide as wanted, then fitted by the frame's shape into square pixels. Null on failure.
QVLIBS_API CQVDIB* DEDVDIFtoDIB(unsigned char* dif, const CSize& wanted, int bits);
// Encodes a picture of 24 bits, 720 pixels wide and at least as high as the system's frames. 0 done; 1 for
// other pictures and null, else the component's failure.
QVLIBS_API ULONG DEDVDIBtoDIF(CQVDIB* dib, unsigned char* dif);

// Nothing is added: always 0.
QVLIBS_API ULONG DEDVAddSubcodeInformation(unsigned char* dif, unsigned char* a, unsigned char* b);
// QVTLInterToNoninter and QVTLResizeDIBEx under their other names.
QVLIBS_API ULONG DEDVInterToNoninter(CQVDIB* image, WORD mode);
QVLIBS_API CQVDIB* DEDVResizeDIB(CQVDIB* source, CSize size, int option, DIB_TYPE srcType, DIB_TYPE dstType,
                                 RESIZE_METHOD method);
