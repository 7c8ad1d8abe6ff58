// Frames of one kind of video laid into frames of another: shapes, active widths, fields.
#pragma once

#include "qvlibs/framework/Geometry.h"
#include "qvlibs/image/DibTypes.h"

// Converts a 24-bit frame (rows padded to 4 bytes, lowest first) into another of its own size and shape: bars
// are cut away or added as the two DIB_TYPEs ask, columns as the two DISP_TYPEs ask. A source display of 3 is
// first cropped to `cropSize.cx` columns, at least 1; a crop that is not narrower does nothing. The work is
// done by CQVDIB::DirectResize with the method, whose flag is 1 when bit 0 of `flags` is clear; how bars are
// cleared is the engine's way. 0 done, 1 otherwise. The buffers must not overlap.
QVLIBS_API ULONG QVTLReCanvasSizeMovie(unsigned char* dst, SIZE dstSize, DIB_TYPE dstType, unsigned char* src,
                                       SIZE srcSize, DIB_TYPE srcType, SIZE cropSize, DISP_TYPE dstDisp,
                                       DISP_TYPE srcDisp, RESIZE_METHOD method, ULONG flags);

// The same for a woven frame: each field is converted by itself, so that lines of the two do not mix. A last
// line of an odd destination repeats the one before it in its field. The result is that of the second field.
QVLIBS_API ULONG QVTLConvertInterace(unsigned char* dst, SIZE dstSize, DIB_TYPE dstType, unsigned char* src,
                                     SIZE srcSize, DIB_TYPE srcType, SIZE cropSize, DISP_TYPE dstDisp,
                                     DISP_TYPE srcDisp, RESIZE_METHOD method, ULONG flags);
