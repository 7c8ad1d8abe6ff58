#include "qvlibs/sidefiles/Estimates.h"

#include "qvlibs/framework/Trace.h"
#include "qvlibs/platform/Drives.h"
#include "qvlibs/settings/TotalLimit.h"
#include "qvlibs/timecode/DvMetadata.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace {

constexpr double kMpegBytesPerKbit = 133.75; // a second: 125 bytes and 7 % for the container
constexpr double kUsualAudioRate = 224;
constexpr double kPcmBytesPerSecond = 176400;
constexpr double kCompressedKBPerFrame = 5.93;
constexpr double kAsfAudioRate = 96;

// What differs between the television systems.
struct System {
    LONG framesPerSecond;
    double dvBytesPerFrame, dvOverhead, dvBytesPerSecond;
    LONG dvFramesOnNtfs, dvFramesOnFat; // in one file
};
constexpr System kNtsc = {30, 126608, 65548, 3798240, 216000, 32400};
constexpr System kPal = {25, 151756, 130084, 3793900, 180000, 27000};

const System& systemOf(int isPal) { return isPal ? kPal : kNtsc; }
const System& currentSystem() { return systemOf(QVIsPal()); }

// Frames of MPEG in one file of 4 GiB, by rate; five sixths of them on PAL.
constexpr struct {
    ULONG highestRate;
    LONG ntscFrames, palFrames;
} kMpegOnFat[] = {
    {2000, 378000, 315000}, {3000, 270000, 225000}, {4000, 198000, 165000},
    {6000, 135000, 112500}, {8000, 108000, 90000},  {10000, 90000, 75000},
};

LONG mpegFramesOnFat(ULONG rate, int isPal) {
    for (const auto& row : kMpegOnFat) {
        if (rate <= row.highestRate) return isPal ? row.palFrames : row.ntscFrames;
    }
    return 0;
}

// ASF rates by quality and picture size.
constexpr struct {
    ULONG quality, largeRate, smallRate;
} kAsfRates[] = {{0x1000, 768, 384}, {0x2000, 576, 192}, {0x4000, 384, 96}};
constexpr ULONG kAsfQuality = 0xF000, kAsfSystem = 0xF00, kAsfPal = 0x200, kAsfSize = 0xFF;
constexpr ULONG kAsfLarge = 17, kAsfSmall = 34;

// Toward zero; what is out of range becomes the end of the range.
template <class Integer = LONG>
Integer truncated(double value) {
    constexpr auto kMost = static_cast<double>(std::numeric_limits<Integer>::max());
    return value < kMost ? static_cast<Integer>(std::max(value, -kMost))
                         : std::numeric_limits<Integer>::max();
}

// `room` / `size` frames; a size of nothing sets no limit.
LONG framesThatFit(double room, double size) {
    return size > 0 ? truncated(room / size) : std::numeric_limits<LONG>::max();
}

LONG secondsInDvSpace(const System& system, double freeKB) {
    const double room = (freeKB - 2) * 1024;
    if (freeKB <= 2 || room <= system.dvOverhead) return 0;
    return truncated((room - system.dvOverhead) / system.dvBytesPerSecond);
}

LONG secondsInMpegSpace(double freeKB, double rate) {
    return std::max(0, truncated(freeKB / ((rate + kUsualAudioRate) * (kMpegBytesPerKbit / 1024))));
}

LONG secondsInSharedSpace(const System& system, double freeKB, double rate) {
    const double overhead = system.dvOverhead / 1024;
    if (freeKB <= 2 || freeKB - 2 <= overhead) return 0;
    const double perSecond = ((rate + kUsualAudioRate) * kMpegBytesPerKbit + system.dvBytesPerSecond) / 1024;
    return std::max(0, truncated((freeKB - 2 - overhead) / perSecond));
}

} // namespace

LONG QVTLGetMAXFrame() {
    QVTL_TRACE();
    return qv::totalLimitFrames(QVIsPal());
}

LONG QVTLGetMaxCaptureSize(const char* path) {
    QVTL_TRACE();
    const System& system = currentSystem();
    return QVTLGetDiskFormatType(path) == DISK_TYPE_NTFS ? system.dvFramesOnNtfs : system.dvFramesOnFat;
}

LONG QVTLGetOutput1FileMaxSecond(CString path, ULONG kind, ULONG rate, ULONG) {
    QVTL_TRACE();
    // NTSC counts and 30 frames a second on both systems, on purpose.
    const bool fat = QVTLGetDiskFormatType(path) == DISK_TYPE_FAT;
    LONG frames = 0;
    if (kind == QV_OUTPUT_DV_AVI) frames = fat ? kNtsc.dvFramesOnFat : kNtsc.dvFramesOnNtfs;
    if (kind == QV_OUTPUT_MPEG2) frames = fat ? mpegFramesOnFat(rate, 0) : qv::totalLimitFrames(0);
    return frames / 30;
}

LONG QVTLGetOutput1FileMaxFrame(CString path, ULONG kind, ULONG rate, ULONG unused) {
    return QVTLGetOutput1FileMaxSecond(path, kind, rate, unused) * currentSystem().framesPerSecond;
}

LONG QVTLGetOutputSecondfromFreeSpace(ULONG kind, ULONG freeKB, ULONG rate, ULONG) {
    QVTL_TRACE();
    const System& system = currentSystem();
    LONG seconds = 0;
    if (kind == QV_OUTPUT_DV_AVI) seconds = secondsInDvSpace(system, freeKB);
    if (kind == QV_OUTPUT_MPEG2) seconds = secondsInMpegSpace(freeKB, rate);
    if (kind == QV_OUTPUT_MPEG2_AND_DV) seconds = secondsInSharedSpace(system, freeKB, rate);
    return std::min(seconds, QVTLGetMAXFrame() / system.framesPerSecond);
}

LONG QVTLGetOutputFramefromFreeSpace(ULONG kind, ULONG freeKB, ULONG rate, ULONG unused) {
    return QVTLGetOutputSecondfromFreeSpace(kind, freeKB, rate, unused) * currentSystem().framesPerSecond;
}

LONG QVTLGetOutputMaxSecond(CString path, ULONG kind, ULONG rate, ULONG unused) {
    QVTL_TRACE();
    constexpr std::uint64_t kMost = std::numeric_limits<ULONG>::max();
    const std::uint64_t free = qv::freeKilobytes(path.str()).value_or(0);
    return QVTLGetOutputSecondfromFreeSpace(kind, static_cast<ULONG>(std::min(free, kMost)), rate, unused);
}

LONG QVTLGetOutputMaxFrame(CString path, ULONG kind, ULONG rate, ULONG unused) {
    return QVTLGetOutputMaxSecond(path, kind, rate, unused) * currentSystem().framesPerSecond;
}

double QVTLGetExchengedFileSize(__int64 frames, ULONG kind, ULONG rate, int isPal, int audioRate) {
    QVTL_TRACE();
    const System& system = systemOf(isPal);
    const auto count = static_cast<double>(frames);
    const double seconds = count / system.framesPerSecond;
    switch (kind) {
    case QV_OUTPUT_DV_AVI:
        return ((count * system.dvBytesPerFrame + system.dvOverhead) / 1024 + 2) / 1024 + 1;
    case QV_OUTPUT_PCM: return (count * kPcmBytesPerSecond / system.framesPerSecond + 32) / 1024 + 1;
    case QV_OUTPUT_COMPRESSED: return count * kCompressedKBPerFrame / 1024 + 1;
    case QV_OUTPUT_MPEG2:
        return seconds * (rate + (audioRate < 1 ? kUsualAudioRate : audioRate)) * kMpegBytesPerKbit /
                   1048576 +
               1;
    default: return 1;
    }
}

__int64 QVTLGetExchengedASFFileSize(__int64 frames, ULONG code) {
    QVTL_TRACE();
    const double framesPerSecond = (code & kAsfSystem) == kAsfPal ? 25.0 : 29.97;
    double rate = 1;
    for (const auto& row : kAsfRates) {
        // Every size but the large one counts as small here.
        if (row.quality != (code & kAsfQuality)) continue;
        rate = ((code & kAsfSize) == kAsfLarge ? row.largeRate : row.smallRate) + kAsfAudioRate;
    }
    return truncated<__int64>(static_cast<double>(frames) / framesPerSecond * rate * 0.125);
}

ULONG QVTLGetAsfBitrate(ULONG code) {
    QVTL_TRACE();
    for (const auto& row : kAsfRates) {
        if (row.quality != (code & kAsfQuality)) continue;
        if ((code & kAsfSize) == kAsfLarge) return row.largeRate;
        if ((code & kAsfSize) == kAsfSmall) return row.smallRate;
    }
    return 0;
}

LONG QVTLGetMaxFrameSize(const char* path, ULONG kind, LONG frames, ULONG rate, int isPal) {
    QVTL_TRACE();
    const System& system = systemOf(isPal);
    const bool fat = QVTLGetDiskFormatType(path) == DISK_TYPE_FAT;
    LONG most = 0;
    switch (kind) {
    case QV_FILE_KIND_DV_AVI: most = fat ? system.dvFramesOnFat : system.dvFramesOnNtfs; break;
    case QV_FILE_KIND_COMPRESSED:
        // Its size is that of the kind with the same 5.93 KB a frame, in megabytes.
        most = fat ? framesThatFit(frames * 4096.0,
                                   QVTLGetExchengedFileSize(frames, QV_OUTPUT_COMPRESSED, 0, isPal, 0))
                   : qv::totalLimitFrames(isPal);
        break;
    case QV_FILE_KIND_ASF:
        most = fat ? framesThatFit(frames * 4194304.0,
                                   static_cast<double>(QVTLGetExchengedASFFileSize(frames, rate)))
                   : qv::totalLimitFrames(isPal);
        break;
    default:
        if ((kind & QV_FILE_KIND_MPEG) == kind && std::has_single_bit(kind))
            most = fat ? mpegFramesOnFat(rate, isPal) : qv::totalLimitFrames(isPal);
        break;
    }
    // One more than asked when all of it fits, on purpose.
    return frames < most ? frames + 1 : most;
}
