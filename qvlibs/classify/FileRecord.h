// The description record of a media file: 64 bytes, filled by QVTLGetGWData.
#pragma once

#include "qvlibs/framework/MediaHeaders.h"

struct GWFILEDATA {
    ULONG kind;               //  0  extension-mask bits of what the file was recognised as (MediaTypes.h)
    BITMAPINFOHEADER picture; //  4  of the movie's video stream or of the picture
    WAVEFORMATEX sound;       // 44
    BYTE reserved[2];         // 62
};
static_assert(sizeof(GWFILEDATA) == 64 && offsetof(GWFILEDATA, sound) == 44);
