// Kinds of media files by the extension of their name. Nothing here opens a file.
//
// An extension mask has one bit for each list of extensions; the constants name the bits that have one. Comparisons
// ignore ASCII case; the extension is what follows the last dot of the last path element. All functions keep no state
// and may be called from any thread, but for the picture test, which reads the settings.
#pragma once

#include "qvlibs/framework/Types.h"

// One bit a list. Three MPEG flavours share "mpg"; "avi" and "jpg" have a second list each, used by no check.
constexpr ULONG QV_EXT_AVI = 0x00000001; // avi, dv, dvf
constexpr ULONG QV_EXT_MPEG1 = 0x00000002;
constexpr ULONG QV_EXT_MPEG2 = 0x00000004;
constexpr ULONG QV_EXT_MPEG_OTHER = 0x00000008;
constexpr ULONG QV_EXT_ASF = 0x00000010;
constexpr ULONG QV_EXT_AVI_ONLY = 0x00000020;
constexpr ULONG QV_EXT_WMV = 0x00000040;
constexpr ULONG QV_EXT_BMP = 0x00000080;
constexpr ULONG QV_EXT_JPEG = 0x00000100;
constexpr ULONG QV_EXT_PNG = 0x00000200;
constexpr ULONG QV_EXT_TIFF = 0x00000400;
constexpr ULONG QV_EXT_GIF = 0x00000800;
constexpr ULONG QV_EXT_JPG_ONLY = 0x00001000;
constexpr ULONG QV_EXT_WAVE = 0x00002000; // wav, mbm
constexpr ULONG QV_EXT_MP3 = 0x00004000;
constexpr ULONG QV_EXT_WMA = 0x00008000;
constexpr ULONG QV_EXT_BGM = 0x00010000; // sbg
constexpr ULONG QV_EXT_SEQ = 0x00100000;
constexpr ULONG QV_EXT_TAP = 0x00200000;
constexpr ULONG QV_EXT_TITLE = 0x00400000; // tte
constexpr ULONG QV_EXT_MTV = 0x00800000;
constexpr ULONG QV_EXT_GWM = 0x01000000;
constexpr ULONG QV_EXT_EPG = 0x02000000;

constexpr ULONG QV_EXT_MPEG = QV_EXT_MPEG1 | QV_EXT_MPEG2 | QV_EXT_MPEG_OTHER;
constexpr ULONG QV_EXT_PICTURE = QV_EXT_BMP | QV_EXT_JPEG | QV_EXT_PNG | QV_EXT_TIFF | QV_EXT_GIF;
constexpr ULONG QV_EXT_SOUND = QV_EXT_WAVE | QV_EXT_MP3 | QV_EXT_WMA | QV_EXT_BGM;

// What QVTLGetFileType answers.
constexpr ULONG QV_FILE_OTHER = 1;
constexpr ULONG QV_FILE_PICTURE = 4;
constexpr ULONG QV_FILE_AVI = 8;
constexpr ULONG QV_FILE_SOUND = 16;
constexpr ULONG QV_FILE_MPEG = 128;

// The extensions of exactly one bit, without dots, ended by null; constant data of the library. Any value that is not
// one of the bits above throws int 0: the one exception of this interface, kept on purpose.
QVLIBS_API const char** QVTLGetSupportExtensions(ULONG bit);

// 1 when the extension of `path` is in the null-ended list, else 0.
QVLIBS_API int QVTLCheckExtension(const char* path, const char** list);
// 1 when it is in the list of any bit of the mask. Bits are tried from the lowest: one without a list throws int 0,
// unless a lower one matched.
QVLIBS_API int QVTLCheckExtensions(const char* path, ULONG mask);

QVLIBS_API int QVTLCheckExtensionAVI(const char* path);
QVLIBS_API int QVTLCheckExtensionMpeg(const char* path);
QVLIBS_API int QVTLCheckExtensionAsf(const char* path);
// Built in, and listed in the settings too: values "ImageExtention0001", "ImageExtention0002", ... of section
// "Sequence", up to the first that is empty. An empty store knows no pictures.
QVLIBS_API int QVTLCheckExtensionPicture(const char* path);
QVLIBS_API int QVTLCheckExtensionSound(const char* path);
QVLIBS_API int QVTLCheckExtensionSEQ(const char* path);
QVLIBS_API int QVTLCheckExtensionTAP(const char* path);
QVLIBS_API int QVTLCheckExtensionTitle(const char* path);
QVLIBS_API int QVTLCheckExtensionBGM(const char* path);
QVLIBS_API int QVTLCheckExtensionEPG(const char* path);
QVLIBS_API int QVTLCheckExtensionMTV(const char* path);

// AVI, MPEG, picture, sound, in this order; QV_FILE_OTHER for everything else, nonsense included.
QVLIBS_API ULONG QVTLGetFileType(const char* path);
