// The profile store: the suite's settings by section and key, in a registry tree whose root is configurable;
// plain settings files; whole registry trees.
//
// Root: "Software\Tarvelion\Lumenhall" in the local-machine hive unless "Position" in section [RegistryKey]
// of qvenv.ini beside the library names another one. A section is a key below the root; a section of at least
// five characters whose last four are digits is a numbered record: "Model0003" is root\Model\0003. A section
// of null or "" is the root itself.
//
// Reads never fail: they answer their default. Writes answer 1 when the value is stored, 0 when it is not;
// what they acknowledged is there for every process at once and survives the end of this one. Nothing is
// cached between calls, and several processes may read and write at the same time.
// Threads: integer reads may run side by side; callers serialise the other functions.
#pragma once

#include "qvlibs/framework/Strings.h"
#include "qvlibs/platform/Registry.h"

// A 32-bit number, or `def` when it is missing. The stored type does not matter: any value of up to 4 bytes
// is read as a number. regPath: another root below the local-machine hive, or null.
QVLIBS_API unsigned int QVGetProfileInt(const char* section, const char* key, int def);
QVLIBS_API unsigned int QVGetProfileIntEx(const char* section, const char* key, int def, const char* regPath);
// "TRUE" and "FALSE" in any case are 1 and 0. Any other text gives `def` as it is; a missing one 1 when `def`
// is not 0, else 0.
QVLIBS_API int QVGetProfileBool(const char* section, const char* key, int def);
// At most 767 bytes; a longer stored text gives `def`.
QVLIBS_API CString QVGetProfileString(const char* section, const char* key, const char* def);
QVLIBS_API CString QVGetProfileStringEx(const char* section, const char* key, const char* def,
                                        const char* regPath);

// 1 done, 0 failed. The section is made when it is missing. Keys are cut to 767 bytes. `flags` are accepted
// and mean nothing: every write takes effect at once.
QVLIBS_API int QVWriteProfileInt(const char* section, const char* key, int value, unsigned short flags);
QVLIBS_API int QVWriteProfileIntEx(const char* section, const char* key, int value, unsigned short flags,
                                   const char* regPath);
QVLIBS_API int QVWriteProfileBool(const char* section, const char* key, int value, unsigned short flags);
QVLIBS_API int QVWriteProfileString(const char* section, const char* key, const char* value,
                                    unsigned short flags);
QVLIBS_API int QVWriteProfileStringEx(const char* section, const char* key, const char* value,
                                      unsigned short flags, const char* regPath);
// Removes a value, if it is there. Always 0.
QVLIBS_API ULONG QVRemoveProfileKey(const char* section, const char* key);

// The system directory: empty until it is set. Setting returns the new value.
QVLIBS_API CString QVGetSystemDirectory();
QVLIBS_API CString QVSetSystemDirectory(const char* dir);
// The system directory and "/gwenv.ini", or "/gwenvorg.ini": set the directory first.
QVLIBS_API CString QVGetProfileName();
QVLIBS_API CString QVGetOriginalProfileName();

// Settings files. A file name without "/" lies in the system directory. Names are compared without case.
// A missing or empty number gives `def`, a text without digits 0, else the digits at its start count.
QVLIBS_API unsigned int QVGetPrivateProfileInt(const char* section, const char* key, int def,
                                               const char* file);
// At most 127 bytes, the rest is cut. A null key gives the name of the section's first key, a null section
// that of the first section; "" where there is none.
QVLIBS_API CString QVGetPrivateProfileString(const char* section, const char* key, const char* def,
                                             const char* file);
// 1 done, 0 failed. The file is replaced as a whole, its comments and order stay. A null value removes the
// key, a null key the section.
QVLIBS_API int QVWritePrivateProfileInt(const char* section, const char* key, int value, const char* file);
QVLIBS_API int QVWritePrivateProfileString(const char* section, const char* key, const char* value,
                                           const char* file);

// A value below root\subKey as text; "" when it is missing or above 519 bytes.
QVLIBS_API CString QVGetRegValueString(HKEY root, const char* subKey, const char* name);
// Copies src\srcSub with everything below it: to dst\dstSub, which is made, when `create` is not 0 (a null
// dstSub means srcSub); else into dst itself. What the target has besides stays. A missing source copies
// nothing and makes nothing.
QVLIBS_API void QVCopyReg(HKEY src, HKEY dst, const char* srcSub, const char* dstSub, int create);
// Removes root\subKey with everything below it: 0 done, 2 when it is not there, 5 when it cannot be removed.
QVLIBS_API int QVDeleteReg(HKEY root, const char* subKey);
