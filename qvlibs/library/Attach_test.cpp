// A program that loads the library pays for what it uses.
#include "qvlibs/plugins/PluginInfo.h"
#include "qvlibs/plugins/PropertyRegistry.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <memory>

TEST(Attach, LoadsEveryModuleAndNoCodecLibrary) {
    int modules = QVTLGetPbPlugIns("*.pbp").GetCount();
    CPluginEnumerator all;
    while (const std::unique_ptr<CPluginInfo> plugin{all.Next("*.pcp *.vcp *.acp *.tcp")}) ++modules;
    EXPECT_GE(modules, 1);
    const std::string maps = qv::test::readFile("/proc/self/maps");
    EXPECT_NE(maps.find("libqvlibs.so"), std::string::npos);
    for (const char* heavy :
         {"backend", "libav", "libsw", "libsndfile", "libmpg123", "libvorbis", "libass", "libexiv2",
          "libjpeg", "libpng", "libtiff", "libgif", "libhwy", "libfontconfig"})
        EXPECT_EQ(maps.find(heavy), std::string::npos) << heavy << " is mapped though nothing was asked for";
}
