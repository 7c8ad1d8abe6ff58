// CDEDUClip::GetType is declared with the clip record, below this layer, and needs the support checks.
#include "qvlibs/classify/SupportChecks.h"
#include "qvlibs/settings/CaptureRecords.h"

unsigned short CDEDUClip::GetType() {
    constexpr unsigned short kEmpty = 2, kPicture = 4, kMovie = 8;
    const CString& name = GetFileName();
    if (name.IsEmpty()) return kEmpty;
    if (QVTLCheckSupportPicture(name, 0)) return kPicture;
    return QVTLCheckSupportMovie(name, 0) ? kMovie : 0;
}
