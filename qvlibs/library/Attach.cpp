// What happens when a process loads and unloads the library, in order.
#include "qvlibs/framework/Trace.h"

namespace {

[[gnu::constructor]] void attach() { qv::trace::setFromEnvironment(); }

[[gnu::destructor]] void detach() {}

} // namespace
