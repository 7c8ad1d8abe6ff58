// What the capture applications keep: the choices of their dialog, two lists of file names in a file of their
// own, and the record of a captured clip.
//
// Functions give 1 done, 0 failed. Archive operators may throw CArchiveException. Threads: as ProfileCtrl.h.
#pragma once

#include "qvlibs/framework/Lists.h"
#include "qvlibs/timecode/QVTimecode.h"

// The choices of the capture dialog; section "EasyCapture", keys in brackets.
struct QVCAPTUREINFO {
    CString strFolderPath;   // [FolderPath]
    int nQuality = 0;        // [Quality]
    int nResolution = 0;     // [Resolve]
    int nPicture = 0;        // [Picture]
    int nDVHigh = 0;         // [DVHigh]
    int nDVLow = 0;          // [DVLow]
    CString strFileListPath; // [FileListPath]
};

struct QVCAPTUREDATA {
    CString strFilePath; // the file that holds the lists; not stored in it
    CStringList lstFirst;
    CStringList lstSecond;
};

// Which application of the suite; applications may have numbers of their own.
enum DVAPP_ENUM : int {
    DVAPP_CALLER = -1, // the one that asks
    DVAPP_SUITE = 3,
};

// A list of strings: a 32-bit count, then the strings. Reading appends; a count below 1 reads no strings.
QVLIBS_API CArchive& operator<<(CArchive& archive, const CStringList& list);
QVLIBS_API CArchive& operator>>(CArchive& archive, CStringList& list);
// The fields in their order, numbers in 32 bits.
QVLIBS_API CArchive& operator<<(CArchive& archive, const QVCAPTUREINFO& info);
QVLIBS_API CArchive& operator>>(CArchive& archive, QVCAPTUREINFO& info);
// The first list, then the second.
QVLIBS_API CArchive& operator<<(CArchive& archive, const QVCAPTUREDATA& data);
QVLIBS_API CArchive& operator>>(CArchive& archive, QVCAPTUREDATA& data);

// Writes the seven keys in their order; the first that fails ends it and the later ones stay as they were.
QVLIBS_API int QVTLSetCaptureInfo(const QVCAPTUREINFO& info);
// Missing texts are empty, missing numbers 0. Always 1.
QVLIBS_API int QVTLGetCaptureInfo(QVCAPTUREINFO& info);
// Replaces the file as a whole. 0 when it cannot be written, or somebody has it open: it is unchanged then.
QVLIBS_API int QVTLSetCaptureList(const QVCAPTUREDATA& data);
// Appends what the file holds. 0 when it cannot be opened or is damaged: the lists are unchanged then.
QVLIBS_API int QVTLGetCaptureList(QVCAPTUREDATA& data);

// The name to show for an application. DVAPP_CALLER: "AppName" of section "Settings" under the root that
// "Application" of qvenv.ini names, behind its first blank. "" for a number that is not known here.
QVLIBS_API CString QVTLGetAppName(DVAPP_ENUM app);

// A captured clip.
class QVLIBS_API CDEDUClip : public CObject {
public:
    CDEDUClip();
    CDEDUClip(CDEDUClip* other); // every field; null gives the defaults
    // The out point lies inside the clip: the duration has one frame more than the difference.
    CDEDUClip(CString name, CQVTimecode in, CQVTimecode out, int value1, CQVTimecode tc3, int value2,
              int value3);
    CDEDUClip(const CDEDUClip& other) = default;
    CDEDUClip& operator=(const CDEDUClip&) = delete; // a span assigned keeps its own mode
    ~CDEDUClip() override = default;

    QV_DECLARE_DYNAMIC(CDEDUClip)

    CString& GetFileName() { return m_strFileName; }
    CQVTimecode& GetIn() { return m_tcIn; }
    CQVTimecode& GetOut() { return m_tcOut; }
    // 2 without a file name, 4 for a supported picture, 8 for a supported movie, else 0.
    unsigned short GetType();

    CString m_strFileName;
    CQVTimecode m_tcIn;
    CQVTimecode m_tcOut;
    CQVTimecodeSpan m_tsDuration;
    int m_nValue1 = 0; // the numbers are the callers' own
    CQVTimecode m_tcThird;
    int m_nValue2 = 0;
    int m_nValue3 = 1;
    int m_nValue4 = 0;
    int m_nValue5 = 1;
    int m_nValue6 = -1;
};
