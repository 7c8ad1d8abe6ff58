#include "qvlibs/sidefiles/MtvFiles.h"

#include "qvlibs/framework/File.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/media/Qvavitools.h"
#include "qvlibs/platform/Modules.h"
#include "qvlibs/timecode/DvMetadata.h"
#include "qvlibs/util/AtomicFile.h"
#include "qvlibs/util/Qvfiletools.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct FreeRecord {
    void operator()(MtvAtrTag* record) const { MTV_FreeMtv(record, 0); }
};
using Record = std::unique_ptr<MtvAtrTag, FreeRecord>;

bool exists(const char* path) {
    struct stat status {};
    return ::stat(path, &status) == 0;
}

CString ifThere(const CString& path, int mustExist) { return mustExist && !exists(path) ? CString() : path; }

template <size_t width>
CString fieldText(const char (&field)[width]) {
    return CString(field, static_cast<int>(strnlen(field, width)));
}

bool linksTo(const char* mtvPath, const CString& name, MtvAtrTag& record) {
    return QVTLGetMtvAtr(mtvPath, &record) && fieldText(record.link).CompareNoCase(name) == 0;
}

SYSTEMTIME timeOf(const MtvAtrTag& record) {
    return {record.year, record.month, 0, record.day, record.hour, record.minute, record.second, 0};
}

struct CodeRow {
    int value;
    BYTE code;
};
template <size_t count>
void setCode(BYTE& field, const CodeRow (&rows)[count], int value) {
    for (const CodeRow& row : rows) {
        if (row.value == value) field = row.code;
    }
}

constexpr CodeRow kAudioRates[] = {{64, 1},   {80, 2},   {96, 3},   {112, 4},  {128, 5},
                                   {160, 6},  {192, 7},  {224, 8},  {256, 9},  {320, 10},
                                   {384, 11}, {448, 12}, {768, 13}, {1536, 14}};
constexpr CodeRow kSamplings[] = {{48000, 0}, {44100, 1}, {32000, 2}};
constexpr CodeRow kLayouts[] = {{1, 0}, {2, 1}, {3, 1}};
constexpr CodeRow kFullHeightWidths[] = {{720, 0}, {704, 1}, {352, 2}, {544, 4}, {480, 5}};
constexpr CodeRow kHalfHeightWidths[] = {{352, 3}};

// What the movie reader says of a recording. False when it cannot be opened.
bool describe(const char* mpegPath, MtvAtrTag& record) {
    void* const movie = QVTLAVIFileOpen(mpegPath, 0);
    if (!movie) return false;
    BITMAPINFOHEADER format{};
    QVTLAVIGetVideoFormat(movie, &format);
    const int videoRate = QVTLAVIGetVideoCompressionRate(movie);
    const int audioRate = QVTLAVIGetAudioCompressionRate(movie);
    LONG sampling = 0;
    QVTLAVIGetAudioRatio(movie, &sampling);
    DIB_TYPE layout = DIB_TYPE_AUTO;
    QVTLAVIGetDIBType(movie, layout, 0);
    QVTLAVIFileClose(movie);

    const int fullHeight = QVIsPal() ? 576 : 480;
    record.system = static_cast<BYTE>(QVIsPal());
    record.videoBitRate = static_cast<DWORD>(videoRate) * 1000;
    setCode(record.layout, kLayouts, layout);
    if (format.biHeight == fullHeight) setCode(record.sizeClass, kFullHeightWidths, format.biWidth);
    if (format.biHeight == fullHeight / 2) setCode(record.sizeClass, kHalfHeightWidths, format.biWidth);
    setCode(record.audioBitRate, kAudioRates, audioRate);
    setCode(record.audioSampling, kSamplings, sampling);
    return true;
}

} // namespace

CString QVTLGetAedPath(const char* path, int mustExist) {
    QVTL_TRACE();
    return ifThere(CString(path) + ".aed", mustExist);
}

CString QVTLGetMoiPath(const char* path, int mustExist) {
    QVTL_TRACE();
    const CString name = path;
    if (name.Right(4).CompareNoCase(".mpg") != 0) return {};
    return ifThere(name.Left(name.GetLength() - 2) + "oi", mustExist);
}

CString QVTLGetFileFromFile(const char* path, const char* ext, int mustExist) {
    QVTL_TRACE();
    return ifThere(QVTLGetDirectory(path) + QVTLGetFileNameEx(path) + "." + ext, mustExist);
}

CString QVTLGetMtvFileFromMpeg2(const char* mpegPath, CString* vendor, SYSTEMTIME* time) {
    QVTL_TRACE();
    const CString name = QVTLGetFileName(mpegPath);
    const CString folder = QVTLGetDirectory(mpegPath);
    MtvAtrTag record;
    for (const char* extension : {"mtv", "gwm"}) {
        CString direct = QVTLGetFileFromFile(mpegPath, extension, 0);
        if (linksTo(direct, name, record)) {
            if (vendor) *vendor = fieldText(record.vendor);
            if (time) *time = timeOf(record);
            return direct;
        }
        for (const std::string& file :
             qv::listFolder(folder.IsEmpty() ? "." : folder.str(), std::string("*.") + extension)) {
            CString candidate = folder + file.c_str();
            if (!linksTo(candidate, name, record)) continue;
            // The time is not handed out on this way, on purpose: the file was not made under this name.
            if (vendor) *vendor = fieldText(record.vendor);
            return candidate;
        }
    }
    return {};
}

int QVTLExistMtvFile(const char* mpegPath) {
    return QVTLGetMtvFileFromMpeg2(mpegPath, nullptr, nullptr).IsEmpty() ? 0 : 1;
}

ULONG QVTLGetMtv(const char* mpegPath, CString* vendor, SYSTEMTIME* time) {
    QVTL_TRACE();
    const bool found = !QVTLGetMtvFileFromMpeg2(mpegPath, vendor, time).IsEmpty();
    return found ? QV_OK : static_cast<ULONG>(QV_E_FAIL);
}

int QVTLGetMtvAtr(const char* mtvPath, MtvAtrTag* record) {
    QVTL_TRACE();
    ULONG size = sizeof *record;
    return MTV_LoadFile(mtvPath, record, &size, 0) == QV_OK ? 1 : 0;
}

CString QVTLGetMtvLinkMPGFilename(const char* mtvPath) {
    QVTL_TRACE();
    MtvAtrTag record;
    return QVTLGetMtvAtr(mtvPath, &record) ? fieldText(record.link) : CString();
}

ULONG QVTLMakeMtvEx(const char* mpegPath, const char* vendor, const char* ext, ULONG attributes,
                    SYSTEMTIME* time) {
    QVTL_TRACE();
    const CString target = QVTLGetFileFromFile(mpegPath, ext, 0);
    const Record record(MTV_AllocMtv(0x10000, vendor, mpegPath, 0));
    // The recording's own extension would put the side file in its place.
    if (target == mpegPath || !describe(mpegPath, *record)) return QV_FAILED;
    record->attribute = (attributes & 0x300000) == 0x100000 ? 1 : 0;
    if (time) {
        record->year = time->wYear;
        record->month = static_cast<BYTE>(time->wMonth);
        record->day = static_cast<BYTE>(time->wDay);
        record->hour = static_cast<BYTE>(time->wHour);
        record->minute = static_cast<BYTE>(time->wMinute);
        record->second = static_cast<BYTE>(time->wSecond);
    }
    return MTV_SaveFile(target, record.get(), 0);
}

ULONG QVTLRenameMtv(const char* mtvPath, const char* newMpegPath) {
    QVTL_TRACE();
    char link[sizeof MtvAtrTag::link] = {};
    const CString name = QVTLGetFileName(newMpegPath);
    if (name.IsEmpty()) return QV_FAILED;
    std::memcpy(link, name.GetString(), std::min<size_t>(static_cast<size_t>(name.GetLength()), sizeof link));
    const int file = ::open(mtvPath, O_RDWR | O_CLOEXEC);
    if (file < 0) return QV_FAILED;
    // One write inside one page: a process killed at any moment leaves the old link or the new one.
    const bool written = ::pwrite(file, link, sizeof link, offsetof(MtvAtrTag, link)) == sizeof link;
    ::close(file);
    if (!written) return QV_FAILED;
    const CString target = QVTLGetFileFromFile(newMpegPath, QVTLGetExtention(mtvPath), 0);
    if (qv::placeNew(mtvPath, target)) ::unlink(mtvPath); // never onto a file that is there
    return QV_OK;
}
