#include "qvlibs/sidefiles/VendorTable.h"

#include "qvlibs/classify/MediaTypes.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/sidefiles/MtvFiles.h"
#include "qvlibs/timecode/DvMetadata.h"

#include <cstring>

namespace {

constexpr const char* kSection = "Mtv";

CString rowValue(const char* prefix, int row, const char* def) {
    CString key;
    key.Format("%s%02d", prefix, row);
    return QVGetProfileString(kSection, key, def);
}

CString vendorText(int row) { return rowValue("VendorID", row, ""); }

// The first row with this text, ASCII case ignored, or -1.
int findVendor(const CString& vendor) {
    for (int row = 0;; ++row) {
        const CString text = vendorText(row);
        if (text.IsEmpty()) return -1;
        if (text.CompareNoCase(vendor) == 0) return row;
    }
}

} // namespace

int QVTLGetMtvVenderNum(const char* mpegPath) {
    QVTL_TRACE();
    CString vendor;
    QVTLGetMtvFileFromMpeg2(mpegPath, &vendor, nullptr);
    for (int row = 0;; ++row) {
        const CString text = vendorText(row);
        if (text == vendor) return row; // before the test for the end, on purpose
        if (text.IsEmpty()) return -1;
    }
}

int QVTLGetMtvIDNo(int id) {
    QVTL_TRACE();
    if (id >= 0) return id;
    return id == -2 ? 17 : 16;
}

int QVTLIsSupportVendor(CString vendor) {
    QVTL_TRACE();
    return findVendor(vendor) >= 0 ? 1 : 0;
}

int QVTLIsSupportVendorAtOutput(CString vendor) {
    QVTL_TRACE();
    const int row = findVendor(vendor);
    return row >= 0 && row != 1 && row != 3 ? 1 : 0;
}

int QVTLIsSupportVendorAndParamAtOutput(CString mtvPath) {
    QVTL_TRACE();
    MtvAtrTag record;
    if (!QVTLCheckExtensionMTV(mtvPath) || !QVTLGetMtvAtr(mtvPath, &record)) return 0;
    const CString vendor(record.vendor, static_cast<int>(strnlen(record.vendor, sizeof record.vendor)));
    if (!QVTLIsSupportVendorAtOutput(vendor)) return 0;
    return record.system == QVIsPal() && record.sizeClass <= 5 && record.audioSampling == 0 ? 1 : 0;
}

ULONG QVTLMakeMtv(const char* mpegPath, int vendorIndex, ULONG attributes, SYSTEMTIME* time) {
    QVTL_TRACE();
    const int row = QVTLGetMtvIDNo(vendorIndex);
    return QVTLMakeMtvEx(mpegPath, vendorText(row), rowValue("Ext", row, "mtv"), attributes, time);
}
