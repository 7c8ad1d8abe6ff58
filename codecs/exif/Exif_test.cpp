// The picture-property module through its exports, judged by the exiv2 program and by facts of others'
// pictures.
#include "qvlibs/plugins/plugin_api.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <sstream>

#include <dlfcn.h>

namespace fs = std::filesystem;
using qv::test::makeFolder;
using qv::test::readFile;
using qv::test::run;
using qv::test::writeFile;

namespace {

template <class Function>
Function* find(const char* name) {
    void* handle = dlopen((qv::test::buildFolder() / "lib/qvlibs/exif.pbp").c_str(), RTLD_NOW | RTLD_LOCAL);
    return handle ? reinterpret_cast<Function*>(dlsym(handle, name)) : nullptr;
}

const auto getOrientation = find<int32_t(const char*, int*, int*, int)>("GetOrientation");
const auto setOrientation = find<int32_t(const char*, const char*, uint16_t, int)>("SetOrientation");
const auto getDate = find<int32_t(const char*, QVDATETIME*)>("GetDateTimeOriginal");
const auto setDate = find<int32_t(const char*, const QVDATETIME*)>("SetDateTimeOriginal");
const auto isExif = find<int32_t(const char*, int*)>("IsExifFile");

int orientationOf(const fs::path& path) {
    int value = -1, degrees = 0;
    getOrientation(path.c_str(), &value, &degrees, 0);
    return value;
}

std::string dateOf(const fs::path& path) {
    QVDATETIME time;
    if (getDate(path.c_str(), &time) < 0) return "";
    char text[40];
    std::snprintf(text, sizeof text, "%04d:%02d:%02d %02d:%02d:%02d", time.year, time.month, time.day,
                  time.hour, time.minute, time.second);
    return text;
}

// Everything behind the header segments of a JPEG: the picture itself.
std::string scanOf(const fs::path& path) {
    const std::string bytes = readFile(path);
    const size_t scan = bytes.find("\xFF\xDA");
    return scan == std::string::npos ? "" : bytes.substr(scan);
}

} // namespace

TEST(Exif, TagsGoRoundAndThePictureKeepsItsBytes) {
    QV_NEEDS_PROGRAM("convert");
    const fs::path folder = makeFolder("exif");
    for (const char* kind : {"jpg", "tif", "png", "webp"}) {
        SCOPED_TRACE(kind);
        const fs::path path = folder / (std::string("a.") + kind);
        ASSERT_EQ(run({"convert", "-size", "32x24", "plasma:red-blue", path.string()}).exitCode, 0);
        const std::string original = readFile(path), scan = scanOf(path);
        EXPECT_EQ(dateOf(path), "");
        const fs::path copy = folder / (std::string("copy.") + kind);
        ASSERT_EQ(setOrientation(path.c_str(), copy.c_str(), 6, 0), 0);
        EXPECT_EQ(readFile(path), original) << "the source is not touched";
        EXPECT_EQ(orientationOf(copy), 6);
        const QVDATETIME date = {2005, 12, 0, 24, 12, 34, 56, 0};
        ASSERT_EQ(setDate(copy.c_str(), &date), 0);
        EXPECT_EQ(dateOf(copy), "2005:12:24 12:34:56");
        EXPECT_EQ(orientationOf(copy), 6) << "the other tag stays";
        int answer = 0;
        EXPECT_EQ(isExif(copy.c_str(), &answer), 0);
        EXPECT_EQ(answer, 1);
        if (kind == std::string("jpg")) {
            EXPECT_EQ(scanOf(copy), scan);
        }
        const auto pixels = [](const fs::path& file) { return run({"convert", file.string(), "rgb:-"}).out; };
        EXPECT_EQ(pixels(copy), pixels(path));
        if (qv::test::hasProgram("exiv2")) {
            const std::string said = run({"exiv2", "-K", "Exif.Photo.DateTimeOriginal", copy.string()}).out;
            EXPECT_NE(said.find("2005:12:24 12:34:56"), std::string::npos) << said;
        }
    }
}

TEST(Exif, WhatCannotBeDoneLeavesEveryFileAsItWas) {
    const fs::path folder = makeFolder("bad");
    const fs::path text = folder / "text.jpg";
    const std::string noPicture("II*\0 no picture", 15);
    writeFile(text, noPicture);
    int value = 7, second = 7;
    EXPECT_LT(getOrientation(text.c_str(), &value, &second, 0), 0);
    EXPECT_LT(setOrientation(text.c_str(), text.c_str(), 6, 0), 0);
    EXPECT_LT(setOrientation(text.c_str(), (folder / "b.jpg").c_str(), 9, 0), 0) << "no such orientation";
    const QVDATETIME impossible = {2005, 13, 0, 24, 12, 34, 56, 0};
    EXPECT_LT(setDate(text.c_str(), &impossible), 0);
    EXPECT_LT(getOrientation((folder / "missing.jpg").c_str(), &value, &second, 0), 0);
    EXPECT_LT(getOrientation("http://127.0.0.1:1/a.jpg", &value, &second, 0), 0);
    EXPECT_EQ(readFile(text), noPicture);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
}

TEST(Exif, OthersPicturesSayWhatIsKnownOfThem) {
    QV_NEEDS_MEDIA(media);
    std::istringstream table(readFile(media / "exif/expected_exif.tsv"));
    int compared = 0;
    for (std::string line; std::getline(table, line);) {
        std::vector<std::string> cells;
        std::istringstream words(line);
        for (std::string cell; std::getline(words, cell, '\t');) cells.push_back(cell);
        cells.resize(18);
        const fs::path path = media / "exif" / cells[0];
        if (!fs::is_regular_file(path) || cells[1] != "JPEG") continue;
        SCOPED_TRACE(cells[0]);
        if (cells[6] == cells[5]) { // two readers agree
            EXPECT_EQ(orientationOf(path), cells[6].empty() ? 0 : std::stoi(cells[6]));
            ++compared;
        }
        const bool agreed = cells[8] == cells[9] && cells[8].size() == 19 && cells[8] > "0001";
        if (agreed) {
            EXPECT_EQ(dateOf(path), cells[8]);
        }
    }
    EXPECT_GT(compared, 20);
}

TEST(Exif, MakerNotesAreReadAndDamagedOnesEndInAStatus) {
    QV_NEEDS_MEDIA(media);
    static std::string text;
    static int words = 0;
    QVMAKERNOTESINK sink = {sizeof sink, nullptr, [](void*, const char* line) { text += line; },
                            [](void*, uint16_t) { ++words; }, [](void*, uint32_t) {}};
    const auto makerNote = find<int32_t(const char*, QVMAKERNOTESINK*)>("GetMakerNoteValue");
    EXPECT_EQ(makerNote((media / "exif/metadata-extractor-images/Canon_IXUS_v3.jpg").c_str(), &sink), 0);
    EXPECT_NE(text.find("ImageType: "), std::string::npos) << text;
    EXPECT_GT(words, 10);
    EXPECT_LT(makerNote((media / "exif/exif-orientation-examples/Landscape_0.jpg").c_str(), &sink), 0)
        << "none";
    for (const auto& entry : fs::recursive_directory_iterator(media / "malformed")) {
        if (entry.is_regular_file()) makerNote(entry.path().c_str(), &sink);
    }
}
