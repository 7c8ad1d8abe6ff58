#include "qvlibs/settings/QVENVMGR.h"

#include "qvlibs/framework/Trace.h"
#include "qvlibs/platform/UserFolders.h"
#include "qvlibs/settings/CodecLoader.h"
#include "qvlibs/settings/Migration.h"
#include "qvlibs/settings/SettingRows.h"
#include "qvlibs/timecode/DvMetadata.h"
#include "qvlibs/util/Qvfiletools.h"

#include <algorithm>

namespace {

using qv::Stored;
using qv::registry::Transaction;
using Environment = CQVEnvironment;
using Directory = CQVDirectoryInformation;

constexpr const char* kCommon = "Common";

constexpr qv::SettingRow<Environment> kCommonRows[] = {
    {"GUIIconSizeX", &Environment::m_nIconSizeX, 80},
    {"GUIIconSizeY", &Environment::m_nIconSizeY, 60},
    {"LiveFeedFPS", &Environment::m_nLiveFeedFps, 15},
    {"GUILiveFeedSizeX", &Environment::m_nLiveFeedSizeX, 360, "", Stored::OnlyRead},
    {"GUILiveFeedSizeY", &Environment::m_nLiveFeedSizeY, 240, "", Stored::OnlyRead},
    {"DefImImageDuration", &Environment::m_nDefImageDuration, 150},
    {"PM", &Environment::m_nPM, 1},
    {"NotConnectModelName", &Environment::m_strNotConnectModelName, 0, "NotConnect"},
    {"LastDirName", &Environment::m_strLastDirName},
    {"TraceAVCCommand", &Environment::m_nTraceAVCCommand, 0, "", Stored::OnlyRead},
    {"DeleteMode", &Environment::m_nDeleteMode},
    {"CaptureType", &Environment::m_nCaptureType, 2},
    {"LimitFreeSpace", &Environment::m_nLimitFreeSpace, 300},
    {"LimitFreeSpaceNotSystem", &Environment::m_nLimitFreeSpaceNotSystem, 30},
    {"DVMinDurDVL", &Environment::m_nMinDurDVL, 60},
    {"DVMinDurDVNL", &Environment::m_nMinDurDVNL, 5},
    {"DVMinDurMPEG2NL", &Environment::m_nMinDurMPEG2NL, 30},
    {"DVMinDurAHL", &Environment::m_nMinDurAHL, 1},
    {"DVMinDurAHNL", &Environment::m_nMinDurAHNL, 1},
    {"SystemInfo", &Environment::m_nSystemInfo, 0, "", Stored::OnlyRead},
};

constexpr qv::SettingRow<Directory> kDirectoryRows[] = {
    {"Name", &Directory::m_strName},
    {"Comment", &Directory::m_strComment},
    {"Type", &Directory::m_nType, -1},
};

int rateOfSystem(int rate) {
    if (rate == 30 && QVIsPal()) return 25;
    if (rate == 25 && !QVIsPal()) return 30;
    return rate;
}

int countOf(const char* key, int def) {
    return std::clamp(static_cast<int>(QVGetProfileInt(kCommon, key, def)), 0, qv::kMostRecords);
}

template <class Record>
Record* at(const CObList& list, POSITION& position) {
    return static_cast<Record*>(list.GetNext(position));
}

void clear(CObList& list) {
    for (POSITION position = list.GetHeadPosition(); position;) delete list.GetNext(position);
    list.RemoveAll();
}

CQVVendorInformation* findVendor(const CObList& vendors, DWORD id) {
    for (POSITION position = vendors.GetHeadPosition(); position;) {
        auto* const vendor = at<CQVVendorInformation>(vendors, position);
        if (vendor->m_dwVendorId == id) return vendor;
    }
    return nullptr;
}

// A model without slow commands of its own takes its maker's; the maker's "none" is the same number.
void takeVendorCommands(CQVModelInformation& model, const CObList& vendors) {
    const auto* const vendor = findVendor(vendors, model.VendorId());
    if (!vendor) return;
    if (model.m_nSlowCommand == 10) model.m_nSlowCommand = vendor->m_nSlowCommand;
    if (model.m_nSlowRevCommand == 11) model.m_nSlowRevCommand = vendor->m_nSlowRevCommand;
}

// Record 0 is the default record: models are read from 1.
void readModels(CObList& list, const char* count, const char* prefix, const CObList& vendors) {
    const int all = countOf(count, 0);
    if (all <= 1) return;
    CQVModelInformation record; // one for all: each new one would read record 0 from the store
    for (int i = 1; i < all; ++i) {
        record.ReadProfile(i, prefix);
        auto* const model = new CQVModelInformation(record);
        takeVendorCommands(*model, vendors);
        list.AddTail(model);
    }
}

void readDirectories(CObList& list) {
    const int all = countOf("NumOfDirectory", 0);
    for (int i = 0; i < all; ++i) {
        auto* const directory = new Directory;
        directory->ReadProfile(i);
        list.AddTail(directory);
    }
}

template <class Record, class... Prefix>
void writeList(const CObList& list, const char* count, unsigned short flags, Prefix... prefix) {
    QVWriteProfileInt(kCommon, count, list.GetCount(), 0);
    int index = 0;
    for (POSITION position = list.GetHeadPosition(); position;)
        at<Record>(list, position)->WriteProfile(index++, flags, prefix...);
}

constinit CQVEnvironment* theEnvironment = nullptr;

} // namespace

ULONG CQVDirectoryInformation::ReadProfile(int index) {
    readRows(*this, qv::recordSection("Directroy", index), kDirectoryRows);
    return 0;
}

ULONG CQVDirectoryInformation::WriteProfile(int index, unsigned short flags) {
    if (qv::isRecordIndex(index))
        writeRows(*this, qv::recordSection("Directroy", index), flags, kDirectoryRows);
    return 0;
}

CQVEnvironment::CQVEnvironment() : m_pfnLoadCodec(qv::codecLoaderEntry()) {
    QV_TRACE("CQVEnvironment");
    if (QVGetProfileInt("", "UseRegistryKey", 0) == 0) QVWriteProfileInt("", "UseRegistryKey", 1, 0);
    const Transaction oneMoment(Transaction::Reading);
    CreateDefaultData();
    ReadProfile();
}

CQVEnvironment::~CQVEnvironment() {
    for (CObList* list : {&m_lstVendor, &m_lstUserModel, &m_lstModel, &m_lstKind, &m_lstDirectory})
        clear(*list);
}

ULONG CQVEnvironment::CreateDefaultData() {
    QV_TRACE("CQVEnvironment");
    readRows(*this, kCommon, kCommonRows);
    m_strImageTemp = QVGetProfileString(kCommon, "ImageTemp", GetImageTemp());
    m_nLiveFeedFps = rateOfSystem(m_nLiveFeedFps);
    m_nCurrentMinDurDVL = m_nMinDurDVL;
    m_nCurrentMinDurDVNL = m_nMinDurDVNL;
    if (!m_strImageTemp.IsEmpty()) qv::makeFolders(m_strImageTemp.str(), false);
    auto* const vendor = new CQVVendorInformation;
    vendor->CreateDefaultData();
    m_lstVendor.AddHead(vendor);
    m_lstUserModel.AddHead(new CQVModelInformation);
    return 0;
}

CString CQVEnvironment::GetImageTemp() {
    const std::string folder = qv::userDataFolder();
    if (!folder.empty()) qv::makeFolders(folder, true);
    return qv::imageTempFolder();
}

ULONG CQVEnvironment::ReadProfile() {
    QV_TRACE("CQVEnvironment");
    const Transaction oneMoment(Transaction::Reading);
    for (int i = 0, all = countOf("NumOfPK", 1); i < all; ++i) {
        auto* const kind = new CQVTarvKindInformation;
        kind->ReadProfile(i);
        m_lstKind.AddTail(kind);
    }
    for (int i = 1, all = countOf("NumOfVendor", 0); i < all; ++i) {
        auto* const vendor = new CQVVendorInformation;
        vendor->ReadProfile(i);
        m_lstVendor.AddTail(vendor);
    }
    readModels(m_lstUserModel, "NumOfUserModel", "UserModel", m_lstVendor);
    readModels(m_lstModel, "NumOfModel", "Model", m_lstVendor);
    readDirectories(m_lstDirectory);
    return 0;
}

// On purpose without the model list, which only installers write (Environment.ModelsAreOnlyRead).
ULONG CQVEnvironment::WriteProfile() {
    QV_TRACE("CQVEnvironment");
    const auto flags = static_cast<unsigned short>(m_nPM);
    Transaction whole(Transaction::Writing);
    writeList<CQVTarvKindInformation>(m_lstKind, "NumOfPK", flags);
    writeList<CQVModelInformation>(m_lstUserModel, "NumOfUserModel", flags, "UserModel");
    writeList<CQVVendorInformation>(m_lstVendor, "NumOfVendor", flags);
    writeList<Directory>(m_lstDirectory, "NumOfDirectory", flags);
    m_nLiveFeedFps = rateOfSystem(m_nLiveFeedFps);
    writeRows(*this, kCommon, 0, kCommonRows);
    QVWriteProfileString(kCommon, "ImageTemp", m_strImageTemp, 0);
    static_cast<void>(whole.commit()); // the interface has no result for it
    return 0;
}

ULONG CQVEnvironment::RereadDirectoryProfile() {
    QV_TRACE("CQVEnvironment");
    ClearDirInfo();
    const Transaction oneMoment(Transaction::Reading);
    readDirectories(m_lstDirectory);
    return 0;
}

ULONG CQVEnvironment::UpdateFolderData() {
    m_strLastDirName = QVGetProfileString(kCommon, "LastDirName", "");
    return 0;
}

ULONG CQVEnvironment::ClearDirInfo() {
    clear(m_lstDirectory);
    return 0;
}

ULONG CQVEnvironment::AddModelInfo(CQVModelInformation* model) {
    QV_TRACE("CQVEnvironment");
    if (!model) return 0;
    for (POSITION position = m_lstUserModel.GetHeadPosition(); position;) {
        const POSITION current = position;
        auto* const known = at<CQVModelInformation>(m_lstUserModel, position);
        if (!CheckModelIdentity(known, model)) continue;
        m_lstUserModel.RemoveAt(current);
        if (known != model) delete known; // the same one once more only moves to the end
        break;
    }
    m_lstUserModel.AddTail(model);
    if (!findVendor(m_lstVendor, model->VendorId())) {
        auto* const vendor = new CQVVendorInformation;
        vendor->CreateDefaultData();
        vendor->m_dwVendorId = model->VendorId();
        vendor->m_strName = model->m_strVendor;
        m_lstVendor.AddTail(vendor);
    }
    return 0;
}

int CQVEnvironment::CheckModelIdentity(CQVModelInformation* a, CQVModelInformation* b) {
    if (!a || !b) return 0;
    return a->m_dwNodeIdHigh == b->m_dwNodeIdHigh && a->m_dwNodeIdLow == b->m_dwNodeIdLow ? 1 : 0;
}

ULONG CQVEnvironment::AddDirectory(const char* name, const char* comment, int type) {
    auto* const directory = new Directory;
    directory->m_strName = name;
    directory->m_strComment = comment;
    directory->m_nType = type;
    m_lstDirectory.AddTail(directory);
    return 0;
}

void QVCreateEnvironment() {
    QVTL_TRACE();
    if (theEnvironment) return;
    if (const CString folder = QVTLGetExeDir(); !folder.IsEmpty()) QVSetSystemDirectory(folder);
    qv::migrateUserSettings();
    theEnvironment = new CQVEnvironment;
}

CQVEnvironment* QVGetEnvironment() { return theEnvironment; }

void QVDeleteEnvironment() {
    QVTL_TRACE();
    delete theEnvironment;
    theEnvironment = nullptr;
}
