// The longest recording that the settings allow.
#pragma once

#include "qvlibs/framework/Types.h"

namespace qv {

// "TotalLimitTime" of "Common" (default "06:45:00:00") in frames: counted at 25 a second when `pal` is not 0,
// else at 30. Read by the first call; a later change has no effect in this process.
[[nodiscard]] LONG totalLimitFrames(int pal);

} // namespace qv
