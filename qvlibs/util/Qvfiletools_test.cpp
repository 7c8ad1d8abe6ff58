#include "qvlibs/util/Qvfiletools.h"

#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

TEST(Qvfiletools, PathsSplitAtTheLastSeparatorAndDot) {
    const struct {
        const char *path, *directory, *fileName, *title, *extension;
    } rows[] = {
        {"/x/clip.dv", "/x/", "clip.dv", "clip", "dv"},
        {"a.b.avi", "", "a.b.avi", "a.b", "avi"},
        {"dir.x/name", "dir.x/", "name", "name", ""},
        {"name.", "", "name.", "name", ""},
        {".profile", "", ".profile", "", "profile"},
        {"/x//f.AVI", "/x//", "f.AVI", "f", "AVI"},
        {"/", "/", "", "", ""},
        {"/x/", "/x/", "", "", ""},
        {"", "", "", "", ""},
        {"..", "", "..", ".", ""},
        {" a b /c d.e f", " a b /", "c d.e f", "c d", "e f"},
        {"back\\slash.x\\y", "", "back\\slash.x\\y", "back\\slash", "x\\y"},
        {"/\xE6\x97\xA5\xE6\x9C\xAC/\xE8\xA1\xA8.avi", "/\xE6\x97\xA5\xE6\x9C\xAC/", "\xE8\xA1\xA8.avi",
         "\xE8\xA1\xA8", "avi"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        EXPECT_STREQ(QVTLGetDirectory(row.path), row.directory);
        EXPECT_STREQ(QVTLGetFileName(row.path), row.fileName);
        EXPECT_STREQ(QVTLGetFileNameEx(row.path), row.title);
        EXPECT_STREQ(QVTLGetFileTitle(row.path), row.title);
        EXPECT_STREQ(QVTLGetExtention(row.path), row.extension);
    }
    EXPECT_STREQ(QVTLGetFileName(nullptr), "");
}

TEST(Qvfiletools, DirectoriesKeepTheirSeparator) {
    EXPECT_STREQ(QVTLGetDirectory("/x/f.avi"), "/x/");
    EXPECT_STREQ(QVTLGetDirectory("C:/x/f.avi"), "C:/x/") << "there are no drives: \"C:\" is a folder";
    const std::string deep = "/" + std::string(300, 'd') + "/";
    EXPECT_EQ(QVTLGetDirectory((deep + std::string(300, 'n')).c_str()).str(), deep) << "nothing is cut";
}

TEST(Qvfiletools, FullPathsTakeTheirPartsAsTheyAre) {
    const struct {
        const char *dir, *name, *ext, *path;
    } rows[] = {{"/x/", "a", "avi", "/x/a.avi"}, {"/x", "a", "avi", "/x/a.avi"},
                {"", "a", "b", "/a.b"},          {"/x/", "a", "", "/x/a."},
                {"/x//", "", "", "/x//."},       {"x\\", "a", ".b", "x\\/a..b"}};
    for (const auto& row : rows) EXPECT_STREQ(QVTLFullPath(row.dir, row.name, row.ext), row.path);
}

TEST(Qvfiletools, TheInstallationIsWhereTheLibraryLies) {
    const auto folder = qv::test::restartWithModules({});
    EXPECT_EQ(QVTLGetExeDir().str(), folder.string());
    EXPECT_EQ(QVTLGetImageDir().str(), folder.string() + "/image");
}
