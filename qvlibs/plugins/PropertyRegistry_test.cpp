#include "qvlibs/plugins/PropertyRegistry.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/plugins/plugin_api.h"
#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using testing::ElementsAre;

namespace {

std::vector<std::string> registered(const char* pattern) {
    std::vector<std::string> names;
    const CStringList paths = QVTLGetPbPlugIns(pattern);
    for (POSITION at = paths.GetHeadPosition(); at;)
        names.push_back(fs::path(paths.GetNext(at).str()).filename());
    return names;
}

} // namespace

TEST(PropertyRegistry, FindsModulesByPathAndKindInAnyCase) {
    const fs::path folder = qv::test::restartWithModules(
        {{"scripted", "b.pbp"}, {"accept_none", "A.PBP"}, {"accept_all", "c.pcp"}});
    EXPECT_THAT(registered("*.pbp"), ElementsAre("A.PBP", "b.pbp"));
    EXPECT_THAT(registered("pBP"), ElementsAre("A.PBP", "b.pbp"));
    EXPECT_THAT(registered("*.pcp"), ElementsAre());
    const struct {
        const char* name;
        LONG status;
    } rows[] = {{"a.pbp", 0}, {"B.pbp", 0}, {"c.pcp", QV_E_INVALIDARG}, {"d.pbp", QV_E_INVALIDARG}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        LONG status = 1;
        const CPbPluginInfo plugin((folder / row.name).c_str(), &status);
        EXPECT_EQ(status, row.status);
        EXPECT_EQ(plugin.module != nullptr, row.status == 0);
    }
    LONG status = 1;
    EXPECT_EQ(CPbPluginInfo(nullptr, &status).module, nullptr);
    EXPECT_EQ(status, QV_E_FAIL);
    qvUnloadPlugInsPb();
    EXPECT_THAT(registered("*.pbp"), ElementsAre());
}

TEST(PropertyRegistry, CallsHaveTheirOwnFailures) {
    const fs::path folder = qv::test::restartWithModules({{"accept_none", "a.pbp"}});
    CPbPluginInfo without((folder / "a.pbp").c_str());
    CPbPluginInfo nothing("/none.pbp");
    SYSTEMTIME time{};
    int word = 0;
    QVMAKERNOTESINK sink{};
    char text[8];
    const auto all = [&](CPbPluginInfo& plugin) {
        return std::vector<LONG>{plugin.IsExifFile("/x", &word),
                                 plugin.GetOrientation("/x", &word, &word, 0),
                                 plugin.SetOrientation("/x", "/y", 1, 0),
                                 plugin.SetDateTimeOriginal("/x", time),
                                 plugin.GetDateTimeOriginal("/x", &time),
                                 plugin.GetMakerNoteValue("/x", &sink),
                                 plugin.GetCamera("/x", text, sizeof text),
                                 plugin.CopyProperties("/x", "/y", 1)};
    };
    EXPECT_THAT(all(without), testing::Each(QV_E_NOTSUPPORTED));
    EXPECT_THAT(all(nothing), testing::Each(QV_E_INVALIDARG));
    EXPECT_EQ(nothing.IsSupported("/x", &word), QV_E_INVALIDARG);
    EXPECT_EQ(without.IsSupported("/x", &word), 0);
    EXPECT_LT(QV_E_NOTSUPPORTED, 0) << "a status is 32 bits wide and signed";
}

TEST(PropertyRegistry, ArgumentsAndAnswersPassThrough) {
    const fs::path folder = qv::test::restartWithModules({{"scripted", "a.pbp"}});
    const fs::path file = qv::test::home() / "x.jpg";
    qv::test::writeFile(file,
                        "qvfake\nGetOrientation.orientation=6\nGetOrientation.second=2\nIsExifFile.answer=1\n"
                        "IsExifFile=5\nGetDateTimeOriginal.year=2005\nGetDateTimeOriginal.second=59\n"
                        "GetMakerNoteValue.text=note\nSetOrientation=-2147467259\n");
    CPbPluginInfo plugin((folder / "a.pbp").c_str());
    int first = 0, second = 0;
    EXPECT_EQ(plugin.IsExifFile(file.c_str(), &first), 5);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(plugin.GetOrientation(file.c_str(), &first, &second, 7), 0);
    EXPECT_EQ(first, 6);
    EXPECT_EQ(second, 2);
    EXPECT_EQ(plugin.SetOrientation(file.c_str(), "/y", 8, 3), QV_E_FAIL);
    SYSTEMTIME time{};
    EXPECT_EQ(plugin.GetDateTimeOriginal(file.c_str(), &time), 0);
    EXPECT_EQ(time.wYear, 2005);
    EXPECT_EQ(time.wSecond, 59);
    EXPECT_EQ(plugin.SetDateTimeOriginal(file.c_str(), {2024, 2, 0, 29, 23, 58, 57, 0}), 0);
    std::string note;
    QVMAKERNOTESINK sink{sizeof sink, &note,
                         [](void* to, const char* text) { *static_cast<std::string*>(to) = text; }, nullptr,
                         nullptr};
    EXPECT_EQ(plugin.GetMakerNoteValue(file.c_str(), &sink), 0);
    EXPECT_EQ(note, "note");
    EXPECT_THAT(qv::test::scriptedCalls(file),
                ElementsAre("IsExifFile", "option=7", "GetOrientation", "target=/y orientation=8 option=3",
                            "SetOrientation", "GetDateTimeOriginal", "time=2024-2-29 23:58:57",
                            "SetDateTimeOriginal", "GetMakerNoteValue"));
}
