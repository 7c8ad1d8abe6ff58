#include "qvlibs/media/MediaProperties.h"

#include "qvlibs/framework/OpenWithoutWaiting.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/media/AudioFamily.h"
#include "qvlibs/media/Qvavitools.h"
#include "qvlibs/platform/AviHeader.h"
#include "qvlibs/timecode/DvMetadata.h"

#include <utility>

#include <unistd.h>

namespace {

void clearSound(AUD_TYPE& audio) {
    audio.kiloHertz = 0;
    audio.bits = audio.channels = 0;
}

} // namespace

int QVTLGetAVITYPE(const CString& path, AVI_TYPE* video, AUD_TYPE* audio) {
    QVTL_TRACE();
    video->width = video->height = video->bitCount = 0;
    video->seconds = 0;
    video->frames = 0;
    clearSound(*audio);
    void* const movie = path.IsEmpty() ? nullptr : QVTLAVIFileOpen(path, 0);
    if (!movie) return 0;
    video->typeName = "AVI";
    video->frames = QVTLAVIGetTotalFrames(movie);
    video->seconds = static_cast<double>(video->frames) / (QVIsPal() ? 25 : 30);
    video->bitCount = static_cast<ULONG>(QVTLAVIGetTotalSamplesVFW(movie));
    LONG rate = 0;
    int channels = 0, bits = 0;
    QVTLAVIGetAudioRatio(movie, &rate);
    QVTLAVIGetAudioChannelsAndBits(movie, &channels, &bits);
    QVTLAVIFileClose(movie);
    audio->kiloHertz = static_cast<float>(rate * 0.001);
    audio->channels = static_cast<ULONG>(channels);
    audio->bits = channels ? static_cast<ULONG>(bits) : 0;

    const int file = qv::openWithoutWaiting(path, O_RDONLY);
    if (file < 0) return 0;
    const auto header = qv::readAviHeader(qv::aviBytesOf(file));
    ::close(file);
    if (!header) return 0;
    video->bitCount = 24;
    video->width = header->width;
    video->height = header->height;
    return 1;
}

void QVTLGetStillProp(const CString& path, STILL_TYPE* still) {
    QVTL_TRACE();
    CQVDIB picture;
    BITMAPINFOHEADER header{};
    CString description;
    picture.GetInfo(path, &header, description);
    still->typeName = description;
    still->width = static_cast<ULONG>(header.biWidth);
    still->height = static_cast<ULONG>(header.biHeight);
    still->bitCount = header.biBitCount;
    int isExif = 0;
    LONG status = 0;
    picture.IsExif(path, &isExif);
    const int orientation = isExif ? picture.GetOrientationInfo(path, &status, 0) : 0;
    if (orientation == 6 || orientation == 8) std::swap(still->width, still->height);
}

void QVTLGetAudioProp(const CString& path, AUD_TYPE* audio) {
    QVTL_TRACE();
    WAVEFORMATEX format{};
    LONG samples = 0;
    if (void* const sound = QVTLAudioFileOpen(path)) {
        samples = QVTLAudioGetTotalSamples(sound);
        QVTLAudioGetWaveFormat(sound, &format);
        QVTLAudioFileClose(sound);
    }
    audio->channels = format.nChannels;
    audio->bits = ULONG{format.nBlockAlign} * format.nChannels * 2;
    audio->kiloHertz = static_cast<float>(format.nSamplesPerSec * 0.001);
    const bool known = samples != 0 && format.nSamplesPerSec != 0;
    audio->seconds = known ? static_cast<float>(static_cast<double>(samples) / format.nSamplesPerSec) : 0;
}
