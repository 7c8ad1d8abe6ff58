// Memory blocks known by a handle: how packed bitmaps cross between the library, its modules and its callers,
// so that a block made by one is freed by another with one allocator.
//
// A block does not move while it is locked or at any other time; locks are counted all the same. A handle
// that is unknown, or was freed, is refused: null, 0 or the handle itself comes back. All functions may be
// called from any thread. C linkage, so that modules written in C can call them.
#pragma once

#include "qvlibs/framework/Types.h"

constexpr unsigned GMEM_FIXED = 0x0000;
constexpr unsigned GMEM_MOVEABLE = 0x0002;
constexpr unsigned GMEM_ZEROINIT = 0x0040;
constexpr unsigned GHND = GMEM_MOVEABLE | GMEM_ZEROINIT;

extern "C" {
// A block of `size` bytes with no lock on it, or null when there is no memory. A size of 0 gives a valid
// empty block.
QVLIBS_API HGLOBAL GlobalAlloc(unsigned flags, size_t size);
// The address of the block, 16-byte aligned; adds a lock.
QVLIBS_API void* GlobalLock(HGLOBAL block);
// Takes a lock away. 1 while locks are left, else 0.
QVLIBS_API int GlobalUnlock(HGLOBAL block);
// Frees the block, locked or not. Null when done, the handle when it is unknown.
QVLIBS_API HGLOBAL GlobalFree(HGLOBAL block);
// The size asked for at GlobalAlloc, 0 for an unknown handle.
QVLIBS_API size_t GlobalSize(HGLOBAL block);
}
