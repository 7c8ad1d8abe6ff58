#include "qvlibs/plugins/PropertyRegistry.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/plugins/ModuleCall.h"
#include "qvlibs/plugins/Registry.h"
#include "qvlibs/plugins/plugin_api.h"
#include "qvlibs/util/Qvfiletools.h"

#include <cstring>

namespace {

static_assert(sizeof(QVDATETIME) == sizeof(SYSTEMTIME));

template <class Export, class... Arguments>
LONG status(HMODULE module, Export wanted, Arguments... arguments) {
    constexpr qv::CallFailures<LONG> kFailures = {QV_E_INVALIDARG, QV_E_NOTSUPPORTED};
    return qv::callModule(module, wanted, kFailures, arguments...);
}

} // namespace

CPbPluginInfo::CPbPluginInfo(const char* path, LONG* result) {
    const qv::LoadedModule* found = path ? qv::propertyRegistry().find(path) : nullptr;
    if (found) module = found->module;
    if (result) *result = found ? 0 : path ? QV_E_INVALIDARG : QV_E_FAIL;
}

LONG CPbPluginInfo::IsSupported(const char* path, int* supported) {
    const std::lock_guard hold(qv::propertyRegistry().lock);
    // The one export of both kinds: codec modules count its results unsigned, these ones signed.
    constexpr qv::CallFailures<ULONG> kFailures = {static_cast<ULONG>(QV_E_INVALIDARG),
                                                   static_cast<ULONG>(QV_E_NOTSUPPORTED)};
    return static_cast<LONG>(qv::callModule(module, QV_EXPORT(IsSupported), kFailures, path, supported));
}

LONG CPbPluginInfo::IsExifFile(const char* path, int* isExif) {
    return status(module, QV_EXPORT(IsExifFile), path, isExif);
}

LONG CPbPluginInfo::GetOrientation(const char* path, int* orientation, int* second, int option) {
    return status(module, QV_EXPORT(GetOrientation), path, orientation, second, option);
}

LONG CPbPluginInfo::SetOrientation(const char* path, const char* target, WORD orientation, int option) {
    return status(module, QV_EXPORT(SetOrientation), path, target, orientation, option);
}

LONG CPbPluginInfo::SetDateTimeOriginal(const char* path, const SYSTEMTIME& time) {
    QVDATETIME words;
    std::memcpy(&words, &time, sizeof words);
    return status(module, QV_EXPORT(SetDateTimeOriginal), path, &words);
}

LONG CPbPluginInfo::GetDateTimeOriginal(const char* path, SYSTEMTIME* time) {
    QVDATETIME words{};
    const LONG result = status(module, QV_EXPORT(GetDateTimeOriginal), path, &words);
    if (result >= 0 && time) std::memcpy(time, &words, sizeof words);
    return result;
}

LONG CPbPluginInfo::GetCamera(const char* path, char* text, LONG size) {
    return status(module, QV_EXPORT(GetCamera), path, text, size);
}

LONG CPbPluginInfo::GetMakerNoteValue(const char* path, QVMAKERNOTESINK* sink) {
    return status(module, QV_EXPORT(GetMakerNoteValue), path, sink);
}

LONG CPbPluginInfo::CopyProperties(const char* from, const char* to, WORD orientation) {
    return status(module, QV_EXPORT(CopyProperties), from, to, orientation);
}

CStringList QVTLGetPbPlugIns(const char* pattern) {
    CStringList paths;
    const CString kind = CString(pattern).Right(3);
    for (const auto& loaded : qv::propertyRegistry().modules()) {
        if (QVTLGetExtention(loaded.path).CompareNoCase(kind) == 0) paths.AddTail(loaded.path);
    }
    return paths;
}
