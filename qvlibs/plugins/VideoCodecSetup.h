// One-time set-up and tear-down of the video plug-ins that an application keeps in a folder of its own.
#pragma once

#include "qvlibs/framework/Types.h"

namespace PBLIB {

// Load every "*.vcp" module in the folder "pbbin" beside the running program, call its export "Initialize"
// ("Terminate") if it has one, and free it again. Nothing is registered and nothing stays loaded. 0, also
// when there is no such folder and whatever the modules do; 0x80004005 when the program's folder cannot be
// told.
QVLIBS_API LONG QVTLInitializeVideoCodecPlugin();
QVLIBS_API LONG QVTLTerminateVideoCodecPlugin();

} // namespace PBLIB

namespace qv {

// The walk itself: `call` in every module of `folder`; 0x80004005 for an empty folder name.
[[nodiscard]] LONG callVideoPlugins(const char* call, const char* folder);

} // namespace qv
