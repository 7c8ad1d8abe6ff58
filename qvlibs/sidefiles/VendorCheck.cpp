// QVTLCheckSupportVender is declared with the support checks, below this layer, and needs the side files.
#include "qvlibs/classify/MediaTypes.h"
#include "qvlibs/classify/SupportChecks.h"
#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/sidefiles/MtvFiles.h"

int QVTLCheckSupportVender(const char* path, unsigned) {
    QVTL_TRACE();
    constexpr int kSupported = 0x200001;
    constexpr const char* kVendors[] = {
        "Tarvelion_Type4 FerrosalSTUDIO1",
        "Tarvelion_Type4 FerrosalSTUDIO2",
        "Tarvelion_Type4 Q4410",
    };
    if (!QVTLCheckExtensionMpeg(path)) return 1;
    ULONG fourcc = 0;
    QVTLAVIInvestigate(path, nullptr, &fourcc);
    const bool asked =
        fourcc == makeFourCC('M', 'P', 'G', '2') && QVGetProfileInt("Common", "EnableTimecode", 0) == 0;
    if (!asked) return 1;
    CString vendor;
    if (QVTLGetMtv(path, &vendor, nullptr) != 0) return 0;
    for (const char* known : kVendors) {
        if (vendor == known) return kSupported;
    }
    return 0;
}
