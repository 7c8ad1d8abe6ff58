// Windows modules loaded as data, for taking icons out of them. Nothing of a module runs.
#pragma once

#include "qvlibs/framework/Types.h"

namespace qv {

// Null when the file cannot be read or is no such module. May be called from any thread.
QVLIBS_API HINSTANCE loadModuleData(const char* path);
// Frees a handle once; unknown ones are let be.
QVLIBS_API void freeModuleData(HINSTANCE module);

} // namespace qv
