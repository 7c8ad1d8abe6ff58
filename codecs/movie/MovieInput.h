// How the parts of this back end open a movie, each for itself.
#pragma once

#include "codecs/common/Ffmpeg.h"

namespace qv::codec {

inline std::unique_ptr<MediaInput> openMovieInput(const std::string& path, AVMediaType kind) {
    return MediaInput::open(path.c_str(), kind,
                            "asf,avi,dv,flv,gxf,h264,hevc,m4v,matroska,mov,mpeg,mpegts,mpegvideo,mxf,ogg,rm");
}

} // namespace qv::codec
