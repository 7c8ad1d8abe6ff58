// Frame-rate modes of timecodes, and the mode that is used where a caller names none.
#pragma once

#include "qvlibs/framework/Types.h"

// The numbers are fixed: callers pass and store them. Where only a rate is needed, every mode but TCMODE_PAL
// counts as 30 frames a second.
enum TIMECODE_MODE : int {
    TCMODE_PAL = 25,     // 25 frames a second, frames 0 to 24
    TCMODE_NDF = 31,     // 30-frame labels, none left out
    TCMODE_DF = 32,      // 30-frame labels, two left out in every minute but each tenth (29.97 a second)
    TCMODE_DEFAULT = 33, // the value's own mode; in a constructor, the library's default
};

namespace qv {

// The library's default: TCMODE_PAL or TCMODE_NDF, as the settings said when the library was loaded.
QVLIBS_API int defaultTimecodeMode();
// For the library's start and for tests; not while other threads make timecodes.
void setDefaultTimecodeMode(int mode);

} // namespace qv
