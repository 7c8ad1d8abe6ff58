#include "qvlibs/plugins/VideoCodecSetup.h"

#include "qvlibs/framework/Status.h"
#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

namespace fs = std::filesystem;

TEST(VideoCodecSetup, CallsEveryModuleOfTheFolderAndKeepsNone) {
    const fs::path folder = qv::test::makeFolder("pbbin");
    const fs::path log = qv::test::home() / "life.log";
    setenv("FAKE_LIFE_LOG", log.c_str(), 1);
    qv::test::putModule(folder, {"life", "b.vcp"});
    qv::test::putModule(folder, {"life", "C.VCP"});
    qv::test::putModule(folder, {"life", "other.acp"});
    qv::test::putModule(folder, {"accept_none", "a.vcp"}); // has neither export
    qv::test::writeFile(folder / "broken.vcp", "text");
    const std::string in = " in " + fs::current_path().string() + "\n";
    std::string wanted;
    for (const char* call : {"Initialize", "Terminate"}) {
        EXPECT_EQ(qv::callVideoPlugins(call, folder.c_str()), 0);
        for (int module = 0; module < 2; ++module) wanted += "load" + in + call + in + "unload" + in;
    }
    EXPECT_EQ(qv::test::readFile(log), wanted);
    EXPECT_EQ(dlopen((folder / "b.vcp").c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr);
}

TEST(VideoCodecSetup, OnlyAnUnknownFolderFails) {
    EXPECT_EQ(qv::callVideoPlugins("Initialize", ""), QV_E_FAIL);
    EXPECT_EQ(qv::callVideoPlugins("Initialize", "/nonexistent"), 0);
    EXPECT_EQ(PBLIB::QVTLInitializeVideoCodecPlugin(), 0) << "there is no pbbin beside this program";
    EXPECT_EQ(PBLIB::QVTLTerminateVideoCodecPlugin(), 0);
}
