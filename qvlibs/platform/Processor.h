// What the processor can do.
#pragma once

#include "qvlibs/framework/Types.h"

// 1 when the processor has MMX, 0 otherwise. DV codec components are told so.
QVLIBS_API int QVTLIsMMX();
