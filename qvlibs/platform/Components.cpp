#include "qvlibs/platform/Components.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/platform/Modules.h"
#include "qvlibs/platform/Registry.h"

namespace qv {

namespace {

// So that another component can be put in place by a setting.
std::string registeredModule(const char* classId) {
    const std::string key = std::string("Software\\Classes\\CLSID\\") + classId + "\\InprocServer32";
    const auto value = registry::readValue(HKEY_LOCAL_MACHINE, key, "");
    if (!value || value->type != registry::Type::Text) return {};
    return value->bytes.substr(0, value->bytes.find('\0'));
}

} // namespace

LONG createComponent(const char* classId, const char* interfaceId, const char* shippedModule, void** out) {
    if (!out) return QV_E_POINTER;
    *out = nullptr;
    // On purpose never freed: a component's code must stay as long as anybody may still call it.
    const std::string registered = registeredModule(classId);
    const HMODULE module =
        loadModule(registered.empty() ? libraryFolder() + "/" + shippedModule : registered);
    using Create = std::int32_t (*)(const char*, const char*, void**);
    const auto create = reinterpret_cast<Create>(moduleExport(module, "QVCreateComponent"));
    if (!create) return QV_E_CLASSNOTREG;
    const LONG status = create(classId, interfaceId, out);
    if (status < 0) *out = nullptr;
    return status >= 0 && !*out ? QV_E_FAIL : status;
}

} // namespace qv
