#include "qvlibs/library/Version.h"

namespace qv {

const char* libraryVersion() { return "5.1.0"; }

} // namespace qv
