// One call of a module's export: looked up by name at the moment of the call, so that a module may be reloaded between
// two calls.
#pragma once

#include "qvlibs/platform/Modules.h"

namespace qv {

// An export of plugin_api.h; its type carries the signature.
template <class Function>
struct ModuleExport {
    const char* name;
};
#define QV_EXPORT(name)                                                                                      \
    qv::ModuleExport<decltype(::name)> { #name }

// What the call gives when there is no module, or no such export.
template <class Result>
struct CallFailures {
    Result noModule;
    Result noExport;
};

template <class Result, class... Parameters, class... Arguments>
Result callModule(HMODULE module, ModuleExport<Result(Parameters...)> wanted,
                  CallFailures<std::type_identity_t<Result>> failures, Arguments... arguments) {
    if (!module) return failures.noModule;
    void* const address = moduleExport(module, wanted.name);
    if (!address) return failures.noExport;
    return reinterpret_cast<Result (*)(Parameters...)>(address)(arguments...);
}

} // namespace qv
