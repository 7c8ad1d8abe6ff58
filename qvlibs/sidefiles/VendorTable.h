// The vendors whose MPEG-2 recordings are supported: the table of section "Mtv" in the settings (MtvFiles.h).
#pragma once

#include "qvlibs/framework/Strings.h"

// The row whose text equals the vendor of the recording's side file exactly (letter case counts), or -1. A recording
// without side file has an empty vendor text and matches the first empty row, on purpose: the number of filled rows.
QVLIBS_API int QVTLGetMtvVenderNum(const char* mpegPath);
// The row for making side files: a non-negative one as it is, 17 for -2, 16 for every other negative one.
QVLIBS_API int QVTLGetMtvIDNo(int id);
// 1 when the text is in the table (ASCII case ignored), else 0.
QVLIBS_API int QVTLIsSupportVendor(CString vendor);
// The same, but the first match counts and rows 01 and 03 mean 0.
QVLIBS_API int QVTLIsSupportVendorAtOutput(CString vendor);
// 1 when the path is a side file by its extension, its vendor is supported at output, and its parameters are what the
// disc takes: the current television system, a picture size with a class, and sound at 48000 Hz.
QVLIBS_API int QVTLIsSupportVendorAndParamAtOutput(CString mtvPath);

namespace qv {

CString vendorText(int row);      // "" where there is no row
CString vendorExtension(int row); // "mtv" where none is given

} // namespace qv
