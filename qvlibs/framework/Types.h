// The widths and handles that the interface is said in.
//
// The interface's "long" and "unsigned long" are 32 bits wide on every platform: LONG and ULONG. Records in
// files, in the registry and across the plug-in boundary depend on it, so no public header uses the built-in
// `long`.
#pragma once

#include <cstddef>
#include <cstdint>

#define QVLIBS_API __attribute__((visibility("default")))

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using ULONG = DWORD;
using BOOL = int;
using HRESULT = LONG;      // a status: negative means failure
using COLORREF = DWORD;    // 0x00BBGGRR: red in the low byte
using __int64 = long long; // 64-bit counts of the interface

static_assert(sizeof(LONG) == 4 && sizeof(ULONG) == 4 && sizeof(__int64) == 8);

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;

// Opaque handles. Each kind is a pointer to a type of its own, so that one is not passed for another.
using HKEY = struct QvKey__*;       // a registry hive (platform/Registry.h)
using HGLOBAL = struct QvGlobal__*; // a memory block (platform/GlobalMemory.h)
using HMODULE = struct QvModule__*; // a loaded module (platform/Modules.h)
using HINSTANCE = HMODULE;
using HBITMAP = struct QvBitmap__*;    // a bitmap of the drawing surface (framework/Surface.h)
using HPALETTE = struct QvPalette__*;  // a logical palette (framework/Surface.h)
using HDC = struct QvDeviceContext__*; // a drawing surface (framework/Surface.h)
