// The environment: the suite's common settings in one object, with the records of device makers, models and
// kinds and the registered working directories.
//
// There is none until QVCreateEnvironment, and one until QVDeleteEnvironment. It is loaded when it is made
// and written by WriteProfile only; what changes in the store meanwhile is seen by RereadDirectoryProfile and
// UpdateFolderData. Operations return 0. Threads: one at a time for the whole process.
#pragma once

#include "qvlibs/framework/Lists.h"
#include "qvlibs/settings/ModelRecords.h"

using QVCODECLOADER = ULONG (*)(const char* name);

// A registered working directory: section "Directroy%04d", spelt so because stored settings are.
class QVLIBS_API CQVDirectoryInformation : public CObject {
public:
    ~CQVDirectoryInformation() override = default;
    ULONG ReadProfile(int index);
    ULONG WriteProfile(int index, unsigned short flags);

    CString m_strName;
    CString m_strComment;
    int m_nType = -1;
};

class QVLIBS_API CQVEnvironment : public CObject {
public:
    // Sets "UseRegistryKey" under the store's root unless it is set, then CreateDefaultData and ReadProfile.
    CQVEnvironment();
    ~CQVEnvironment() override; // its records with it
    CQVEnvironment(const CQVEnvironment&) = delete;
    CQVEnvironment& operator=(const CQVEnvironment&) = delete;

    // The single settings; makes the temporary image folder; puts the default vendor and the default user
    // model at the heads of their lists. On an object that has them already, there are two.
    ULONG CreateDefaultData();
    // The records, behind those that the lists hold. Record 0 of vendors, user models and models is the
    // default record and is not read; kinds and directories are read from 0.
    ULONG ReadProfile();
    // All lists and settings but the models, the live-feed size, the trace switch and the system information:
    // all of it is stored, or none.
    ULONG WriteProfile();
    ULONG RereadDirectoryProfile();
    ULONG UpdateFolderData(); // reads "LastDirName" again
    ULONG ClearDirInfo();

    // Takes the model over. It replaces the user model of the same identity and stands at the end. A maker
    // that is not known yet gets a record.
    ULONG AddModelInfo(CQVModelInformation* model);
    // 1 when both device identifiers are the same, whatever the names say.
    static int CheckModelIdentity(CQVModelInformation* a, CQVModelInformation* b);
    ULONG AddDirectory(const char* name, const char* comment, int type);
    // The default temporary image folder, "Tarvelion/TempData" in the user's data folder; "" without one.
    static CString GetImageTemp();

    QVCODECLOADER m_pfnLoadCodec; // DEDVLoadCodec (media/DvBridge.h)
    int m_nIconSizeX = 0;
    int m_nIconSizeY = 0;
    int m_nLiveFeedFps = 0; // 30 is 25 on a PAL system, 25 is 30 on an NTSC one
    int m_nLiveFeedSizeX = 0;
    int m_nLiveFeedSizeY = 0;
    int m_nDefImageDuration = 0; // frames
    // The lists own their records.
    CObList m_lstVendor{10};    // CQVVendorInformation
    CObList m_lstUserModel{10}; // CQVModelInformation
    CObList m_lstModel{10};     // CQVModelInformation
    CObList m_lstKind{10};      // CQVTarvKindInformation
    CString m_strNotConnectModelName;
    CObList m_lstDirectory{10}; // CQVDirectoryInformation
    CString m_strImageTemp;     // the temporary image folder of the settings
    CString m_strLastDirName;
    int m_nPM = 0; // the flags with which records are written
    int m_nTraceAVCCommand = 0;
    int m_nCaptureType = 0;
    int m_nLimitFreeSpace = 0;
    int m_nLimitFreeSpaceNotSystem = 0;
    int m_nDeleteMode = 0;
    int m_nCurrentMinDurDVL = 0; // of the running recording: copies made when the settings were loaded
    int m_nCurrentMinDurDVNL = 0;
    int m_nMinDurDVL = 0; // minimum durations: DV with limit and without, MPEG-2, analogue
    int m_nMinDurDVNL = 0;
    int m_nMinDurMPEG2NL = 0;
    int m_nMinDurAHL = 0;
    int m_nMinDurAHNL = 0;
    int m_nSystemInfo = 0; // bit 0: PAL
};

// Makes the environment unless there is one: sets the system directory to the library's folder, takes over
// the user's settings of old versions, and loads it.
QVLIBS_API void QVCreateEnvironment();
// The environment, or null. It stays the library's.
QVLIBS_API CQVEnvironment* QVGetEnvironment();
QVLIBS_API void QVDeleteEnvironment();
