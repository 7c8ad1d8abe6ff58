// Whether a movie's frame rate is that of the current television system.
#include "qvlibs/classify/CachedCheck.h"
#include "qvlibs/media/Qvavitools.h"
#include "qvlibs/timecode/DvMetadata.h"

namespace qv {

int testFrameRate(const char* path, unsigned) {
    void* const movie = QVTLAVIFileOpen(path, 64);
    if (!movie) return 1; // nothing speaks against it
    ULONG rate = 0, scale = 0;
    QVTLAVIGetVideoRatio(movie, &rate, &scale);
    QVTLAVIFileClose(movie);
    if (scale == 0) scale = 1;
    if (QVIsPal()) return rate / scale == 25 ? 1 : 0;
    // 30000/1001 and what writers make of it, in hundredths; 30 frames a second are not.
    const std::uint64_t hundredths = std::uint64_t{rate} * 100 / scale;
    return hundredths >= 2996 && hundredths <= 2998 ? 1 : 0;
}

} // namespace qv
