// The bridge to the DV codec component.
#pragma once

#include "qvlibs/framework/Types.h"

// The component is found when a decoder or an encoder is opened: there is nothing to load. Always 0.
QVLIBS_API ULONG DEDVLoadCodec(const char* name);
QVLIBS_API ULONG DEDVUnloadCodec();
