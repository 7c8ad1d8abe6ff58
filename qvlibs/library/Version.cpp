#include "qvlibs/library/Version.h"

namespace qv {

const char* libraryVersion() { return QVLIBS_VERSION; }

} // namespace qv
