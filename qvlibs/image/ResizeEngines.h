// The resizers of raw 24-bit pictures: one resampling engine, behind three sets of rules about where the
// result is placed and what is cleared. A rectangle that is not inside its picture is refused.
#pragma once

#include "qvlibs/framework/Geometry.h"

namespace qv {

struct RawResize {
    unsigned char* source;
    SIZE sourceSize;
    RECT sourcePart;
    unsigned char* destination;
    SIZE destinationSize;
    RECT destinationPart;
};

// All return 0 done, 1 refused.

// Triangle. Both parts count stored rows; nothing is cleared.
ULONG resizeSmooth(const RawResize& job);

// Cubic, or linear. The source part counts stored rows. The result is made at the start of the buffer and
// then moved to the destination part, which counts rows from the top; a part that is not the whole clears the
// rest. Without a destination the result goes back into the source's buffer, which must be large enough.
ULONG resizePlaced(const RawResize& job, bool linear);

// Lanczos, or triangle. Both parts count stored rows; a part that is not the whole clears the rest.
ULONG resizeScaled(const RawResize& job, bool triangle);

} // namespace qv
