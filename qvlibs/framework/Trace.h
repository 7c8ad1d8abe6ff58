// Trace scopes: exported functions open one on entry. They cost one relaxed load while tracing is off.
//
// QVLIBS_TRACE=stderr or QVLIBS_TRACE=<path> in the environment turns tracing on when the library loads; a
// caller may set a sink of its own at any time. A line reads "enter <class>::<name> <file>:<line>"; streamed
// text follows as it is given.
#pragma once

#include "qvlibs/framework/Types.h"

#include <atomic>
#include <string_view>

namespace qv {

// Receives trace text; called on the traced thread, must not throw and must not call back into the library.
using TraceSink = void (*)(std::string_view text);

// Null turns tracing off. Returns the sink set before.
QVLIBS_API TraceSink setTraceSink(TraceSink sink);

namespace trace {
QVLIBS_API extern std::atomic<TraceSink> sink;
QVLIBS_API void setFromEnvironment();
} // namespace trace

} // namespace qv

// One scope. `module` is the class name, or "QVTL" for free functions.
class QVLIBS_API CCriticalTrace {
public:
    CCriticalTrace(const char* name, const char* module, const char* file, int line) {
        if (qv::trace::sink.load(std::memory_order_relaxed)) enter(name, module, file, line);
    }
    CCriticalTrace(const CCriticalTrace&) = delete;
    CCriticalTrace& operator=(const CCriticalTrace&) = delete;

    CCriticalTrace& operator<<(std::string_view text) {
        if (const auto target = qv::trace::sink.load(std::memory_order_relaxed)) target(text);
        return *this;
    }

private:
    static void enter(const char* name, const char* module, const char* file, int line);
};

// Opens a scope named `qvTrace` for the rest of the block.
#define QV_TRACE(module) CCriticalTrace qvTrace(__func__, module, __FILE__, __LINE__)
#define QVTL_TRACE() QV_TRACE("QVTL")
