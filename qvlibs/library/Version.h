// The version of the library that is loaded, for "--version" and reports.
#pragma once

#include "qvlibs/framework/Types.h"

namespace qv {

// "5.1.0"; valid for ever.
QVLIBS_API const char* libraryVersion();

} // namespace qv
