#include "qvlibs/platform/Modules.h"

#include "tests/support/TestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

TEST(Modules, PatternsMatchWholeNamesInAnyCase) {
    const struct {
        const char *name, *pattern;
        bool fits;
    } rows[] = {{"a.vcp", "*.vcp", true},
                {"A.VCP", "*.vcp", true},
                {".vcp", "*.vcp", true},
                {"a.vcpx", "*.vcp", false},
                {"avcp", "*.vcp", false},
                {"aab", "*ab", true},
                {"a.b.mtv", "a.*.m?v", true},
                {"abc", "a?", false},
                {"abc", "*", true},
                {"", "", true},
                {"", "?", false},
                {"x", "", false},
                {"[a]", "[a]", true},
                {"mississippi", "m*si*p?", true}};
    for (const auto& row : rows)
        EXPECT_EQ(qv::matchesPattern(row.name, row.pattern), row.fits) << row.name << " " << row.pattern;
}

TEST(Modules, FoldersAreListedInOneOrder) {
    const auto folder = qv::test::makeFolder("f");
    for (const char* name : {"b.x", "B.x", "a.X", "_.x", "c.y", ".d.x"})
        qv::test::writeFile(folder / name, "");
    std::filesystem::create_directory(folder / "e.x");
    EXPECT_THAT(qv::listFolder(folder, "*.x"), testing::ElementsAre("_.x", "a.X", "B.x", "b.x"));
    EXPECT_THAT(qv::listFolder(folder / "none", "*"), testing::IsEmpty());
}
