#include "qvlibs/plugins/VideoCodecSetup.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/platform/Modules.h"

namespace qv {

LONG callVideoPlugins(const char* call, const char* folder) {
    if (!folder || !*folder) return QV_E_FAIL;
    for (const auto& name : listFolder(folder, "*.vcp")) {
        const HMODULE module = loadModule(std::string(folder) + "/" + name);
        if (void* address = moduleExport(module, call)) reinterpret_cast<void (*)()>(address)();
        freeModule(module);
    }
    return 0;
}

} // namespace qv

namespace {

LONG callBesideProgram(const char* call) {
    std::string folder = qv::programFolder();
    if (!folder.empty()) folder += "/pbbin";
    return qv::callVideoPlugins(call, folder.c_str());
}

} // namespace

namespace PBLIB {

LONG QVTLInitializeVideoCodecPlugin() {
    QVTL_TRACE();
    return callBesideProgram("Initialize");
}

LONG QVTLTerminateVideoCodecPlugin() {
    QVTL_TRACE();
    return callBesideProgram("Terminate");
}

} // namespace PBLIB
