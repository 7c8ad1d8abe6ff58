#include "qvlibs/settings/TotalLimit.h"

#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/timecode/QVTimecode.h"

namespace qv {

namespace {

struct Limits {
    LONG ntsc, pal;
};

Limits readLimits() {
    CQVTimecode limit;
    limit.SetAllTime(QVGetProfileString("Common", "TotalLimitTime", "06:45:00:00"));
    return {limit.TotalFrame(TCMODE_NDF), limit.TotalFrame(TCMODE_PAL)};
}

} // namespace

LONG totalLimitFrames(int pal) {
    static const Limits limits = readLimits();
    return pal ? limits.pal : limits.ntsc;
}

} // namespace qv
