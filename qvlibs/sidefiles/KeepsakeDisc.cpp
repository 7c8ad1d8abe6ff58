#include "qvlibs/sidefiles/KeepsakeDisc.h"

#include "qvlibs/classify/SupportChecks.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/media/Qvavitools.h"
#include "qvlibs/sidefiles/MtvFiles.h"

namespace {

// Takes the file's value; true when another one was asked for.
template <class Number>
bool differs(Number* wanted, Number actual) {
    if (!wanted) return false;
    const bool other = *wanted != 0 && *wanted != actual;
    *wanted = actual;
    return other;
}

} // namespace

ULONG QVTLCheckMpeg2toKeepsakeDisc(const char* mpegPath, LONG* bitrate, int* width, int* height) {
    QVTL_TRACE();
    ULONG fourcc = 0;
    if (QVTLAVIInvestigate(mpegPath, nullptr, &fourcc) != 0) return 1;
    if (fourcc != makeFourCC('M', 'P', 'G', '2')) return 2;
    if (!QVTLExistMtvFile(mpegPath)) return 3;
    void* const movie = QVTLAVIFileOpen(mpegPath, 0);
    if (!movie) return 6;
    const LONG rate = QVTLAVIGetVideoCompressionRate(movie);
    BITMAPINFOHEADER format{};
    QVTLAVIGetVideoFormat(movie, &format);
    QVTLAVIFileClose(movie);
    ULONG result = 0;
    if (differs(bitrate, rate)) result = 7;
    if (differs(width, static_cast<int>(format.biWidth))) result = 8;
    if (differs(height, static_cast<int>(format.biHeight))) result = 9;
    return result;
}
