#include "qvlibs/classify/FilterStrings.h"

#include "qvlibs/framework/Trace.h"
#include "qvlibs/platform/Resources.h"

#include <iterator>
#include <string>

namespace {

constexpr int kAllFiles = 30034; // "All files (%s)|%s|"

// Kind names and filter entries by type, in the order of the dialogs. 0 = none.
constexpr struct {
    ULONG type;
    int name, filter;
} kTypes[] = {
    {QV_DIALOG_PTG, 0, 30043},      {QV_DIALOG_BMP, 30036, 30030},   {QV_DIALOG_JPEG, 30037, 30031},
    {QV_DIALOG_TIFF, 30038, 30032}, {QV_DIALOG_PNG, 30039, 30033},   {QV_DIALOG_AVI, 30040, 30028},
    {QV_DIALOG_MPEG1, 30044, 0},    {QV_DIALOG_MPEG2, 30041, 30029}, {QV_DIALOG_SEQ, 30042, 30035},
};

// Which type a description's extension stands for. Only the first five rows are ever searched, on purpose: callers
// rely on 0 for the rest.
constexpr struct {
    const char* extension;
    ULONG type;
} kDefaultTypes[] = {
    {"avi", QV_DIALOG_AVI},   {"bmp", QV_DIALOG_BMP},   {"mpg", QV_DIALOG_MPEG2}, {"jpg", QV_DIALOG_JPEG},
    {"jpeg", QV_DIALOG_JPEG}, {"mp2", QV_DIALOG_MPEG2}, {"tif", QV_DIALOG_TIFF},  {"tiff", QV_DIALOG_TIFF},
    {"png", QV_DIALOG_PNG},   {"seq", QV_DIALOG_SEQ},   {"ptg", QV_DIALOG_PTG},
};
constexpr size_t kSearchedTypes = 5;

// What stands in parentheses, joined by commas: "(*.bmp)...(*.jpg,*.jpeg)" gives "*.bmp,*.jpg,*.jpeg".
std::string patternGroups(std::string_view text) {
    std::string groups;
    for (;;) {
        const size_t open = text.find('(');
        const size_t close = text.find(')');
        if (open == std::string_view::npos || close == std::string_view::npos || close < open) return groups;
        if (!groups.empty()) groups += ',';
        groups += text.substr(open + 1, close - open - 1);
        text.remove_prefix(close + 1);
    }
}

} // namespace

CString QVTLGetFileSizeUnit(FILESIZE_UNIT unit) {
    QVTL_TRACE();
    constexpr int kUnits[] = {30027, 30024, 30025, 30026};
    if (unit < 0 || unit >= static_cast<int>(std::size(kUnits))) return {};
    return qv::resourceText(kUnits[unit]);
}

CString QVTLGetFilterString(ULONG types, int withAll) {
    QVTL_TRACE();
    CString filter;
    for (const auto& row : kTypes) {
        if ((types & row.type) && row.filter) filter += qv::resourceText(row.filter);
    }
    if (filter.IsEmpty()) return filter;
    if (withAll) {
        const CString commas = patternGroups(filter.str());
        CString semicolons = commas;
        semicolons.Replace(",", ";");
        filter += qv::formatResource(kAllFiles, commas.GetString(), semicolons.GetString());
    }
    return filter + "|";
}

CString QVTLGetFileEnumString(ULONG types, CString separator) {
    QVTL_TRACE();
    CString names;
    for (const auto& row : kTypes) {
        if (!(types & row.type) || !row.name || row.type == QV_DIALOG_MPEG1) continue;
        if (!names.IsEmpty()) names += separator;
        names += qv::resourceText(row.name);
    }
    return names;
}

CString QVTLGetFileypeString(ULONG type) {
    QVTL_TRACE();
    for (const auto& row : kTypes) {
        if (row.type == type && row.name) return qv::resourceText(row.name);
    }
    return {};
}

ULONG QVTLGetDefaultFilterType(CString filter) {
    QVTL_TRACE();
    const int bar = filter.Find('|');
    const CString description = bar < 0 ? filter : filter.Left(bar);
    for (size_t i = 0; i < kSearchedTypes; ++i) {
        if (description.Find(kDefaultTypes[i].extension) >= 0) return kDefaultTypes[i].type;
    }
    return 0;
}
