// Asking the codec plug-ins what a file is.
#include "qvlibs/classify/CachedCheck.h"
#include "qvlibs/classify/SupportChecks.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/plugins/PluginInfo.h"

#include <memory>

namespace {

constexpr const char* kEntry = "QVTLAVIInvestigate";
constexpr ULONG kNoCode = 0xFFFFFFFF; // no plug-in, or a movie of the other television system

void ask(const char* path, qv::SupportElement& element) {
    element.fourcc = kNoCode;
    const std::unique_ptr<CPluginInfo> codec(LoadVideoCodecPlugIn(path));
    if (!codec) return;
    int attributes = 0;
    element.fourcc = 0;
    element.status = codec->Investigate(path, &attributes, &element.fourcc);
    element.attributes = attributes;
    if (element.fourcc == 0) {
        element.status = QV_FAILED;
        CCriticalTrace trace(kEntry, "QVTL", __FILE__, __LINE__);
        trace << "Investigate [" << path << "] failed.\n";
    } else if (!QVTLCheckSupport_NTSCPAL(path, 0)) {
        element.fourcc = kNoCode;
        element.status = QV_OK;
    }
}

} // namespace

ULONG QVTLAVIInvestigate(const char* path, int* attributes, ULONG* fourcc) {
    QVTL_TRACE();
    if (!path || !QVTLCheckSupportDate(path)) return static_cast<ULONG>(QV_E_FAIL);
    qv::SupportElement element;
    if (!QVTLGetStatus(path, element.identity)) return QV_FAILED; // gone since the date was read
    const qv::SupportElement* known = qv::supportCache().find(kEntry, element.identity);
    if (!known) {
        qv::traceThinking(kEntry, path);
        ask(path, element);
        known = &qv::supportCache().insert(kEntry, std::move(element));
    }
    if (attributes) *attributes = known->attributes;
    if (fourcc) *fourcc = known->fourcc;
    return known->status;
}
