#include "qvlibs/timecode/TimecodeMode.h"

namespace qv {

namespace {
constinit int defaultMode = TCMODE_NDF;
}

int defaultTimecodeMode() { return defaultMode; }
void setDefaultTimecodeMode(int mode) { defaultMode = mode; }

} // namespace qv
