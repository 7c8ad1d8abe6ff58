#include "qvlibs/media/DvBridge.h"

#include "qvlibs/framework/Trace.h"
#include "qvlibs/settings/CodecLoader.h"

ULONG DEDVLoadCodec(const char* /*name*/) {
    QVTL_TRACE();
    return 0;
}

ULONG DEDVUnloadCodec() {
    QVTL_TRACE();
    return 0;
}

QVCODECLOADER qv::codecLoaderEntry() { return &DEDVLoadCodec; }
