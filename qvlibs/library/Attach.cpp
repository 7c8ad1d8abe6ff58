// What happens when a process loads and unloads the library, in order.
#include "qvlibs/framework/Trace.h"
#include "qvlibs/plugins/PluginInfo.h"
#include "qvlibs/plugins/PropertyRegistry.h"

namespace {

[[gnu::constructor]] void attach() {
    qv::trace::setFromEnvironment();
    qvLoadPlugIns();
    qvLoadPlugInsPb();
}

// On purpose in the order of the start, not the reverse: codecs first.
[[gnu::destructor]] void detach() {
    qvUnloadPlugIns();
    qvUnloadPlugInsPb();
}

} // namespace
