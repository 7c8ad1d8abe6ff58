#include "qvlibs/util/PathSearch.h"

#include "qvlibs/framework/Trace.h"
#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstring>

namespace fs = std::filesystem;

namespace {

ULONG search(const char* folders, const char* name, const char* extension, char (&buffer)[4096]) {
    return SearchPathLocal("a.cpp", 1, folders, name, extension, sizeof buffer, buffer, nullptr);
}

} // namespace

TEST(PathSearch, LooksInTheFoldersInOrder) {
    const fs::path library = qv::test::restartWithModules({});
    const fs::path one = qv::test::makeFolder("one"), two = qv::test::makeFolder("two");
    for (const auto& file :
         {one / "both.ini", two / "both.ini", two / "only", two / "named.x", library / "near"})
        qv::test::writeFile(file, "x");
    fs::create_directory(one / "only"); // a folder is no file
    fs::current_path(two);
    setenv("PATH", one.c_str(), 1);
    const std::string list = one.string() + ":" + two.string();
    const std::string whole = (one / "both.ini").string();
    const struct {
        const char *folders, *name, *extension;
        fs::path found;
    } rows[] = {
        {list.c_str(), "both.ini", nullptr, one / "both.ini"},
        {list.c_str(), "both", ".ini", one / "both.ini"},
        {list.c_str(), "only", nullptr, two / "only"},
        {list.c_str(), "only", ".ini", {}},
        {list.c_str(), "named.x", ".ini", two / "named.x"},
        {list.c_str(), "near", nullptr, {}},
        {nullptr, "near", nullptr, library / "near"},
        {nullptr, "both.ini", nullptr, fs::current_path() / "both.ini"},
        {nullptr, "QVLIBS.dll", nullptr, library / "libqvlibs.so.5"},
        {nullptr, "qvlibs.dll", nullptr, library / "libqvlibs.so.5"},
        {nullptr, "absent", nullptr, {}},
        {"", "only", nullptr, {}},
        {nullptr, "", nullptr, {}},
        {nullptr, whole.c_str(), nullptr, one / "both.ini"},
        {list.c_str(), "/absent/both.ini", nullptr, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        char buffer[4096] = "stale";
        EXPECT_EQ(search(row.folders, row.name, row.extension, buffer), row.found.string().size());
        EXPECT_STREQ(buffer, row.found.c_str());
    }
}

TEST(PathSearch, TheFilePointerIsComputedAgainAndWins) {
    static std::string traced;
    qv::setTraceSink([](std::string_view text) { traced += text; });
    const fs::path folder = qv::test::makeFolder("f");
    qv::test::writeFile(folder / "x", "x");
    char buffer[4096];
    char* part = nullptr;
    EXPECT_GT(SearchPathLocal("a.cpp", 7, folder.c_str(), "x", nullptr, sizeof buffer, buffer, &part), 0u);
    EXPECT_STREQ(part, "x");
    EXPECT_EQ(part, std::strrchr(buffer, '/') + 1);
    EXPECT_EQ(SearchPathLocal("a.cpp", 7, folder.c_str(), "y", nullptr, sizeof buffer, buffer, nullptr), 0u);
    EXPECT_EQ(traced.find("failed"), std::string::npos);
    EXPECT_EQ(SearchPathLocal("a.cpp", 7, folder.c_str(), "y", nullptr, sizeof buffer, buffer, &part), 0u);
    EXPECT_EQ(part, nullptr);
    EXPECT_NE(traced.find("a.cpp(7): SearchPath [] failed.\n"), std::string::npos);
}

TEST(PathSearch, SmallBuffersGetTheSizeTheyLack) {
    const std::string path = (qv::test::makeFolder("f") / "x").string();
    qv::test::writeFile(path, "x");
    char buffer[4096] = "stale";
    const auto size = static_cast<ULONG>(path.size());
    char* part = buffer;
    EXPECT_EQ(SearchPathLocal("", 0, nullptr, path.c_str(), nullptr, size, buffer, &part), size + 1);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(part, nullptr);
    EXPECT_EQ(SearchPathLocal("", 0, nullptr, path.c_str(), nullptr, size + 1, buffer, &part), size);
    EXPECT_EQ(SearchPathLocal("", 0, nullptr, path.c_str(), nullptr, 0, nullptr, &part), size + 1);
    EXPECT_EQ(part, nullptr);
}
