#include "qvlibs/classify/CachedCheck.h"

#include "qvlibs/classify/SupportChecks.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/platform/FileUse.h"

namespace qv {

void traceThinking(const char* name, const char* path) {
    CCriticalTrace trace(name, "QVTL", __FILE__, __LINE__);
    trace << name << " thinking [" << path << "]\n";
}

int runCachedCheck(const CachedCheck& check, const char* path, unsigned flags) {
    const CCriticalTrace trace(check.name, "QVTL", __FILE__, __LINE__);
    if (!path || !QVTLCheckSupportDate(path)) return 0;
    if (check.asksVendor && !QVTLCheckSupportVender(path, flags)) return 0;
    SupportElement element;
    if (!QVTLGetStatus(path, element.identity)) return 0;
    if (const SupportElement* known = supportCache().find(check.name, element.identity)) return known->result;
    traceThinking(check.name, path);
    element.result = check.test(path, flags);
    if (element.result == 0 && isFileInUse(path)) return 0;
    return supportCache().insert(check.name, std::move(element)).result;
}

} // namespace qv
