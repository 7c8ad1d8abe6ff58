// Bitmaps from bitmaps. A returned image is new and the caller's, to delete; null means failure.
#pragma once

#include "qvlibs/image/QVDib.h"

// The source resized as by CQVDIB::ResizeFilter; without types the source has square pixels and the result's
// type is found from its size.
QVLIBS_API CQVDIB* QVTLResizeDIB(CQVDIB* src, CSize size, int option);
QVLIBS_API CQVDIB* QVTLResizeDIBEx(CQVDIB* src, CSize size, int option, DIB_TYPE srcType, DIB_TYPE dstType,
                                   RESIZE_METHOD method);
// The source with `mode` bits a pixel, which must be 24.
QVLIBS_API CQVDIB* QVTLRecolorDIB(CQVDIB* src, int mode);
