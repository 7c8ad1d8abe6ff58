#include "qvlibs/classify/InformationText.h"

#include "qvlibs/classify/CachedCheck.h"
#include "qvlibs/classify/MediaTypes.h"
#include "qvlibs/classify/SupportChecks.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/media/AudioFamily.h"
#include "qvlibs/media/Qvavitools.h"
#include "qvlibs/platform/Resources.h"

namespace {

constexpr const char* kEntry = "QVTLGetInformationString";

constexpr int kMovieText = 30000, kPictureText = 30001, kMono = 30003, kStereo = 30004, kBits = 30005;
constexpr int kSoundText = 30006, kShortDuration = 30011, kAspectLabel = 30012, kBitRate = 30057;
constexpr int kSequenceLine = 30049, kClips = 30050, kBgms = 30051, kSequence = 30052, kTape = 30053;

constexpr const char* kPart = " , "; // between the parts of kMovieText: length, sound

struct Texts {
    CString longText, shortText;
    bool isEmpty() const { return longText.IsEmpty() && shortText.IsEmpty(); }
};

const char* aspectName(int code) {
    constexpr int kFull = 30046, kWide = 30047, kCinema = 30048;
    return qv::resourceText(code == DIB_TYPE_16_9 ? kWide : code == DIB_TYPE_LETTERBOX ? kCinema : kFull);
}

// A timecode outside its printable range has no text.
CString lengthText(const CQVTimecode& length) { return length.Format(nullptr); }

Texts pictureTexts(const char* path) {
    CQVDIB picture;
    BITMAPINFOHEADER header{};
    CString format;
    if (picture.GetInfo(path, &header, format) != 0) return {};
    const CString text =
        qv::formatResource(kPictureText, format.GetString(), long{header.biWidth}, long{header.biHeight});
    return {text, text};
}

const char* movieKind(const char* path) {
    if (QVTLCheckExtensionAVI(path)) return "AVI";
    if (QVTLCheckExtensionAsf(path)) return "ASF";
    ULONG fourcc = 0;
    QVTLAVIInvestigate(path, nullptr, &fourcc);
    return fourcc == makeFourCC('M', 'P', 'G', '1') ? "MPEG1" : "MPEG2";
}

Texts movieTexts(const char* path) {
    void* const movie = QVTLAVIFileOpen(path, 0);
    if (!movie) return {};
    BITMAPINFOHEADER format{};
    QVTLAVIGetVideoFormat(movie, &format);
    DIB_TYPE aspect = DIB_TYPE_AUTO;
    QVTLAVIGetDIBType(movie, aspect, 0);
    LONG rate = 0;
    int channels = 0, bits = 0;
    QVTLAVIGetAudioRatio(movie, &rate);
    QVTLAVIGetAudioChannelsAndBits(movie, &channels, &bits);
    const CString length = lengthText(CQVTimecode(QVTLAVIGetTotalFrames(movie), TCMODE_DEFAULT));
    const double megabits = QVTLAVIGetVideoAverageRate(movie) / 1000.0;
    QVTLAVIFileClose(movie);

    const bool sound = channels > 0;
    const CString size =
        qv::formatResource(kPictureText, movieKind(path), long{format.biWidth}, long{format.biHeight});
    Texts texts;
    CString width;
    width.Format(", %ld bit", long{bits});
    texts.longText = qv::formatResource(kMovieText, length.GetString(), rate / 1000.0);
    texts.longText = sound ? texts.longText + width : texts.longText.Left(texts.longText.Find(kPart));
    texts.longText += "\n" + size + " " + qv::resourceText(kAspectLabel) + " " + aspectName(aspect);
    if (QVTLCheckExtensionMpeg(path)) texts.longText += qv::formatResource(kBitRate, megabits);
    texts.shortText = size + " " + length;
    width.Format("/%ld bit", long{bits});
    if (sound) texts.shortText += width;
    return texts;
}

Texts soundTexts(const char* path) {
    void* const sound = QVTLAudioFileOpen(path);
    if (!sound) return {};
    WAVEFORMATEX format{};
    QVTLAudioGetWaveFormat(sound, &format);
    const LONG samples = QVTLAudioGetTotalSamples(sound);
    QVTLAudioFileClose(sound);
    const double seconds = format.nSamplesPerSec ? static_cast<double>(samples) / format.nSamplesPerSec : 0;
    const char* channels = format.nChannels == 2   ? qv::resourceText(kStereo)
                           : format.nChannels == 1 ? qv::resourceText(kMono)
                                                   : "audio failed.";
    const CString bits = qv::formatResource(kBits, long{format.wBitsPerSample});
    return {
        qv::formatResource(kSoundText, seconds, format.nSamplesPerSec / 1000.0, channels, bits.GetString()),
        qv::formatResource(kShortDuration, seconds)};
}

Texts textsOf(const char* path) {
    if (QVTLCheckSupportPicture(path, 0)) return pictureTexts(path);
    if (QVTLCheckExtensions(path, QV_EXT_AVI | QV_EXT_MPEG | QV_EXT_ASF)) return movieTexts(path);
    if (QVTLCheckExtensionSound(path)) return soundTexts(path);
    return {};
}

} // namespace

CString QVTLGetInformationString(const char* path, int longForm) {
    QVTL_TRACE();
    qv::SupportElement element;
    if (!path || !QVTLGetStatus(path, element.identity)) return {};
    const auto* known = qv::supportCache().find(kEntry, element.identity);
    if (!known) {
        Texts texts = textsOf(path);
        if (texts.isEmpty()) return {};
        element.longText = texts.longText;
        element.shortText = texts.shortText;
        known = &qv::supportCache().insert(kEntry, std::move(element));
    }
    return longForm ? known->longText : known->shortText;
}

CString QVTLReplaceInformationString(const char* path) {
    QVTL_TRACE();
    QVFILESTATUS identity;
    if (!path || !QVTLGetStatus(path, identity)) return {};
    if (!qv::supportCache().find(kEntry, identity)) return {};
    const Texts texts = textsOf(path);
    if (texts.isEmpty()) return {};
    qv::supportCache().replaceTexts(kEntry, identity, texts.longText, texts.shortText);
    return texts.shortText;
}

void QVTLSetInformationString(const char* path, const char* text) {
    QVTL_TRACE();
    qv::SupportElement element;
    if (!path || !QVTLGetStatus(path, element.identity)) return;
    element.longText = "sequence information";
    element.shortText = text;
    qv::supportCache().insert(kEntry, std::move(element)); // one that is there already stays
}

CString QVTLGetInformationSequenceString(const char* path, CQVTimecode length, DIB_TYPE layout, int clips,
                                         int bgms) {
    QVTL_TRACE();
    const bool tape = QVTLCheckExtensionTAP(path) != 0;
    const CString duration = lengthText(length);
    CString text =
        qv::formatResource(kSequenceLine, qv::resourceText(tape ? kTape : kSequence), duration.GetString());
    if (!tape) text += CString("\n") + qv::resourceText(kAspectLabel) + " " + aspectName(layout);
    text += "\n" + qv::formatResource(kClips, clips);
    if (!tape) text += "\n" + qv::formatResource(kBgms, bgms);
    return text;
}
