// The one body that all cached checks share.
#pragma once

#include "qvlibs/classify/SupportCache.h"

namespace qv {

struct CachedCheck {
    const char* name; // of the check's entry
    int (*test)(const char* path, unsigned flags);
    bool asksVendor = false; // before the cache is looked at
};

// Date, vendor, cache, test; a "no" is kept only for a file that nobody has open.
int runCachedCheck(const CachedCheck& check, const char* path, unsigned flags);

// Writes "<name> thinking [<path>]" to the trace.
void traceThinking(const char* name, const char* path);

// The slow tests.
int testFrameRate(const char* path, unsigned flags);
int testDvAvi(const char* path, unsigned flags);

} // namespace qv
