// Texts of open and save dialogs: filters, kind names, size units. All are string resources (UTF-8).
//
// The dialog file-type mask is a set of bits of its own, not the extension mask of MediaTypes.h.
#pragma once

#include "qvlibs/framework/Strings.h"

constexpr ULONG QV_DIALOG_BMP = 0x001;
constexpr ULONG QV_DIALOG_JPEG = 0x002;
constexpr ULONG QV_DIALOG_TIFF = 0x004;
constexpr ULONG QV_DIALOG_PNG = 0x008;
constexpr ULONG QV_DIALOG_AVI = 0x010;
constexpr ULONG QV_DIALOG_MPEG1 = 0x020; // has a name, no filter entry
constexpr ULONG QV_DIALOG_MPEG2 = 0x040;
constexpr ULONG QV_DIALOG_SEQ = 0x080;
constexpr ULONG QV_DIALOG_PTG = 0x100; // has a filter entry, no name

enum FILESIZE_UNIT : int { FILESIZE_BYTE = 0, FILESIZE_KB = 1, FILESIZE_MB = 2, FILESIZE_GB = 3 };

// "B", "KB", "MB", "GB"; "" for other values.
QVLIBS_API CString QVTLGetFileSizeUnit(FILESIZE_UNIT unit);
// The filter of a dialog: "description|patterns|" for each type, the PTG entry first; with `withAll` an "All files"
// entry of all patterns; one more "|" at the end. "" when no type has an entry.
QVLIBS_API CString QVTLGetFilterString(ULONG types, int withAll);
// Kind names joined by the separator. MPEG1 and PTG add nothing.
QVLIBS_API CString QVTLGetFileEnumString(ULONG types, CString separator);
// The name of exactly one type, "" otherwise.
QVLIBS_API CString QVTLGetFileypeString(ULONG type);
// The type whose extension the first description of a filter names: AVI, BMP, MPEG-2 or JPEG, in this order; 0 when it
// names none of these. TIFF, PNG, SEQ and PTG are not looked for, on purpose.
QVLIBS_API ULONG QVTLGetDefaultFilterType(CString filter);
