// What happens when a process loads and unloads the library, in order.
#include "qvlibs/classify/SupportCache.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/platform/Registry.h"
#include "qvlibs/plugins/PluginInfo.h"
#include "qvlibs/plugins/PropertyRegistry.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/settings/ProfileRoot.h"
#include "qvlibs/timecode/TimecodeMode.h"

namespace {

// The system's value also says how timecodes without a mode count.
void setTimecodeMode() {
    const auto system = QVGetProfileInt("Common", qv::systemInfoName().c_str(), 0);
    qv::setDefaultTimecodeMode(system & 1 ? TCMODE_PAL : TCMODE_NDF);
}

[[gnu::constructor]] void attach() {
    qv::trace::setFromEnvironment();
    setTimecodeMode();
    qvLoadPlugIns();
    qvLoadPlugInsPb();
    qv::openSupportCache();
}

// On purpose in the order of the start, not the reverse: codecs first. The cache goes
// before them, while everything that it reads is there.
[[gnu::destructor]] void detach() {
    qv::closeSupportCache();
    qvUnloadPlugIns();
    qvUnloadPlugInsPb();
    qv::registry::closeStore();
}

} // namespace
