// The entry that loads the DV codec, for the environment.
#pragma once

#include "qvlibs/settings/QVENVMGR.h"

namespace qv {

// DEDVLoadCodec, which lies in a later layer.
[[nodiscard]] QVCODECLOADER codecLoaderEntry();

} // namespace qv
