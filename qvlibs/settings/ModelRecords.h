// What the settings know about camcorders and decks: one record a model, a maker, and a kind of device.
//
// A record is one numbered section of the profile store (ProfileCtrl.h), such as "Model0003"; numbers run
// from 0 to 9999, another one reads the defaults and writes nothing. ReadProfile takes the documented default
// for every key that is missing. Record 0 is everybody's default: a new record starts as what is stored
// there. Operations return 0. Threads: as ProfileCtrl.h.
#pragma once

#include "qvlibs/framework/Object.h"
#include "qvlibs/framework/Strings.h"

// One model, with its timing and search tuning (frames or milliseconds, as the caller takes them).
class QVLIBS_API CQVModelInformation : public CObject {
public:
    CQVModelInformation(); // as CreateDefaultData
    CQVModelInformation(CQVModelInformation* other);
    CQVModelInformation(const CQVModelInformation& other) = default;
    CQVModelInformation& operator=(const CQVModelInformation& other) = default;
    ~CQVModelInformation() override = default;

    ULONG CreateDefaultData(); // record 0 of "Model"
    // prefix: "Model" or "UserModel". A slow command outside its range becomes 10 or 11, which mean "none".
    ULONG ReadProfile(int index, const char* prefix);
    ULONG WriteProfile(int index, unsigned short flags, const char* prefix);

    // The maker's 24-bit identifier inside the device identifier.
    DWORD VendorId() const { return m_dwNodeIdHigh >> 8; }

    DWORD m_dwNodeIdHigh = 0; // the device's 64-bit IEEE 1394 identifier, high and low word
    DWORD m_dwNodeIdLow = 0;
    WORD m_wTarvModel = 0;
    CString m_strVendor = "Default";
    CString m_strName = "Camcoder"; // spelt so: stored settings hold it
    CString m_strComment;
    WORD m_wType = 1;
    int m_nRecStart = 30; // delays
    int m_nRecFirst = 30;
    int m_nRecPause = 30;
    int m_nRecStop = 30;
    int m_nRecordErrPlusRange = 0;
    int m_nRecPauseErrPlusRange = 0;
    int m_nRecordErrMinusRange = 0;
    int m_nRecPauseErrMinusRange = 0;
    int m_nRecordUserAdjustment = 0;
    int m_nRecPauseUserAdjustment = 0;
    int m_nSpanOfTimecode = 500;
    int m_nSpanOfTimecodeAtAutoMark = 2000;
    int m_nSpanOfTimecodeAtLiveFeed = 500;
    int m_nAutomarkRejectMax = 30;
    int m_nSearchSlowLimit = 15;
    int m_nSearchPlayLimit = 30;
    int m_nSearchFastLimit = 360;
    int m_nSearchNotPlayFastLimit = 13107;
    int m_nSleepAtRecPauseToVTR = 3000;
    int m_nInhibitDropFrame = 4;
    int m_nNeighborFrameInterval = 1000;
    int m_nCalibrateExecuted = 0;
    int m_nSlowCommand = 10;    // 36 to 41, or 10: the maker's
    int m_nSlowRevCommand = 11; // 48 to 53, or 11: the maker's
};

// One maker.
class QVLIBS_API CQVVendorInformation : public CObject {
public:
    CQVVendorInformation() = default; // nothing is read
    ~CQVVendorInformation() override = default;

    ULONG CreateDefaultData(); // record 0 of "Vendor"
    ULONG ReadProfile(int index);
    ULONG WriteProfile(int index, unsigned short flags);

    DWORD m_dwVendorId = 0; // 24 bits
    CString m_strName = "Default";
    int m_nSlowCommand = 10;
    int m_nSlowRevCommand = 11;
};

// One kind of device.
class QVLIBS_API CQVTarvKindInformation : public CObject {
public:
    CQVTarvKindInformation(); // as CreateDefaultData
    ~CQVTarvKindInformation() override = default;

    ULONG CreateDefaultData(); // record 0 of "PK"
    ULONG ReadProfile(int index);
    ULONG WriteProfile(int index, unsigned short flags);

    WORD m_wNumber = 65535;
    CString m_strName = "DV Device";
    CString m_strComment;
};
