#include "tests/support/TestSupport.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/image/QVDib.h"

#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

using namespace qv::test;
namespace fs = std::filesystem;

namespace {

class Desktop : public testing::Test {
protected:
    void SetUp() override { setenv("XDG_CACHE_HOME", (home() / "cache").c_str(), 1); }

    std::string picture(const std::string& name, LONG width, LONG height) {
        const std::string path = home() / name;
        CQVDIB dib;
        const auto bytes = static_cast<size_t>(CQVDIB::GetLineBytes(width, 24) * height);
        EXPECT_EQ(dib.Init(CSize(width, height), 24, new unsigned char[bytes]()), QV_OK);
        dib.SetPixel(0, 0, 0x00FF00);
        EXPECT_EQ(dib.Save(path.c_str()), 1);
        return path;
    }

    static nlohmann::json cached(const std::string& path, int exitCode = 0) {
        const auto made = runQv({"desktop", path, "--json"});
        EXPECT_EQ(made.exitCode, exitCode) << made.err;
        const auto all = nlohmann::json::parse(made.out);
        return all.empty() ? nlohmann::json() : all[0];
    }

    static unsigned permissions(const fs::path& path) {
        struct stat status {};
        EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
        return status.st_mode & 0777u;
    }
};

} // namespace

TEST_F(Desktop, EntriesFollowTheStandard) {
    const std::string path = picture("a b\xC3\xBC;#.bmp", 600, 300);
    const auto entry = cached(path);
    ASSERT_EQ(entry["state"], "made");
    const fs::path made = entry["picture"].get<std::string>();
    EXPECT_EQ(made.parent_path(), home() / "cache/thumbnails/large");
    EXPECT_EQ(permissions(made), 0600u);
    EXPECT_EQ(permissions(made.parent_path()), 0700u);
    EXPECT_EQ(permissions(made.parent_path().parent_path()), 0700u);

    const std::string uri = "file://" + home().native() + "/a%20b%C3%BC%3B%23.bmp";
    const std::string png = readFile(made);
    EXPECT_THAT(png, testing::HasSubstr(std::string("tEXtThumb::URI") + '\0' + uri));
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_THAT(png,
                testing::HasSubstr(std::string("tEXtThumb::MTime") + '\0' + std::to_string(status.st_mtime)));

    const auto sum = run({"sh", "-c", "printf %s \"$1\" | md5sum", "sh", uri});
    EXPECT_EQ(made.filename().native(), sum.out.substr(0, 32) + ".png");
    CQVDIB shown;
    ASSERT_EQ(shown.Load(made.c_str(), 0), QV_OK);
    EXPECT_EQ(shown.GetWidth(), 256);
    EXPECT_EQ(shown.GetHeight(), 128);
    QV_NEEDS_PROGRAM("identify"); // which checks the sums of the chunks
    const auto judged = run({"identify", "-regard-warnings", "-format", "%[Thumb::URI]", made});
    EXPECT_EQ(judged.exitCode, 0) << judged.err;
    EXPECT_EQ(judged.out, uri);
}

TEST_F(Desktop, EntriesAreMadeAgainWhenTheFileChanges) {
    const std::string path = picture("one.bmp", 40, 30);
    const auto first = cached(path);
    EXPECT_EQ(first["state"], "made");
    CQVDIB shown;
    ASSERT_EQ(shown.Load(first["picture"].get<std::string>().c_str(), 0), QV_OK);
    EXPECT_EQ(shown.GetWidth(), 40) << "a small picture is not enlarged";
    EXPECT_EQ(cached(path)["state"], "fresh");
    fs::last_write_time(path, fs::last_write_time(path) - std::chrono::hours(1));
    EXPECT_EQ(cached(path)["state"], "made");
    const auto inside = runQv({"desktop", first["picture"].get<std::string>()});
    EXPECT_EQ(inside.exitCode, 4) << "pictures of the cache itself get none";
}

TEST_F(Desktop, WhatCannotBeShownIsRemembered) {
    const std::string path = home() / "broken.avi";
    writeFile(path, "RIFF\x10\0\0\0AVI nothing else");
    const auto entry = cached(path, 4);
    ASSERT_EQ(entry["state"], "failed");
    const fs::path failed = entry["picture"].get<std::string>();
    EXPECT_THAT(failed.parent_path().native(), testing::HasSubstr("cache/thumbnails/fail/qv-"));
    EXPECT_EQ(permissions(failed), 0600u);
    EXPECT_THAT(runQv({"desktop", path}).err, testing::HasSubstr("has not changed since"));
    EXPECT_EQ(runQv({"desktop", home() / "missing.avi"}).exitCode, 3);
    EXPECT_FALSE(fs::exists(home() / "cache/thumbnails/large"));
}

TEST_F(Desktop, AMovieIsWrittenWhereItIsAskedFor) {
    QV_NEEDS_PROGRAM("ffmpeg");
    const std::string tape = home() / "tape.avi";
    const auto made =
        run({"sh", "-c",
             "ffmpeg -v error -f lavfi -i color=black:s=720x480:r=30000/1001:d=4 -f lavfi -i "
             "color=red:s=720x480:r=30000/1001:d=2 -filter_complex '[0][1]concat=n=2' -aspect 4:3 "
             "-c:v dvvideo -pix_fmt yuv411p " +
                 tape});
    ASSERT_EQ(made.exitCode, 0) << made.err;
    const std::string out = home() / "small"; // file managers ask for names without an extension
    ASSERT_EQ(runQv({"desktop", tape, "-o", out, "--size", "128"}).exitCode, 0);
    EXPECT_FALSE(fs::exists(home() / "cache"));
    fs::rename(out, out + ".png");
    CQVDIB shown;
    ASSERT_EQ(shown.Load((out + ".png").c_str(), 0), QV_OK);
    EXPECT_EQ(shown.GetWidth(), 128);
    EXPECT_EQ(shown.GetHeight(), 96);
    EXPECT_GT(shown.GetPixel(64, 48) & 0xFF, 150u) << "five seconds in, not the black start";
}
