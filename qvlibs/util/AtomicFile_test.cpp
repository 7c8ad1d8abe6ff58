#include "qvlibs/util/AtomicFile.h"

#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace fs = std::filesystem;
using qv::test::makeFolder;
using qv::test::readFile;
using qv::test::writeFile;

namespace {

int entries(const fs::path& folder) {
    return static_cast<int>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

} // namespace

TEST(AtomicFile, TheOldFileStaysUntilCommitAndNothingElseIsLeft) {
    const fs::path folder = makeFolder("out");
    const fs::path path = folder / "clip.bmp";
    writeFile(path, "old");
    fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
    {
        qv::AtomicFile abandoned(path);
        ASSERT_TRUE(abandoned.isOpen());
        EXPECT_TRUE(abandoned.write("half", 4));
    }
    EXPECT_EQ(readFile(path), "old");
    EXPECT_EQ(entries(folder), 1);
    qv::AtomicFile file(path);
    EXPECT_TRUE(file.write("new content", 11));
    writeFile(file.pathForLibraries(), "NEW"); // by another means: opened again, cut and written
    EXPECT_EQ(readFile(path), "old");
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(readFile(path), "NEW");
    EXPECT_EQ(entries(folder), 1);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST(AtomicFile, ANewFileTakesNobodysName) {
    const fs::path folder = makeFolder("new");
    writeFile(folder / "taken", "old");
    for (const char* name : {"taken", "free"}) {
        qv::AtomicFile file(folder / name);
        EXPECT_TRUE(file.write("new", 3));
        EXPECT_EQ(file.commitNew(), name == std::string("free"));
        EXPECT_EQ(file.error(), name == std::string("free") ? 0 : EEXIST);
    }
    EXPECT_EQ(readFile(folder / "taken") + readFile(folder / "free"), "oldnew");
    EXPECT_EQ(entries(folder), 2);
}

TEST(AtomicFile, LinksAreFollowedFoldersAndPipesRefused) {
    const fs::path folder = makeFolder("links");
    writeFile(folder / "real", "old");
    fs::create_symlink("real", folder / "link");
    qv::AtomicFile file(folder / "link");
    EXPECT_TRUE(file.write("new", 3));
    ASSERT_TRUE(file.commit());
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
    EXPECT_EQ(readFile(folder / "real"), "new");
    EXPECT_EQ(qv::AtomicFile(folder).error(), EISDIR);
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(qv::AtomicFile(folder / "pipe").error(), EINVAL) << "a file would take its place";
    EXPECT_EQ(qv::AtomicFile(folder / "no" / "such").error(), ENOENT);
}

TEST(AtomicFile, AFailedWriteLeavesTheOldFile) {
    const fs::path path = makeFolder("full") / "a";
    writeFile(path, "old");
    signal(SIGXFSZ, SIG_IGN);
    const rlimit small{4096, 4096};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    qv::AtomicFile file(path);
    const std::string big(10000, 'x');
    EXPECT_FALSE(file.write(big.data(), big.size()));
    EXPECT_EQ(file.error(), EFBIG);
    EXPECT_FALSE(file.commit());
    EXPECT_EQ(readFile(path), "old");
}
