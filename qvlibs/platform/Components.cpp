#include "qvlibs/platform/Components.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/platform/Modules.h"

namespace qv {

LONG createComponent(const char* classId, const char* interfaceId, const char* shippedModule, void** out) {
    if (!out) return QV_E_POINTER;
    *out = nullptr;
    // On purpose never freed: a component's code must stay as long as anybody may still call it.
    const HMODULE module = loadModule(libraryFolder() + "/" + shippedModule);
    using Create = std::int32_t (*)(const char*, const char*, void**);
    const auto create = reinterpret_cast<Create>(moduleExport(module, "QVCreateComponent"));
    if (!create) return QV_E_CLASSNOTREG;
    const LONG status = create(classId, interfaceId, out);
    if (status < 0) *out = nullptr;
    return status >= 0 && !*out ? QV_E_FAIL : status;
}

} // namespace qv
