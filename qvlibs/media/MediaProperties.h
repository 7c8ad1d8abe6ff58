// Property records of media files, for file-property displays. Every file is opened, read and closed again; a file that
// cannot be opened leaves zeroes. Seconds of movies count 25 frames on PAL and 30 on NTSC.
#pragma once

#include "qvlibs/framework/Strings.h"

struct AVI_TYPE {
    ULONG width;
    ULONG height;
    double seconds;
    __int64 frames;
    ULONG bitCount; // 24
    CString typeName;
};

struct AUD_TYPE {
    DWORD reserved; // never written
    float kiloHertz;
    ULONG bits; // as each function says
    ULONG channels;
    float seconds; // QVTLGetAudioProp only
};

struct MPEG_TYPE {
    ULONG height; // before the width, on purpose: callers know the record so
    ULONG width;
    ULONG bitCount;
    CString typeName; // "MPEG1", "MPEG2", "ASF"
    __int64 frames;
    float rate; // megabits a second
    float seconds;
};

struct STILL_TYPE {
    CString typeName;
    ULONG width; // as shown: the picture's orientation is taken into account
    ULONG height;
    ULONG bitCount;
};

// 1 done; 0 when no plug-in opens the file, or it is no AVI by its own headers (the video then keeps a bitCount of the
// stream's sample count, on purpose). `bits`: bits a sample.
QVLIBS_API int QVTLGetAVITYPE(const CString& path, AVI_TYPE* video, AUD_TYPE* audio);
// `bits`: bits a sample for MPEG; divided by the channels for everything else, on purpose.
QVLIBS_API void QVTLGetMpegProp(const CString& path, MPEG_TYPE* video, AUD_TYPE* audio, __int64 unused);
QVLIBS_API void QVTLGetStillProp(const CString& path, STILL_TYPE* still);
// `bits`: block alignment times channels times 2, on purpose.
QVLIBS_API void QVTLGetAudioProp(const CString& path, AUD_TYPE* audio);
