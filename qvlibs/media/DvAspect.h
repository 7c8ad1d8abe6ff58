// The picture shape inside a DV frame: it travels in the video source control pack (identifier 0x61) of every
// DIF sequence.
#pragma once

#include "qvlibs/image/DibTypes.h"

// What the pack of the fifth sequence says: DIB_TYPE_4_3, DIB_TYPE_16_9 or DIB_TYPE_LETTERBOX. DIB_TYPE_AUTO
// for null, where that pack is missing, and for all other contents. The frame's own system bits decide how
// its display mode is read. `dif` holds at least 48,458 bytes.
QVLIBS_API DIB_TYPE DEDVGetAspect(unsigned char* dif);

// Writes one of those three shapes into the packs of all 12 (`pal` set) or 10 sequences that have one. Their
// other bits become those of the fifth sequence's. 0 done; 1, nothing changed, for null and other shapes.
QVLIBS_API ULONG DEDVSetAspect(unsigned char* dif, DIB_TYPE type, int pal);

namespace qv {

// What the four bytes behind such a pack's identifier say.
[[nodiscard]] QVLIBS_API DIB_TYPE dvShapeOf(const unsigned char* data);

} // namespace qv
