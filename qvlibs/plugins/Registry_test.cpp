// Which modules are loaded, in which order, how long they stay, and who is found for a file.
#include "qvlibs/plugins/PluginInfo.h"
#include "qvlibs/plugins/plugin_api.h"
#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sys/stat.h>

#include <atomic>
#include <memory>
#include <sstream>
#include <thread>

namespace fs = std::filesystem;
using qv::test::restartWithModules;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Plugin = std::unique_ptr<CPluginInfo>;

std::vector<std::string> registered(const char* pattern) {
    std::vector<std::string> names;
    CPluginEnumerator all;
    while (const Plugin plugin{all.Next(pattern)}) names.push_back(fs::path(plugin->path.str()).filename());
    return names;
}

constexpr const char* kEveryKind = "*.pcp *.pdp *.vcp *.acp *.tcp *.VCP";

std::vector<std::string> lifeLog() {
    std::vector<std::string> lines;
    std::istringstream in(qv::test::readFile(qv::test::home() / "life.log"));
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

void logLife() { setenv("FAKE_LIFE_LOG", (qv::test::home() / "life.log").c_str(), 1); }

bool stillLoaded(const fs::path& module) {
    void* handle = dlopen(module.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle) dlclose(handle);
    return handle != nullptr;
}

} // namespace

TEST(Registry, LoadsKindAfterKindAndNamesInOrder) {
    restartWithModules({{"accept_none", "b.vcp"},
                        {"accept_none", "a.tcp"},
                        {"accept_none", "B2.VCP"},
                        {"accept_none", "a.acp"},
                        {"accept_none", "a.vcp"},
                        {"accept_none", "z.pcp"},
                        {"accept_none", ".hidden.vcp"},
                        {"accept_none", "a.pbp"}},
                       [](const fs::path& folder) {
                           qv::test::writeFile(folder / "broken.vcp", "not a module\n");
                           fs::create_directory(folder / "folder.vcp");
                           mkfifo((folder / "pipe.vcp").c_str(), 0600);
                       });
    EXPECT_THAT(registered(kEveryKind), ElementsAre("z.pcp", "a.vcp", "b.vcp", "B2.VCP", "a.acp", "a.tcp"));
    EXPECT_THAT(registered("*.vcp"), ElementsAre("a.vcp", "b.vcp")) << "upper case is loaded, but of no kind";
    EXPECT_THAT(registered("*.pbp"), IsEmpty()) << "properties have a registry of their own";
}

TEST(Registry, SecondPictureFamilyIsNeverLoaded) {
    restartWithModules({{"accept_all", "a.pdp"}});
    EXPECT_THAT(registered(kEveryKind), IsEmpty());
    EXPECT_EQ(LoadPlugIns("*.pdp", "/x"), nullptr);
}

TEST(Registry, AnEmptyFolderGivesNobody) {
    restartWithModules({});
    EXPECT_THAT(registered(kEveryKind), IsEmpty());
    EXPECT_EQ(LoadVideoCodecPlugIn("/x.avi"), nullptr);
}

TEST(Registry, TheFirstThatSaysYesIsTaken) {
    restartWithModules({{"accept_none", "a.vcp"},
                        {"accept_all", "c.vcp"},
                        {"accept_all", "b.vcp"},
                        {"accept_all", "d.acp"}});
    const Plugin movie(LoadVideoCodecPlugIn("/x"));
    ASSERT_NE(movie, nullptr) << "the flag counts, not the result";
    EXPECT_EQ(fs::path(movie->path.str()).filename(), "b.vcp");
    const Plugin sound(LoadAudioCodecPlugIn("/x"));
    ASSERT_NE(sound, nullptr);
    EXPECT_EQ(fs::path(sound->path.str()).filename(), "d.acp");
    EXPECT_EQ(LoadTitleCodecPlugIn("/x"), nullptr);
}

TEST(Registry, StartsAreCountedAlsoBelowZero) {
    const fs::path folder = restartWithModules({{"accept_none", "a.vcp"}});
    const auto count = [] { return registered(kEveryKind).size(); };
    qvLoadPlugIns(); // 2
    qv::test::putModule(folder, {"accept_none", "b.vcp"});
    EXPECT_EQ(QVTLReloadPlugIn(), 0);
    EXPECT_EQ(count(), 1u) << "somebody else still holds them";
    qvUnloadPlugIns(); // 1
    EXPECT_EQ(count(), 1u);
    EXPECT_EQ(QVTLReloadPlugIn(), 0);
    EXPECT_EQ(count(), 2u) << "the new module shows";
    qvUnloadPlugIns(); // 0
    EXPECT_EQ(count(), 0u);
    EXPECT_FALSE(stillLoaded(folder / "a.vcp"));
    QVTLReloadPlugIn(); // -1, 0
    EXPECT_EQ(count(), 0u);
    qvUnloadPlugIns(); // -1
    qvLoadPlugIns();   // 0
    EXPECT_EQ(count(), 0u) << "below zero a start only counts";
    qvLoadPlugIns(); // 1
    EXPECT_EQ(count(), 2u);
}

TEST(Registry, TheFolderIsTheCurrentOneWhileItIsLoaded) {
    const fs::path folder = restartWithModules({{"life", "life.vcp"}}, [](const fs::path&) { logLife(); });
    EXPECT_THAT(lifeLog(), ElementsAre("load in " + folder.string()));
    const fs::path other = fs::canonical(qv::test::makeFolder("other"));
    fs::current_path(other);
    QVTLReloadPlugIn();
    EXPECT_EQ(fs::current_path(), other);
    EXPECT_THAT(lifeLog(), ElementsAre("load in " + folder.string(), "unload in " + other.string(),
                                       "load in " + folder.string()));
}

TEST(Registry, AModuleCanAskForItsReload) {
    const fs::path folder = restartWithModules({{"accept_none", "a.vcp"}, {"life", "life.vcp"}});
    CPluginEnumerator all;
    delete all.Next("*.vcp");
    const Plugin plugin(all.Next("*.vcp"));
    ASSERT_NE(plugin, nullptr);
    const HMODULE before = plugin->module;
    logLife();
    int attributes = 0;
    ULONG type = 0;
    EXPECT_EQ(plugin->Investigate("/x", &attributes, &type), 0u);
    EXPECT_EQ(attributes, 12);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&type), 4), "*FAU");
    EXPECT_EQ(lifeLog().size(), 2u) << "unloaded and loaded, once";
    EXPECT_EQ(plugin->module, before) << "the object asking keeps what it had";
    EXPECT_THAT(registered("*.vcp"), ElementsAre("a.vcp", "life.vcp")) << "it keeps its place";
    CPluginEnumerator again;
    delete again.Next("*.vcp");
    const Plugin fresh(again.Next("*.vcp"));
    EXPECT_EQ(fresh->GetTotalFrames(0), 0u) << "its memory is new: no call was counted";
}

TEST(Registry, ModulesOfAnotherFolderJoin) {
    restartWithModules({{"accept_none", "a.vcp"}});
    const fs::path more = qv::test::makeFolder("more");
    qv::test::putModule(more, {"accept_all", "m.vcp"});
    qv::test::putModule(more, {"accept_all", "plain"});
    qvLoadPlugIns2(more.c_str(), "*.vcp");
    EXPECT_THAT(registered("*.vcp"), ElementsAre("a.vcp", "m.vcp"));
    qvLoadPlugIns2(more.c_str(), "pl*");
    EXPECT_THAT(registered("*.acp"), ElementsAre("plain")) << "no extension is in every pattern";
    qvLoadPlugIns2("/nonexistent", "*.vcp");
    EXPECT_EQ(registered("*.vcp").size(), 3u);
}

// The calls that may not overlap really do not: the fake counts who is inside it.
TEST(Registry, HeldCallsOfDifferentModulesDoNotOverlap) {
    restartWithModules({{"crowd", "a.vcp"}, {"crowd", "b.vcp"}});
    CPluginEnumerator all;
    const Plugin first(all.Next("*.vcp")), second(all.Next("*.vcp"));
    std::atomic<int> meetings{0};
    const auto ask = [&](CPluginInfo& plugin) {
        for (int i = 0; i < 200; ++i) {
            int met = 0;
            plugin.IsSupported("/x", &met);
            meetings += met;
            ULONG type = 0;
            plugin.Investigate("/x", &met, &type);
            meetings += met;
        }
    };
    std::thread one(ask, std::ref(*first)), two(ask, std::ref(*second));
    one.join();
    two.join();
    EXPECT_EQ(meetings, 0);
}
