#include "qvlibs/sidefiles/MtvFiles.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/sidefiles/KeepsakeDisc.h"
#include "qvlibs/sidefiles/VendorTable.h"
#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

namespace fs = std::filesystem;
using qv::test::home;
using qv::test::readFile;
using qv::test::restartWithModules;
using qv::test::writeFile;

namespace {

const SYSTEMTIME kTime = {2005, 12, 6, 24, 12, 34, 56, 0};

std::string script(int width, int height) {
    return "qvfake\nGetVideoRate.rate=30000\nGetVideoRate.scale=1001\nGetVideoFormat.width=" +
           std::to_string(width) + "\nGetVideoFormat.height=" + std::to_string(height) +
           "\nGetVideoCompressionRate=8000500\nGetAudioCompressionRate=224000\nGetAudioFormat.rate=48000\n"
           "GetAudioFormat.channels=2\nGetVideoParam.dibType=2\nInvestigate.type=MPG2\n";
}

// A side file with the given link, without a movie.
void sideFile(const fs::path& path, const char* vendor, const char* link) {
    MtvAtrTag* record = MTV_AllocMtv(0x10000, vendor, link, 0);
    record->year = 2001;
    EXPECT_EQ(MTV_SaveFile(path.c_str(), record, 0), 0u);
    MTV_FreeMtv(record, 0);
}

BYTE at(const std::string& bytes, size_t offset) { return static_cast<BYTE>(bytes.at(offset)); }

} // namespace

TEST(MtvFiles, TheRecordHasItsBytesWhereTheyBelong) {
    restartWithModules({{"scripted", "a.vcp"}});
    const fs::path path = home() / "clip.mpg";
    writeFile(path, script(720, 480));
    SYSTEMTIME time = kTime;
    ASSERT_EQ(
        QVTLMakeMtvEx(path.c_str(), "A vendor text that is longer than its field", "mtv", 0x100000, &time),
        0u);
    const std::string bytes = readFile(home() / "clip.mtv");
    ASSERT_EQ(bytes.size(), 568u);
    EXPECT_EQ(bytes.substr(16, 32), std::string("A vendor text that is longer th") + '\0');
    EXPECT_EQ(bytes.substr(48, 9), std::string("clip.mpg") + '\0');
    EXPECT_EQ(bytes.substr(312, 7), std::string("\xD5\x07\x0C\x18\x0C\x22\x38", 7)) << "2005-12-24 12:34:56";
    const struct {
        size_t offset;
        BYTE value;
    } rows[] = {{520, 1}, {521, 0}, {522, 1}, {526, 0}, {527, 1},
                {540, 2}, {542, 0}, {543, 1}, {544, 8}, {548, 0}};
    for (const auto& row : rows) EXPECT_EQ(at(bytes, row.offset), row.value) << row.offset;
    EXPECT_EQ(bytes.substr(528, 4), std::string("\0\x12\x7A\0", 4)) << "8000 kbit/s";
    // What has no code stays as the record was made.
    writeFile(path, script(640, 480) + "GetAudioFormat.rate=22050\nGetAudioCompressionRate=100000\n");
    ASSERT_EQ(QVTLMakeMtvEx(path.c_str(), "v", "mtv", 0x300000, nullptr), 0u);
    const std::string other = readFile(home() / "clip.mtv");
    for (const size_t offset : {526u, 548u}) EXPECT_EQ(at(other, offset), 0xFF) << offset;
    for (const size_t offset : {312u, 527u, 544u}) EXPECT_EQ(at(other, offset), 0) << offset;
    EXPECT_EQ(QVTLMakeMtvEx((home() / "missing.mpg").c_str(), "v", "mtv", 0, nullptr), 1u);
    EXPECT_FALSE(fs::exists(home() / "missing.mtv"));
    EXPECT_EQ(QVTLMakeMtvEx(path.c_str(), "v", "mpg", 0, nullptr), 1u) << "the recording is not replaced";
}

TEST(MtvFiles, OnlyWholeSideFilesAreRead) {
    const fs::path path = home() / "a.mtv";
    for (size_t size = 0; size <= 600; ++size) {
        writeFile(path, std::string(size, 'x'));
        MtvAtrTag record{};
        EXPECT_EQ(QVTLGetMtvAtr(path.c_str(), &record), size == 568 ? 1 : 0) << size;
        EXPECT_EQ(record.link[0], size == 568 ? 'x' : 0) << size;
    }
    std::printf("601 side files of 0 to 600 bytes: one of them read\n");
    writeFile(path, std::string(568, 'x'));
    EXPECT_EQ(QVTLGetMtvLinkMPGFilename(path.c_str()).GetLength(), 255) << "a link without its zero";
    EXPECT_STREQ(QVTLGetMtvLinkMPGFilename((home() / "b.mtv").c_str()), "");
}

TEST(MtvFiles, TheDirectNameWinsThenTheOrderOfNames) {
    const fs::path movie = home() / "x.mpg";
    CString vendor;
    SYSTEMTIME time;
    const auto find = [&] {
        std::memset(&time, 0xAA, sizeof time);
        vendor = "";
        return fs::path(QVTLGetMtvFileFromMpeg2(movie.c_str(), &vendor, &time).str()).filename().string();
    };
    EXPECT_EQ(find(), "");
    EXPECT_EQ(QVTLGetMtv(movie.c_str(), &vendor, &time), static_cast<ULONG>(QV_E_FAIL));
    sideFile(home() / "z.gwm", "late", "x.mpg");
    EXPECT_EQ(find(), "z.gwm");
    sideFile(home() / "b.mtv", "second", "X.MPG");
    sideFile(home() / "a.mtv", "first", "x.mpg");
    sideFile(home() / "x.mtv", "stray", "other.mpg");
    EXPECT_EQ(find(), "a.mtv");
    EXPECT_STREQ(vendor, "first");
    EXPECT_EQ(time.wYear, 0xAAAA) << "found by search: the time stays, on purpose";
    sideFile(home() / "x.mtv", "own", "x.mpg");
    EXPECT_EQ(find(), "x.mtv");
    EXPECT_EQ(time.wYear, 2001);
    EXPECT_EQ(QVTLExistMtvFile(movie.c_str()), 1);
    EXPECT_FALSE(QVTLGetMtvFileFromMpeg2(movie.c_str(), nullptr, nullptr).IsEmpty());
}

TEST(MtvFiles, RelinkingPatchesTheLinkAndMovesTheFile) {
    const fs::path old = home() / "old.mtv", fresh = home() / "new.mtv";
    sideFile(old, "v", "old.mpg");
    const std::string before = readFile(old);
    EXPECT_EQ(QVTLRenameMtv(old.c_str(), (home() / "new.mpg").c_str()), 0u);
    EXPECT_FALSE(fs::exists(old));
    std::string expected = before;
    expected.replace(48, 7, "new.mpg");
    EXPECT_EQ(readFile(fresh), expected);
    // A file that has the name already keeps its bytes; the side file stays, relinked.
    sideFile(old, "w", "old.mpg");
    EXPECT_EQ(QVTLRenameMtv(old.c_str(), (home() / "new.mpg").c_str()), 0u);
    EXPECT_EQ(readFile(fresh), expected);
    EXPECT_STREQ(QVTLGetMtvLinkMPGFilename(old.c_str()), "new.mpg");
    EXPECT_EQ(QVTLRenameMtv((home() / "missing.mtv").c_str(), "a.mpg"), 1u);
    EXPECT_EQ(QVTLRenameMtv(old.c_str(), (home() / "").c_str()), 1u) << "a folder";
    EXPECT_STREQ(QVTLGetMtvLinkMPGFilename(old.c_str()), "new.mpg");
}

TEST(MtvFiles, CompanionsByName) {
    EXPECT_STREQ(QVTLGetAedPath("x.mpg", 0), "x.mpg.aed");
    EXPECT_STREQ(QVTLGetAedPath("x.mpg", 1), "");
    EXPECT_STREQ(QVTLGetMoiPath("X.MPG", 0), "X.Moi");
    EXPECT_STREQ(QVTLGetMoiPath("x.mpeg", 0), "");
    EXPECT_STREQ(QVTLGetFileFromFile("/a.b/c", "mtv", 0), "/a.b/c.mtv");
    EXPECT_STREQ(QVTLGetFileFromFile("c.x.mpg", "mtv", 0), "c.x.mtv");
}

TEST(VendorTable, LetterCaseCountsInOneSearchAndNotInTheOthers) {
    const fs::path movie = home() / "x.mpg";
    EXPECT_EQ(QVTLGetMtvVenderNum(movie.c_str()), 0) << "no side file and no rows: the first empty row";
    QVWriteProfileString("Mtv", "", "the section's own value is no row, and the walk over the rows ends", 0);
    for (const auto& [key, text] : {std::pair{"VendorID00", "One"},
                                    {"VendorID01", "Two"},
                                    {"VendorID02", "Three"},
                                    {"VendorID03", "Four"},
                                    {"VendorID05", "Hidden"}}) {
        QVWriteProfileString("Mtv", key, text, 0);
    }
    EXPECT_EQ(QVTLGetMtvVenderNum(movie.c_str()), 4) << "no side file: the number of filled rows, on purpose";
    sideFile(home() / "x.mtv", "three", "x.mpg");
    EXPECT_EQ(QVTLGetMtvVenderNum(movie.c_str()), -1);
    sideFile(home() / "x.mtv", "Three", "x.mpg");
    EXPECT_EQ(QVTLGetMtvVenderNum(movie.c_str()), 2);
    const struct {
        const char* vendor;
        int input, output;
    } rows[] = {{"one", 1, 1}, {"TWO", 1, 0}, {"Three", 1, 1}, {"four", 1, 0}, {"Hidden", 0, 0}, {"", 0, 0}};
    for (const auto& row : rows) {
        EXPECT_EQ(QVTLIsSupportVendor(row.vendor), row.input) << row.vendor;
        EXPECT_EQ(QVTLIsSupportVendorAtOutput(row.vendor), row.output) << row.vendor;
    }
    EXPECT_EQ(QVTLGetMtvIDNo(3), 3);
    EXPECT_EQ(QVTLGetMtvIDNo(-1), 16);
    EXPECT_EQ(QVTLGetMtvIDNo(-2), 17);
    EXPECT_EQ(QVTLGetMtvIDNo(-3), 16);
}

TEST(VendorTable, DiscsTakeKnownVendorsAndParameters) {
    restartWithModules({{"scripted", "a.vcp"}});
    QVWriteProfileString("Mtv", "VendorID00", "Maker", 0);
    QVWriteProfileString("Mtv", "Ext00", "MTV", 0);
    const fs::path movie = home() / "x.mpg", side = home() / "x.MTV";
    writeFile(movie, script(720, 480));
    ASSERT_EQ(QVTLMakeMtv(movie.c_str(), 0, 0, nullptr), 0u);
    EXPECT_EQ(QVTLIsSupportVendorAndParamAtOutput(CString(side.string())), 1);
    EXPECT_EQ(QVTLIsSupportVendorAndParamAtOutput(CString(movie.string())), 0) << "no side file by its name";
    writeFile(movie, script(640, 480));
    ASSERT_EQ(QVTLMakeMtv(movie.c_str(), 0, 0, nullptr), 0u);
    EXPECT_EQ(QVTLIsSupportVendorAndParamAtOutput(CString(side.string())), 0) << "no size of a disc";

    fs::rename(side, home() / "x.mtv");
    LONG rate = 0;
    int width = 0, height = 0;
    EXPECT_EQ(QVTLCheckMpeg2toKeepsakeDisc(movie.c_str(), &rate, &width, &height), 0u);
    EXPECT_EQ(rate, 8000);
    EXPECT_EQ(width, 640);
    rate = 1, width = 640, height = 1;
    EXPECT_EQ(QVTLCheckMpeg2toKeepsakeDisc(movie.c_str(), &rate, &width, &height), 9u)
        << "the last difference";
    EXPECT_EQ(height, 480);
    rate = 1;
    EXPECT_EQ(QVTLCheckMpeg2toKeepsakeDisc(movie.c_str(), &rate, nullptr, nullptr), 7u);
    fs::remove(home() / "x.mtv");
    EXPECT_EQ(QVTLCheckMpeg2toKeepsakeDisc(movie.c_str(), nullptr, nullptr, nullptr), 3u);
    EXPECT_EQ(QVTLCheckMpeg2toKeepsakeDisc((home() / "no.mpg").c_str(), nullptr, nullptr, nullptr), 1u);
}
