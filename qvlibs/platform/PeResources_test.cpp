#include "qvlibs/platform/PeResources.h"

#include "qvlibs/platform/ModuleData.h"
#include "qvlibs/util/Bytes.h"
#include "tests/support/PeModule.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using qv::PeResources;

namespace {

std::string textOf(std::span<const BYTE> bytes) { return {bytes.begin(), bytes.end()}; }

} // namespace

TEST(PeResources, FindsResourcesOfBothModuleKinds) {
    for (const bool wide : {false, true}) {
        const auto module =
            PeResources::parse(qv::test::peModule({{3, 1, "one"}, {3, 7, "seven"}, {14, 2, "group"}}, wide));
        ASSERT_TRUE(module);
        EXPECT_EQ(textOf(module->find(PeResources::kIcon, 7)), "seven");
        EXPECT_TRUE(module->find(PeResources::kIcon, 2).empty());
        EXPECT_TRUE(module->find(16, 1).empty());
        ASSERT_EQ(module->all(PeResources::kIcon).size(), 2u);
        EXPECT_EQ(textOf(module->all(PeResources::kGroupIcon)[0]), "group");
    }
}

TEST(PeResources, NoPrefixAndNoLoopReadsOutside) {
    const auto whole = qv::test::peModule({{3, 1, "one"}, {14, 2, "group"}}, false);
    for (size_t size = 0; size < whole.size(); ++size) {
        const auto module =
            PeResources::parse({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)});
        if (module) {
            EXPECT_LE(module->all(PeResources::kIcon).size(), 1u);
        }
    }
    // A directory whose entries point back at it.
    auto loop = whole;
    for (size_t at = qv::test::kPeResourceOffset; at + 8 <= loop.size(); at += 4) {
        loop[at] = loop[at + 1] = loop[at + 2] = 0;
        loop[at + 3] = 0x80;
    }
    static_cast<void>(PeResources::parse(loop));
    EXPECT_FALSE(PeResources::parse({}));
    EXPECT_FALSE(PeResources::load("/"));
}

TEST(PeResources, LoadedModulesAreKnownByTheirHandleUntilFreed) {
    const auto path = qv::test::home() / "a.dll";
    const auto bytes = qv::test::peModule({{3, 1, "one"}}, false);
    qv::test::writeFile(path, {bytes.begin(), bytes.end()});
    const HINSTANCE handle = qv::loadModuleData(path.c_str());
    ASSERT_TRUE(handle);
    EXPECT_EQ(textOf(qv::moduleData(handle)->find(3, 1)), "one");
    qv::freeModuleData(handle);
    EXPECT_FALSE(qv::moduleData(handle));
    qv::freeModuleData(handle);
    EXPECT_FALSE(qv::loadModuleData("/no/such.dll"));
    const auto pipe = qv::test::home() / "pipe.dll";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_FALSE(qv::loadModuleData(pipe.c_str()));
}
