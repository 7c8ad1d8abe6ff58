#include "qvlibs/classify/SupportChecks.h"

#include "qvlibs/classify/CachedCheck.h"
#include "qvlibs/classify/MediaTypes.h"
#include "qvlibs/framework/File.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/media/AudioFamily.h"
#include "qvlibs/media/QVMovie.h"
#include "qvlibs/media/TitleFamily.h"
#include "qvlibs/platform/FileTimes.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/util/Qvfiletools.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <iterator>

namespace {

constexpr ULONG kMpeg1 = makeFourCC('M', 'P', 'G', '1');
constexpr ULONG kMpeg2 = makeFourCC('M', 'P', 'G', '2');
constexpr int kShortestMpeg2 = 5; // frames, unless the settings say otherwise

bool isInvestigatedAs(const char* path, ULONG wanted, unsigned flags) {
    int attributes = 0;
    ULONG fourcc = 0;
    QVTLAVIInvestigate(path, &attributes, &fourcc);
    return fourcc == wanted && (static_cast<unsigned>(attributes) & flags) == flags;
}

int testTap(const char* path, unsigned) {
    return QVTLCheckExtensionTAP(path) ? QVTLSeq(nullptr).IsSupportTap(path) : 0;
}

int testSeq(const char* path, unsigned) {
    return QVTLCheckExtensionSEQ(path) ? QVTLSeq(nullptr).IsSupportSeq(path) : 0;
}

int testTitle(const char* path, unsigned) {
    void* const title = QVTLCheckExtensionTitle(path) ? QVTLTitleFileOpen(path) : nullptr;
    if (!title) return 0;
    QVTLTitleFileClose(title);
    return 1;
}

int testMovie(const char* path, unsigned flags) {
    if (QVTLCheckExtensionMpeg(path)) return QVTLCheckSupportMpeg2(path, flags);
    return QVTLCheckExtensionAVI(path) ? QVTLCheckSupportAVI(path, flags) : 0;
}

int testSound(const char* path, unsigned) {
    constexpr DWORD kRates[] = {11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};
    void* const sound = QVTLCheckExtensionSound(path) ? QVTLAudioFileOpen(path) : nullptr;
    if (!sound) return 0;
    WAVEFORMATEX format{};
    QVTLAudioGetWaveFormat(sound, &format);
    QVTLAudioFileClose(sound);
    const bool usualRate =
        std::find(std::begin(kRates), std::end(kRates), format.nSamplesPerSec) != std::end(kRates);
    return format.nChannels == 2 && format.nBlockAlign == 4 && usualRate &&
                   format.wFormatTag == WAVE_FORMAT_PCM
               ? 1
               : 0;
}

int testPicture(const char* path, unsigned flags) {
    QVFILESTATUS status;
    if (!QVTLCheckExtensionPicture(path) || !QVTLGetStatus(path, status)) return 0;
    return !(flags & QV_SUPPORT_DECODERS) || CQVDIB::IsSupported(path) ? 1 : 0;
}

int testAsf(const char* path, unsigned) {
    CFile file;
    return QVTLCheckExtensionAsf(path) && file.Open(path, CFile::modeRead | CFile::shareDenyNone) ? 1 : 0;
}

int testMpeg2(const char* path, unsigned flags) {
    if (!QVTLCheckExtensionMpeg(path) || !isInvestigatedAs(path, kMpeg2, flags)) return 0;
    CAVIFile movie;
    if (!movie.Open(path, 1, 0)) return 0;
    const auto shortest = static_cast<LONG>(QVGetProfileInt("Common", "DVMinDurMPEG2NL", kShortestMpeg2));
    return movie.GetTotalFrames() >= shortest ? 1 : 0;
}

int testMpeg1(const char* path, unsigned flags) {
    const bool named = QVTLGetExtention(path).CompareNoCase("mpg") == 0;
    return named && isInvestigatedAs(path, kMpeg1, flags) ? 1 : 0;
}

int testEitherMpeg(const char* path, unsigned) {
    return QVTLCheckSupportMpeg2(path) || QVTLCheckSupportMpeg1(path) ? 1 : 0;
}

// The first row whose extension fits decides.
int testFile(const char* path, unsigned) {
    constexpr struct {
        int (*isKind)(const char*);
        int (*check)(const char*, unsigned);
    } rows[] = {
        {QVTLCheckExtensionSound, QVTLCheckSupportSound},
        {QVTLCheckExtensionPicture, QVTLCheckSupportPicture},
        {QVTLCheckExtensionTitle, QVTLCheckSupportTitle},
        {QVTLCheckExtensionTAP, QVTLCheckSupportTAP},
        {QVTLCheckExtensionSEQ, QVTLCheckSupportSEQ},
        {QVTLCheckExtensionAVI, QVTLCheckSupportAVI},
        {QVTLCheckExtensionAsf, QVTLCheckSupportAsf},
        {QVTLCheckExtensionMpeg, testEitherMpeg},
    };
    for (const auto& row : rows) {
        if (row.isKind(path)) return row.check(path, 0);
    }
    return 0;
}

bool isSaneDate(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm local{};
    if (!localtime_r(&time, &local)) return false;
    const int year = local.tm_year + 1900;
    return year >= 1971 && year <= 2099;
}

} // namespace

#define QV_CACHED_CHECK(function, test)                                                                      \
    int function(const char* path, unsigned flags) {                                                         \
        return qv::runCachedCheck({#function, test}, path, flags);                                           \
    }

QV_CACHED_CHECK(QVTLCheckSupport_NTSCPAL, qv::testFrameRate)
QV_CACHED_CHECK(QVTLCheckSupportTAP, testTap)
QV_CACHED_CHECK(QVTLCheckSupportSEQ, testSeq)
QV_CACHED_CHECK(QVTLCheckSupportTitle, testTitle)
QV_CACHED_CHECK(QVTLCheckSupportFile, testFile)
QV_CACHED_CHECK(QVTLCheckSupportMovie, testMovie)
QV_CACHED_CHECK(QVTLCheckSupportAVI, qv::testDvAvi)
QV_CACHED_CHECK(QVTLCheckSupportSound, testSound)
QV_CACHED_CHECK(QVTLCheckSupportPicture, testPicture)
QV_CACHED_CHECK(QVTLCheckSupportAsf, testAsf)
QV_CACHED_CHECK(QVTLCheckSupportMpeg1, testMpeg1)

int QVTLCheckSupportMpeg2(const char* path, unsigned flags) {
    return qv::runCachedCheck({"QVTLCheckSupportMpeg2", testMpeg2, true}, path, flags);
}

int QVTLCheckSupportDate(const char* path, unsigned) {
    QVTL_TRACE();
    const auto times = qv::fileTimes(path ? path : "");
    return times && isSaneDate(times->creation) && isSaneDate(times->lastAccess) &&
                   isSaneDate(times->lastWrite)
               ? 1
               : 0;
}

void QVTLCheckSupportSave() {
    QVTL_TRACE();
    if (qv::isMainApplication()) qv::supportCache().save(qv::supportCachePath());
}

void QVTLCheckSupportClear() {
    QVTL_TRACE();
    qv::supportCache().clear();
    QVTLCheckSupportSave();
}

namespace qv {

CList<SupportCheckCount> supportCacheCounts() {
    CList<SupportCheckCount> counts;
    for (const auto& [check, entry] : supportCache().all())
        counts.AddTail({check, static_cast<ULONG>(entry.size())});
    return counts;
}

CString supportCacheFile() { return supportCachePath(); }
bool savesSupportCache() { return isMainApplication(); }

bool recallText(const char* name, const QVFILESTATUS& status, CString& text) {
    const SupportElement* known = supportCache().find(name, status);
    if (known) text = known->longText;
    return known != nullptr;
}

void rememberText(const char* name, const QVFILESTATUS& before, const char* text) {
    constexpr size_t kLongest = 32768;
    // Times are kept in whole seconds: a second change within one would not show.
    constexpr std::int64_t kSettled = 2;
    QVFILESTATUS now;
    const char* path = before.fullPath.GetString();
    if (!QVTLGetStatus(path, now) || IdentityOrder{}(before, now) || IdentityOrder{}(now, before)) return;
    const bool recent = std::time(nullptr) - std::int64_t{now.lastWriteTime} < kSettled;
    if (recent || std::strlen(text) > kLongest) return;
    SupportElement element;
    element.identity = std::move(now);
    element.longText = text;
    supportCache().insert(name, std::move(element));
}

} // namespace qv
