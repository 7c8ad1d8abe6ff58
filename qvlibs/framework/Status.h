// Status codes with names. Three senses live side by side in the interface, each function says which is its
// own:
//   operations   ULONG   0 done, small positive codes or a platform status for failure
//   predicates   int     1 yes, 0 no
//   writers      int     1 done, 0 failed (settings, BMP streams, attaching memory)
// Members that return LONG use platform statuses, which are negative for failure.
#pragma once

#include "qvlibs/framework/Types.h"

constexpr ULONG QV_OK = 0;
constexpr ULONG QV_FAILED = 1;                   // bad argument or failed step
constexpr ULONG QV_NO_EXPORT = 9;                // the plug-in does not export the function
constexpr ULONG QV_NO_MODULE = 14;               // there is no plug-in module, or no handle
constexpr ULONG QV_ALREADY_OPEN = 15;            // a writer is open already
constexpr ULONG QV_COMPRESSED = 2304;            // compressed data was copied instead of a picture
constexpr ULONG QV_COMPONENT_FAILED = 0x4000000; // set in statuses that come from the DV component

constexpr LONG QV_E_INVALIDARG = static_cast<LONG>(0x80070057u);
constexpr LONG QV_E_FAIL = static_cast<LONG>(0x80004005u);
constexpr LONG QV_E_NOTIMPL = static_cast<LONG>(0x80004001u);
constexpr LONG QV_E_NOINTERFACE = static_cast<LONG>(0x80004002u);
constexpr LONG QV_E_POINTER = static_cast<LONG>(0x80004003u);
constexpr LONG QV_E_OUTOFMEMORY = static_cast<LONG>(0x8007000Eu);
constexpr LONG QV_E_NOTSUPPORTED = static_cast<LONG>(0x80070032u);
constexpr LONG QV_E_NOHEADER = static_cast<LONG>(0x81000003u);    // an image without header
constexpr LONG QV_E_CLASSNOTREG = static_cast<LONG>(0x80040154u); // no component of that class
