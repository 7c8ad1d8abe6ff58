// Whether the suite can handle a media file: right extension, sane dates, the right codec, frame rate and sound for the
// current television system, and for MPEG-2 recordings the right vendor.
//
// All checks answer not 0 for "supported". Answers are cached by file (SupportCache.h): a file is looked into once, and
// the answer then outlives changes of the settings, of the plug-ins and of the flags until the file changes or the
// cache is cleared, on purpose. A "no" is not kept while somebody has the file open: it may still be written.
// No check throws. One thread at a time.
#pragma once

#include "qvlibs/classify/Seq.h"
#include "qvlibs/framework/Lists.h"
#include "qvlibs/util/FileIdentity.h"

constexpr unsigned QV_SUPPORT_DECODERS = 0x100000;

// The frame rate is that of the system; 1 also when no codec opens the file.
QVLIBS_API int QVTLCheckSupport_NTSCPAL(const char* path, unsigned flags = 0);
// By the application's CSeq.
QVLIBS_API int QVTLCheckSupportTAP(const char* path, unsigned flags = 0);
QVLIBS_API int QVTLCheckSupportSEQ(const char* path, unsigned flags = 0);
// A codec opens it.
QVLIBS_API int QVTLCheckSupportTitle(const char* path, unsigned flags = 0);
// Whichever check the extension asks for, with flags 0; for MPEG either of the two.
QVLIBS_API int QVTLCheckSupportFile(const char* path, unsigned flags = 0);
// MPEG-2 or AVI.
QVLIBS_API int QVTLCheckSupportMovie(const char* path, unsigned flags = 0);
// DV AVI of at least 5 frames, with no sound or two channels of 16 bits at 48000, 44100 or 32000 Hz; the path shorter
// than 200 bytes.
QVLIBS_API int QVTLCheckSupportAVI(const char* path, unsigned flags = 0);
// PCM, two channels of 16 bits at one of eight usual rates.
QVLIBS_API int QVTLCheckSupportSound(const char* path, unsigned flags = 0);
// By extension; with QV_SUPPORT_DECODERS in `flags` a codec must take the file too.
QVLIBS_API int QVTLCheckSupportPicture(const char* path, unsigned flags = 0);
// By extension, and the file opens.
QVLIBS_API int QVTLCheckSupportAsf(const char* path, unsigned flags = 0);
// Investigated as MPEG-2 with all attribute bits of `flags`, at least "DVMinDurMPEG2NL" frames long ("Common", default
// 5), and a known vendor, which is asked before the cache.
QVLIBS_API int QVTLCheckSupportMpeg2(const char* path, unsigned flags = 0);
// Investigated as MPEG-1 with all attribute bits of `flags`.
QVLIBS_API int QVTLCheckSupportMpeg1(const char* path, unsigned flags = 0);

// Not cached: the file exists and its creation, access and write dates have years from 1971 to 2099.
QVLIBS_API int QVTLCheckSupportDate(const char* path, unsigned flags = 0);
// Not cached: 1 for everything but MPEG-2 recordings, and for those too while "EnableTimecode" of "Common" is not 0;
// else 0x200001 when the vendor of the side file is one of the suite's, 0 otherwise.
QVLIBS_API int QVTLCheckSupportVender(const char* path, unsigned flags = 0);

// What the codec plug-in that takes the file says of it: attribute bits and a four-character code (0xFFFFFFFF: none, or
// of the other television system); each output may be null. Cached under its own name. 0, the plug-in's status,
// 1 when it cannot tell, 0x80004005 when the date check fails (the outputs then stay untouched).
QVLIBS_API ULONG QVTLAVIInvestigate(const char* path, int* attributes, ULONG* fourcc);

// Writes the cache file now; clearing empties the cache and then writes. Only the main application writes.
QVLIBS_API void QVTLCheckSupportSave();
QVLIBS_API void QVTLCheckSupportClear();

namespace qv {

struct SupportCheckCount {
    CString check;
    ULONG files = 0;
};
// How many files each check knows, by the names of the checks.
QVLIBS_API CList<SupportCheckCount> supportCacheCounts();
// Where the cache is kept, and whether this process is the one that writes it.
QVLIBS_API CString supportCacheFile();
QVLIBS_API bool savesSupportCache();

// A text that a program keeps about a file beside the checks, under a name of its own, until the file changes.
// recallText: false when there is none for the file as it is. rememberText: keeps it unless the file is no longer as
// `before`, taken before it was looked into, was written within the last seconds, or the text is longer than 32 KiB.
QVLIBS_API bool recallText(const char* name, const QVFILESTATUS& status, CString& text);
QVLIBS_API void rememberText(const char* name, const QVFILESTATUS& before, const char* text);

} // namespace qv
