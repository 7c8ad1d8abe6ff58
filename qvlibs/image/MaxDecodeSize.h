// How much memory one decoded picture may take.
#pragma once

#include "qvlibs/framework/Types.h"

// The largest picture memory that decoders should use, in bytes: a third of the smaller of a quarter of the
// physical memory and an eighth of physical memory and swap together; both totals count as 4 GiB at the most.
// Computed once a process. Decoders ask before they take memory.
QVLIBS_API ULONG QVTLGetMaxDecodeSize();
