// How long an output may become, and how large: plain arithmetic on constants per kind and television system, capped by
// the total time limit of the settings (TotalLimitTime in "Common", read once a process).
//
// Rates are video bit rates in kbit/s. Frame results are second results times 30 (NTSC) or 25 (PAL) of the current
// system. The last argument of the functions by seconds is not used. All functions may be called from any thread.
#pragma once

#include "qvlibs/framework/Strings.h"
#include "qvlibs/sidefiles/DiskType.h"

// Output kinds of the functions by free space and of the file sizes.
constexpr ULONG QV_OUTPUT_DV_AVI = 8;
constexpr ULONG QV_OUTPUT_PCM = 16;        // 44.1 kHz, 16 bits, stereo
constexpr ULONG QV_OUTPUT_COMPRESSED = 64; // 5.93 KB a frame
constexpr ULONG QV_OUTPUT_MPEG2 = 128;
constexpr ULONG QV_OUTPUT_MPEG2_AND_DV = 136;

// Output kinds of QVTLGetMaxFrameSize, a set of their own.
constexpr ULONG QV_FILE_KIND_DV_AVI = 1;
constexpr ULONG QV_FILE_KIND_COMPRESSED = 16;
constexpr ULONG QV_FILE_KIND_MPEG = 0x1700; // any one of its bits
constexpr ULONG QV_FILE_KIND_ASF = 0x10000;
constexpr ULONG QV_FILE_KIND_NONE = 0x80000000;

// The total limit in frames for the current system.
QVLIBS_API LONG QVTLGetMAXFrame();
// Frames that one capture file may hold on the drive of the path: two hours on NTFS, eighteen minutes on every other
// kind, on purpose also on those without a limit of their own.
QVLIBS_API LONG QVTLGetMaxCaptureSize(const char* path);
// What one output file may hold on the drive, DV AVI or MPEG-2 (0 for other kinds). Seconds are counted at 30 frames
// on both systems, on purpose.
QVLIBS_API LONG QVTLGetOutput1FileMaxSecond(CString path, ULONG kind, ULONG rate, ULONG unused);
QVLIBS_API LONG QVTLGetOutput1FileMaxFrame(CString path, ULONG kind, ULONG rate, ULONG unused);
// What fits in so many kilobytes: DV AVI, MPEG-2, or both together (0 for other kinds).
QVLIBS_API LONG QVTLGetOutputSecondfromFreeSpace(ULONG kind, ULONG freeKB, ULONG rate, ULONG unused);
QVLIBS_API LONG QVTLGetOutputFramefromFreeSpace(ULONG kind, ULONG freeKB, ULONG rate, ULONG unused);
// The same for the free space of the drive of the path.
QVLIBS_API LONG QVTLGetOutputMaxSecond(CString path, ULONG kind, ULONG rate, ULONG unused);
QVLIBS_API LONG QVTLGetOutputMaxFrame(CString path, ULONG kind, ULONG rate, ULONG unused);
// The size of a file of so many frames: megabytes, but kilobytes for QV_OUTPUT_PCM, on purpose; 1 for other kinds.
// `audioRate` below 1 counts as 224 kbit/s.
QVLIBS_API double QVTLGetExchengedFileSize(__int64 frames, ULONG kind, ULONG rate, int isPal, int audioRate);
// The size of an ASF file in kilobytes. `code` holds the system in bits 8 to 11 (2 = PAL), the quality in bits 12 to 15
// (1 to 3) and the picture size in its low byte (17 or 34).
QVLIBS_API __int64 QVTLGetExchengedASFFileSize(__int64 frames, ULONG code);
// The video bit rate that such a code stands for, 0 for others.
QVLIBS_API ULONG QVTLGetAsfBitrate(ULONG code);
// Frames that one file may hold on the drive of the path, or `frames` + 1 when that is more than `frames`: callers rely
// on the one more. For ASF `rate` is the code.
QVLIBS_API LONG QVTLGetMaxFrameSize(const char* path, ULONG kind, LONG frames, ULONG rate, int isPal);
