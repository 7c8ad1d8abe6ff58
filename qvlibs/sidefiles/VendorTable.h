// The vendors whose MPEG-2 recordings are supported: rows of the settings, section "Mtv". "VendorID00", "VendorID01", ...
// up to the first that is empty are their texts, "Ext00", ... (default "mtv") the extensions of their side files
// (MtvFiles.h). Threads: one at a time.
#pragma once

#include "qvlibs/framework/Strings.h"
#include "qvlibs/framework/Time.h"

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
// QVTLMakeMtvEx with the vendor and the extension of a row, as QVTLGetMtvIDNo gives it.
QVLIBS_API ULONG QVTLMakeMtv(const char* mpegPath, int vendorIndex, ULONG attributes, SYSTEMTIME* time);
