// The entry that loads the DV codec, for callers that reach it through the environment.
#pragma once

#include "qvlibs/framework/Types.h"

using QVCODECLOADER = ULONG (*)(const char* name);

namespace qv {

// DEDVLoadCodec, which lies in a later layer.
[[nodiscard]] QVCODECLOADER codecLoaderEntry();

} // namespace qv
