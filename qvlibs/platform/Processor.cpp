#include "qvlibs/platform/Processor.h"

#include "qvlibs/framework/Trace.h"

int QVTLIsMMX() {
    QVTL_TRACE();
#if defined(__x86_64__) || defined(__i386__)
    return __builtin_cpu_supports("mmx") ? 1 : 0;
#else
    return 0;
#endif
}
