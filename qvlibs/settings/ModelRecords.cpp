#include "qvlibs/settings/ModelRecords.h"

#include "qvlibs/framework/Trace.h"
#include "qvlibs/settings/SettingRows.h"

namespace {

using qv::HighHalf;
using qv::LowHalf;
using Model = CQVModelInformation;
using Vendor = CQVVendorInformation;
using Kind = CQVTarvKindInformation;

constexpr qv::SettingRow<Model> kModelRows[] = {
    {"Vendor", &Model::m_strVendor, 0, "Default"},
    {"Name", &Model::m_strName, 0, "Camcoder"},
    {"Comment", &Model::m_strComment},
    {"NodeIDHiHi", HighHalf<Model>{&Model::m_dwNodeIdHigh}},
    {"NodeIDHiLo", LowHalf<Model>{&Model::m_dwNodeIdHigh}},
    {"NodeIDLoHi", HighHalf<Model>{&Model::m_dwNodeIdLow}},
    {"NodeIDLoLo", LowHalf<Model>{&Model::m_dwNodeIdLow}},
    {"TarvModel", &Model::m_wTarvModel},
    {"SpanOfTimecode", &Model::m_nSpanOfTimecode, 500},
    {"SpanOfTimecodeAtAutoMark", &Model::m_nSpanOfTimecodeAtAutoMark, 2000},
    {"SpanOfTimecodeAtLiveFeed", &Model::m_nSpanOfTimecodeAtLiveFeed, 500},
    {"AutomarkRejectMax", &Model::m_nAutomarkRejectMax, 30},
    {"Type", &Model::m_wType, 1},
    {"RecStart", &Model::m_nRecStart, 30},
    {"RecFirst", &Model::m_nRecFirst, 30},
    {"RecPause", &Model::m_nRecPause, 30},
    {"RecStop", &Model::m_nRecStop, 30},
    {"RecordErrPlusRange", &Model::m_nRecordErrPlusRange},
    {"RecPauseErrPlusRange", &Model::m_nRecPauseErrPlusRange},
    {"RecordErrMinusRange", &Model::m_nRecordErrMinusRange},
    {"RecPauseErrMinusRange", &Model::m_nRecPauseErrMinusRange},
    {"RecordUserAdjustment", &Model::m_nRecordUserAdjustment},
    {"RecPauseUserAdjustment", &Model::m_nRecPauseUserAdjustment},
    {"SearchSlowLimit", &Model::m_nSearchSlowLimit, 15},
    {"SearchPlayLimit", &Model::m_nSearchPlayLimit, 30},
    {"SearchFastLimit", &Model::m_nSearchFastLimit, 360},
    {"SearchNotPlayFastLimit", &Model::m_nSearchNotPlayFastLimit, 13107},
    {"SleepAtRecPauseToVTR", &Model::m_nSleepAtRecPauseToVTR, 3000},
    {"InhibitDropFrame", &Model::m_nInhibitDropFrame, 4},
    {"NeighborFrameInterval", &Model::m_nNeighborFrameInterval, 1000},
    {"CalibrateExecuted", &Model::m_nCalibrateExecuted},
    {"SlowCommand", &Model::m_nSlowCommand, 10},
    {"SlowRevCommand", &Model::m_nSlowRevCommand, 11},
};

constexpr qv::SettingRow<Vendor> kVendorRows[] = {
    {"IDHi", HighHalf<Vendor>{&Vendor::m_dwVendorId}},  {"IDLo", LowHalf<Vendor>{&Vendor::m_dwVendorId}},
    {"Name", &Vendor::m_strName, 0, "Default"},         {"SlowCommand", &Vendor::m_nSlowCommand, 10},
    {"SlowRevCommand", &Vendor::m_nSlowRevCommand, 11},
};

constexpr qv::SettingRow<Kind> kKindRows[] = {
    {"Number", &Kind::m_wNumber, 65535},
    {"Name", &Kind::m_strName, 0, "DV Device"},
    {"Comment", &Kind::m_strComment},
};

constexpr int kNoSlow = 10, kFirstSlow = 36, kLastSlow = 41;
constexpr int kNoSlowReverse = 11, kFirstSlowReverse = 48, kLastSlowReverse = 53;

template <class Record>
void checkCommands(Record& record) {
    if (record.m_nSlowCommand < kFirstSlow || record.m_nSlowCommand > kLastSlow)
        record.m_nSlowCommand = kNoSlow;
    if (record.m_nSlowRevCommand < kFirstSlowReverse || record.m_nSlowRevCommand > kLastSlowReverse)
        record.m_nSlowRevCommand = kNoSlowReverse;
}

template <class Record, size_t N>
void write(const Record& record, const char* prefix, int index, unsigned short flags,
           const qv::SettingRow<Record> (&rows)[N]) {
    if (!prefix || !qv::isRecordIndex(index)) return;
    qv::registry::Transaction whole(qv::registry::Transaction::Writing);
    writeRows(record, qv::recordSection(prefix, index), flags, rows);
    static_cast<void>(whole.commit()); // the interface has no result for it
}

} // namespace

CQVModelInformation::CQVModelInformation() { CreateDefaultData(); }

CQVModelInformation::CQVModelInformation(CQVModelInformation* other) {
    if (other)
        *this = *other;
    else
        CreateDefaultData();
}

ULONG CQVModelInformation::CreateDefaultData() { return ReadProfile(0, "Model"); }

ULONG CQVModelInformation::ReadProfile(int index, const char* prefix) {
    QV_TRACE("CQVModelInformation");
    readRows(*this, qv::recordSection(prefix, index), kModelRows);
    checkCommands(*this);
    return 0;
}

ULONG CQVModelInformation::WriteProfile(int index, unsigned short flags, const char* prefix) {
    QV_TRACE("CQVModelInformation");
    write(*this, prefix, index, flags, kModelRows);
    return 0;
}

ULONG CQVVendorInformation::CreateDefaultData() { return ReadProfile(0); }

ULONG CQVVendorInformation::ReadProfile(int index) {
    QV_TRACE("CQVVendorInformation");
    readRows(*this, qv::recordSection("Vendor", index), kVendorRows);
    checkCommands(*this);
    return 0;
}

ULONG CQVVendorInformation::WriteProfile(int index, unsigned short flags) {
    QV_TRACE("CQVVendorInformation");
    write(*this, "Vendor", index, flags, kVendorRows);
    return 0;
}

CQVTarvKindInformation::CQVTarvKindInformation() { CreateDefaultData(); }

ULONG CQVTarvKindInformation::CreateDefaultData() { return ReadProfile(0); }

ULONG CQVTarvKindInformation::ReadProfile(int index) {
    QV_TRACE("CQVTarvKindInformation");
    readRows(*this, qv::recordSection("PK", index), kKindRows);
    return 0;
}

ULONG CQVTarvKindInformation::WriteProfile(int index, unsigned short flags) {
    QV_TRACE("CQVTarvKindInformation");
    write(*this, "PK", index, flags, kKindRows);
    return 0;
}
