// Reading movies through the video plug-ins.
//
// QVTLAVIFileOpen gives a handle; every other function asks the plug-in that opened the file and passes its
// result on: 0 done, 9 the plug-in lacks the function, 14 there is no module or the handle is null, anything
// else is the plug-in's own. Functions that return a count or a rate leak these codes, as they always did.
// Frames count from 0. Pictures have 24 bits a pixel, bottom row first, rows padded to 4 bytes, unless said
// otherwise. What a plug-in lends is good until the next call on the same handle. Calls on one handle must
// not overlap; different handles may be used from different threads as far as their plug-ins allow.
#pragma once

#include "qvlibs/framework/Geometry.h"
#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/image/DibTypes.h"

// The first video plug-in that supports the file opens it. mode: 0, or 64 when only headers, rates and
// lengths are wanted. Null when no plug-in can. The caller closes the handle.
QVLIBS_API void* QVTLAVIFileOpen(const char* path, ULONG mode);
// The handle must not be null and is gone afterwards, whatever the result.
QVLIBS_API ULONG QVTLAVIFileClose(void* handle);

QVLIBS_API LONG QVTLAVIGetTotalFrames(void* handle);
QVLIBS_API LONG QVTLAVIGetMiliseconds(void* handle);
QVLIBS_API LONG QVTLAVIGetTotalSamples(void* handle);
QVLIBS_API LONG QVTLAVIGetTotalSamplesVFW(void* handle); // as the file's header gives it

// A frame's header with the pixels behind it, lent by the plug-in; null on failure. flags: reduction of the
// size, 1, 2, 4 or 8.
QVLIBS_API const BITMAPINFOHEADER* QVTLAVIGetNonCompressedStream(void* handle, LONG frame, ULONG flags);
// The same pixels into `buffer`, which must hold the frame at that reduction.
QVLIBS_API ULONG QVTLAVIGetNonCompressedStreamEx(void* handle, LONG frame, unsigned char* buffer,
                                                 ULONG flags);

// The frame at width x height as a picture of type `dibType` (0: as it comes), resized, cut and
// de-interlaced as needed; `buffer` holds that many rows, or the compressed frame where it is asked for.
// Flags:
//   0x1         the compressed data, where the plug-in offers it and nothing had to be converted
//   0x100000    tell in *streamValue when the stream changes (-1: no value); a change makes it decode
//   0x1000000   field mode 1        0x2000000  field mode 2
//   0x20000000  show the second field          0x40000000  keep both fields
// streamValue and streamValue2 may be null. `reserved` is not used.
// 0 the picture is in `buffer`; 2304 compressed data is; 1 there is no picture; else the plug-in's result.
QVLIBS_API ULONG QVTLAVIGetNonCompressedStreamEx2(void* handle, LONG frame, unsigned char* buffer, LONG width,
                                                  LONG height, DIB_TYPE dibType, ULONG reserved,
                                                  MOVIE_DECODE_TYPE decodeType, RESIZE_METHOD method,
                                                  ULONG flags, ULONG* streamValue, ULONG* streamValue2);

// The frame as DV data: 144000 bytes on PAL, 120000 otherwise. A plug-in without DV data has its picture
// encoded. With audio, its sound follows as PCM; *audioLength: in the room, out the bytes written.
QVLIBS_API ULONG QVTLAVIGetCompressedStream(void* handle, LONG frame, unsigned char* dif);
QVLIBS_API ULONG QVTLAVIGetCompressedStreamEx(void* handle, LONG frame, unsigned char* dif, LONG reserved,
                                              unsigned char* audio, ULONG* audioLength);
// The compressed frame when it fits width, height and type as it is: 0. Else the picture is in `buffer` and
// the caller has still to encode it: 2304. (The reverse of QVTLAVIGetNonCompressedStreamEx2, on purpose: the
// result names what is left to do.) With type 0 it is QVTLAVIGetCompressedStream.
QVLIBS_API ULONG QVTLAVIGetCompressedStream2(void* handle, LONG frame, unsigned char* buffer, LONG width,
                                             LONG height, DIB_TYPE dibType, RESIZE_METHOD method,
                                             ULONG* streamValue, ULONG* streamValue2);

QVLIBS_API ULONG QVTLAVIGetFccHeader(void* handle, ULONG* fcc); // four-character code of the video stream
QVLIBS_API ULONG QVTLAVIGetVideoRatio(void* handle, ULONG* rate, ULONG* scale); // frames a second: rate/scale
QVLIBS_API ULONG QVTLAVIGetVideoFormat(void* handle, BITMAPINFOHEADER* format);
QVLIBS_API ULONG QVTLAVIGetWaveFormat(void* handle, WAVEFORMATEX* format);
// Samples a second, 0 when there is no sound. Always 0.
QVLIBS_API ULONG QVTLAVIGetAudioRatio(void* handle, LONG* rate);
// Writes both also when it fails: then 0.
QVLIBS_API ULONG QVTLAVIGetAudioChannelsAndBits(void* handle, int* channels, int* bits);
// The sound of `count` frames as PCM. *length: in the room in bytes, out the bytes written.
QVLIBS_API ULONG QVTLAVIGetWaveData(void* handle, int frame, int count, void* buffer, LONG* length);
// The same, played num / den times as fast; when slower, the buffer must have 4 bytes of room behind the new
// end. Refused with 1, and nothing read, when the ratio is not above 0.
QVLIBS_API ULONG QVTLAVIGetWaveDataEx(void* handle, int frame, int count, void* buffer, LONG* length,
                                      LONG num, LONG den);

QVLIBS_API int QVTLAVIGetVideoCompressionRate(void* handle); // kilobits a second
QVLIBS_API int QVTLAVIGetAudioCompressionRate(void* handle); // kilobits a second
QVLIBS_API int QVTLAVIGetVideoAverageRate(void* handle);     // kilobits a second

// The picture type of a frame. 1 for a null handle, which leaves `type` alone.
QVLIBS_API ULONG QVTLAVIGetDIBType(void* handle, DIB_TYPE& type, LONG frame);
QVLIBS_API ULONG QVTLAVIGetDIBType(void* handle, DIB_TYPE& type, LONG frame, int unused);
// Whether an MPEG-2 stream has the plug-in's parameter property: value 1. 1 for a null handle and for other
// streams, with value 0.
QVLIBS_API ULONG QVTLAVIGetStreamParameter(void* handle, ULONG& value);
