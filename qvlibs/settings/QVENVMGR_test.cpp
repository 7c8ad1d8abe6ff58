#include "qvlibs/settings/QVENVMGR.h"

#include "qvlibs/settings/ProfileCtrl.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

namespace registry = qv::registry;

template <class Record>
Record* record(const CObList& list, int index) {
    return static_cast<Record*>(list.GetAt(list.FindIndex(index)));
}

int common(const char* key) { return static_cast<int>(QVGetProfileInt("Common", key, -99)); }

CQVModelInformation* newModel(DWORD high, DWORD low, const char* vendor) {
    auto* model = new CQVModelInformation;
    model->m_dwNodeIdHigh = high;
    model->m_dwNodeIdLow = low;
    model->m_strVendor = vendor;
    return model;
}

TEST(Environment, StartsFromAnEmptyStore) {
    EXPECT_EQ(QVGetEnvironment(), nullptr);
    QVCreateEnvironment();
    const CQVEnvironment* environment = QVGetEnvironment();
    ASSERT_TRUE(environment);
    const struct {
        const char* what;
        int found, expected;
    } rows[] = {
        {"vendors", environment->m_lstVendor.GetCount(), 1},
        {"user models", environment->m_lstUserModel.GetCount(), 1},
        {"models", environment->m_lstModel.GetCount(), 0},
        {"kinds", environment->m_lstKind.GetCount(), 1},
        {"directories", environment->m_lstDirectory.GetCount(), 0},
        {"icon x", environment->m_nIconSizeX, 80},
        {"icon y", environment->m_nIconSizeY, 60},
        {"rate", environment->m_nLiveFeedFps, 15},
        {"live x", environment->m_nLiveFeedSizeX, 360},
        {"live y", environment->m_nLiveFeedSizeY, 240},
        {"still", environment->m_nDefImageDuration, 150},
        {"PM", environment->m_nPM, 1},
        {"trace", environment->m_nTraceAVCCommand, 0},
        {"capture", environment->m_nCaptureType, 2},
        {"free", environment->m_nLimitFreeSpace, 300},
        {"free, other", environment->m_nLimitFreeSpaceNotSystem, 30},
        {"DVL", environment->m_nCurrentMinDurDVL, 60},
        {"DVNL", environment->m_nCurrentMinDurDVNL, 5},
        {"MPEG2NL", environment->m_nMinDurMPEG2NL, 30},
        {"AHL", environment->m_nMinDurAHL, 1},
        {"AHNL", environment->m_nMinDurAHNL, 1},
        {"UseRegistryKey", static_cast<int>(QVGetProfileInt("", "UseRegistryKey", 0)), 1},
    };
    for (const auto& row : rows) EXPECT_EQ(row.found, row.expected) << row.what;
    EXPECT_STREQ(environment->m_strNotConnectModelName, "NotConnect");
    EXPECT_EQ(environment->m_strImageTemp.str(), (qv::test::home() / "Tarvelion/TempData").string());
    EXPECT_TRUE(std::filesystem::is_directory(environment->m_strImageTemp.str()));
    EXPECT_EQ(environment->m_pfnLoadCodec("any"), 0u);
    EXPECT_FALSE(QVGetSystemDirectory().IsEmpty());
    QVSetSystemDirectory("/changed");
    QVCreateEnvironment(); // the second one does nothing
    EXPECT_EQ(QVGetEnvironment(), environment);
    EXPECT_STREQ(QVGetSystemDirectory(), "/changed");
    QVDeleteEnvironment();
    EXPECT_EQ(QVGetEnvironment(), nullptr);
}

TEST(Environment, RecordsAreReadFromTheirFirstIndex) {
    for (const char* key : {"NumOfVendor", "NumOfUserModel", "NumOfModel", "NumOfDirectory"})
        QVWriteProfileInt("Common", key, 3, 0);
    QVWriteProfileInt("Common", "NumOfPK", 0, 0);
    QVWriteProfileString("Vendor0000", "Name", "zero", 0);
    QVWriteProfileString("Vendor0002", "Name", "two", 0);
    QVWriteProfileString("Directroy0000", "Name", "/tapes", 0);
    QVWriteProfileString("UserModel0000", "Name", "never read", 0);
    const CQVEnvironment environment;
    ASSERT_EQ(environment.m_lstVendor.GetCount(), 3);
    EXPECT_STREQ(record<CQVVendorInformation>(environment.m_lstVendor, 0)->m_strName, "zero");
    EXPECT_STREQ(record<CQVVendorInformation>(environment.m_lstVendor, 2)->m_strName, "two");
    EXPECT_EQ(environment.m_lstUserModel.GetCount(), 3);
    EXPECT_STREQ(record<CQVModelInformation>(environment.m_lstUserModel, 0)->m_strName, "Camcoder");
    EXPECT_EQ(environment.m_lstModel.GetCount(), 2);
    EXPECT_EQ(environment.m_lstKind.GetCount(), 0);
    ASSERT_EQ(environment.m_lstDirectory.GetCount(), 3);
    EXPECT_STREQ(record<CQVDirectoryInformation>(environment.m_lstDirectory, 0)->m_strName, "/tapes");
    EXPECT_EQ(record<CQVDirectoryInformation>(environment.m_lstDirectory, 1)->m_nType, -1);
    // A count that makes no sense ends at the last number a record can have.
    for (const int count : {-5, 1}) {
        QVWriteProfileInt("Common", "NumOfVendor", count, 0);
        EXPECT_EQ(CQVEnvironment().m_lstVendor.GetCount(), 1);
    }
    QVWriteProfileInt("Common", "NumOfVendor", 0x7FFFFFFF, 0);
    EXPECT_EQ(CQVEnvironment().m_lstVendor.GetCount(), 10000);
}

TEST(Environment, ModelsTakeTheirMakersCommands) {
    QVWriteProfileInt("Common", "NumOfVendor", 2, 0);
    QVWriteProfileInt("Common", "NumOfModel", 4, 0);
    QVWriteProfileInt("Vendor0001", "IDHi", 0x0008, 0);
    QVWriteProfileInt("Vendor0001", "IDLo", 0x0046, 0);
    QVWriteProfileInt("Vendor0001", "SlowCommand", 39, 0);
    for (const char* model : {"Model0001", "Model0002"}) {
        QVWriteProfileInt(model, "NodeIDHiHi", 0x0800, 0);
        QVWriteProfileInt(model, "NodeIDHiLo", 0x4601, 0);
    }
    QVWriteProfileInt("Model0002", "SlowCommand", 40, 0);
    QVWriteProfileInt("Model0002", "SlowRevCommand", 50, 0);
    const CQVEnvironment environment;
    const struct {
        int index, slow, reverse;
    } rows[] = {{0, 39, 11}, {1, 40, 50}, {2, 10, 11}}; // the third has no maker in the list
    for (const auto& row : rows) {
        const auto* model = record<CQVModelInformation>(environment.m_lstModel, row.index);
        EXPECT_EQ(model->m_nSlowCommand, row.slow) << row.index;
        EXPECT_EQ(model->m_nSlowRevCommand, row.reverse) << row.index;
    }
}

TEST(Environment, ModelsAreOnlyRead) {
    QVWriteProfileInt("Common", "NumOfModel", 2, 0);
    CQVEnvironment environment;
    ASSERT_EQ(environment.m_lstModel.GetCount(), 1);
    record<CQVModelInformation>(environment.m_lstModel, 0)->m_strName = "changed";
    environment.m_nLiveFeedSizeX = 1;
    environment.m_nTraceAVCCommand = 1;
    environment.m_nSystemInfo = 1;
    environment.m_nCurrentMinDurDVL = 7;
    environment.m_nIconSizeX = 96;
    environment.m_strLastDirName = "/last";
    environment.AddDirectory("/a", "first", 2);
    EXPECT_EQ(environment.WriteProfile(), 0u);
    for (const char* key : {"GUILiveFeedSizeX", "TraceAVCCommand", "SystemInfo", "TotalLimitTime"})
        EXPECT_EQ(common(key), -99) << key;
    EXPECT_STREQ(QVGetProfileString("Model0001", "Name", "none"), "none");
    const struct {
        const char* key;
        int value;
    } rows[] = {{"NumOfPK", 1},      {"NumOfUserModel", 1}, {"NumOfVendor", 1}, {"NumOfDirectory", 1},
                {"DVMinDurDVL", 60}, {"GUIIconSizeX", 96},  {"NumOfModel", 2}};
    for (const auto& row : rows) EXPECT_EQ(common(row.key), row.value) << row.key;
    EXPECT_STREQ(QVGetProfileString("Directroy0000", "Comment", ""), "first");
    EXPECT_STREQ(QVGetProfileString("PK0000", "Name", ""), "DV Device");
    EXPECT_STREQ(QVGetProfileString("UserModel0000", "Name", ""), "Camcoder");

    QVWriteProfileString("Common", "LastDirName", "/newer", 0);
    environment.UpdateFolderData();
    EXPECT_STREQ(environment.m_strLastDirName, "/newer");
    environment.RereadDirectoryProfile();
    environment.RereadDirectoryProfile();
    EXPECT_EQ(environment.m_lstDirectory.GetCount(), 1);
    environment.ClearDirInfo();
    EXPECT_EQ(environment.m_lstDirectory.GetCount(), 0);
}

TEST(Environment, AddedModelsReplaceTheSameDevice) {
    CQVEnvironment environment;
    environment.AddModelInfo(newModel(0x08004601, 5, "Maker"));
    environment.AddModelInfo(newModel(0x08004601, 6, "Maker again"));
    EXPECT_EQ(environment.m_lstUserModel.GetCount(), 3);
    EXPECT_EQ(environment.m_lstVendor.GetCount(), 2); // one maker
    auto* const last = newModel(0x08004601, 5, "New text");
    environment.AddModelInfo(last);
    EXPECT_EQ(environment.m_lstUserModel.GetCount(), 3);
    EXPECT_EQ(record<CQVModelInformation>(environment.m_lstUserModel, 2), last);
    environment.AddModelInfo(last); // the same object once more
    EXPECT_EQ(environment.m_lstUserModel.GetCount(), 3);
    EXPECT_EQ(record<CQVVendorInformation>(environment.m_lstVendor, 1)->m_dwVendorId, 0x080046u);
    EXPECT_STREQ(record<CQVVendorInformation>(environment.m_lstVendor, 1)->m_strName, "Maker");
    EXPECT_EQ(environment.AddModelInfo(nullptr), 0u);
}

void checkRate(int system, int stored, int expected) {
    qv::test::restartWith([&] {
        QVWriteProfileInt("Common", "SystemInfo", system, 0);
        QVWriteProfileInt("Common", "LiveFeedFPS", stored, 0);
    });
    CQVEnvironment environment;
    EXPECT_EQ(environment.m_nLiveFeedFps, expected);
    environment.m_nLiveFeedFps = stored;
    environment.WriteProfile();
    EXPECT_EQ(common("LiveFeedFPS"), expected);
}
TEST(Environment, LiveFeedOfPalIs25) { checkRate(1, 30, 25); }
TEST(Environment, LiveFeedOfNtscIs30) { checkRate(0, 25, 30); }
TEST(Environment, OtherLiveFeedsStay) { checkRate(1, 15, 15); }

TEST(Environment, MakesTheImageFolderLevelByLevel) {
    const auto folder = qv::test::home() / std::string(200, 'a') / std::string(200, 'b') / "表ソ\\x";
    QVWriteProfileString("Common", "ImageTemp", folder.c_str(), 0);
    const auto before = std::filesystem::current_path();
    const CQVEnvironment environment;
    EXPECT_TRUE(std::filesystem::is_directory(folder));
    EXPECT_EQ(std::filesystem::current_path(), before);
    EXPECT_EQ(CQVEnvironment::GetImageTemp().str(), (qv::test::home() / "Tarvelion/TempData").string());
    qv::test::writeFile(qv::test::home() / "file", "");
    QVWriteProfileString("Common", "ImageTemp", (qv::test::home() / "file/below").c_str(), 0);
    EXPECT_STREQ(CQVEnvironment().m_strImageTemp, (qv::test::home() / "file/below").c_str()); // and no harm
}

TEST(Environment, TakesOverTheUsersOldSettingsOnce) {
    const auto write = [](const char* path, const char* text) {
        registry::writeValue(HKEY_CURRENT_USER, path, "LastDirName", registry::Type::Text,
                             std::string(text) + '\0');
    };
    write("SOFTWARE\\Tarvelion\\Lumenhall\\Common", "/old");
    QVWriteProfileInt("Common", "DeleteMode", 3, 0);
    QVCreateEnvironment();
    EXPECT_STREQ(QVGetEnvironment()->m_strLastDirName, "/old");
    EXPECT_EQ(QVGetEnvironment()->m_nDeleteMode, 3);
    QVDeleteEnvironment();
    EXPECT_FALSE(registry::keyExists(HKEY_CURRENT_USER, "Software\\Tarvelion\\Lumenhall"));
    EXPECT_TRUE(registry::keyExists(HKEY_CURRENT_USER, "Software\\Tarvelion\\Lumenhall.Ver12_WIN98\\Common"));
    QVWriteProfileString("Common", "LastDirName", "/new", 0);
    QVCreateEnvironment(); // the backup is there, the tree is not
    EXPECT_STREQ(QVGetEnvironment()->m_strLastDirName, "/new");
    EXPECT_TRUE(registry::keyExists(HKEY_CURRENT_USER, "Software\\Tarvelion\\Lumenhall.Ver12_WIN98\\Common"));
    QVDeleteEnvironment();
}

} // namespace
