// QVTLGetMpegProp is declared with the other property records, below this layer, and needs the investigation.
#include "qvlibs/classify/SupportChecks.h"
#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/media/MediaProperties.h"
#include "qvlibs/media/Qvavitools.h"
#include "qvlibs/timecode/DvMetadata.h"

namespace {

constexpr struct {
    ULONG fourcc;
    ULONG openMode;
    const char* name;
} kMpegKinds[] = {
    {makeFourCC('M', 'P', 'G', '1'), 64, "MPEG1"},
    {makeFourCC('M', 'P', 'G', '2'), 0, "MPEG2"},
};

} // namespace

void QVTLGetMpegProp(const CString& path, MPEG_TYPE* video, AUD_TYPE* audio, __int64) {
    QVTL_TRACE();
    *video = {};
    audio->kiloHertz = 0;
    audio->bits = audio->channels = 0;
    ULONG fourcc = 0;
    QVTLAVIInvestigate(path, nullptr, &fourcc);
    bool mpeg = false;
    ULONG openMode = 0;
    const char* name = "ASF";
    for (const auto& kind : kMpegKinds) {
        if (kind.fourcc != fourcc) continue;
        mpeg = true;
        openMode = kind.openMode;
        name = kind.name;
    }
    void* const movie = QVTLAVIFileOpen(path, openMode);
    if (!movie) return;
    video->typeName = name;
    const int rate = mpeg ? QVTLAVIGetVideoAverageRate(movie) : QVTLAVIGetVideoCompressionRate(movie);
    video->rate = static_cast<float>(rate * 0.001);
    BITMAPINFOHEADER format{};
    QVTLAVIGetVideoFormat(movie, &format);
    video->width = static_cast<ULONG>(format.biWidth);
    video->height = static_cast<ULONG>(format.biHeight);
    video->bitCount = format.biBitCount;
    video->frames = QVTLAVIGetTotalFrames(movie);
    const double seconds = mpeg ? static_cast<double>(video->frames) / (QVIsPal() ? 25 : 30)
                                : QVTLAVIGetMiliseconds(movie) * 0.001;
    video->seconds = static_cast<float>(seconds);
    LONG sampling = 0;
    int channels = 0, bits = 0;
    QVTLAVIGetAudioRatio(movie, &sampling);
    QVTLAVIGetAudioChannelsAndBits(movie, &channels, &bits);
    QVTLAVIFileClose(movie);
    audio->kiloHertz = static_cast<float>(sampling * 0.001);
    audio->channels = static_cast<ULONG>(channels);
    // The whole sample frame's bits shared out for everything but MPEG, on purpose.
    if (channels > 0) audio->bits = static_cast<ULONG>(mpeg ? bits : bits / channels);
}
