// qv info: every kind of file, folders, wrong names, the form of the JSON, what is remembered.
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/sidefiles/MtvRecord.h"
#include "tests/support/TestSupport.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

using nlohmann::json;
using qv::test::home;
using qv::test::makeFolder;
using qv::test::readFile;
using qv::test::run;
using qv::test::RunResult;
using qv::test::writeFile;
namespace fs = std::filesystem;

namespace {

RunResult info(std::vector<std::string> files) {
    files.insert(files.begin(), {"info", "--json"});
    return qv::test::runQv(files);
}

json factsOf(const fs::path& path) {
    const auto result = info({path.string()});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return json::parse(result.out).at(0);
}

std::string little(std::uint32_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> 8 * i & 0xFF);
    return text;
}

// `seconds` of silence, 16 bits stereo.
std::string wave(std::uint32_t rate, std::uint32_t seconds) {
    const std::string samples(rate * seconds * 4, '\0');
    return "RIFF" + little(static_cast<std::uint32_t>(36 + samples.size()), 4) + "WAVEfmt " + little(16, 4) +
           little(1, 2) + little(2, 2) + little(rate, 4) + little(rate * 4, 4) + little(4, 2) +
           little(16, 2) + "data" + little(static_cast<std::uint32_t>(samples.size()), 4) + samples;
}

constexpr const char* kTitle = "[Title]\nSize=640x360\nRate=25/1\nFrames=50\n[Line]\nText=Hello\n";

void writeSideFile(const fs::path& path) {
    MtvAtrTag* record = MTV_AllocMtv(0x10000, "Maker", "clip.mpg", 0);
    EXPECT_EQ(MTV_SaveFile(path.c_str(), record, 0), 0u);
    MTV_FreeMtv(record, 0);
}

// One of each kind that needs no other program; `b` before `a/` in no order.
fs::path makeMixedFolder() {
    const fs::path folder = makeFolder("mixed");
    fs::create_directories(folder / "sub/.hidden");
    writeFile(folder / "photo.bmp", qv::test::bmpFile(5, 3));
    writeFile(folder / "lie.jpg", wave(8000, 1));
    writeFile(folder / "sub/sound.wav", wave(44100, 2));
    writeFile(folder / "sub/hello.tte", kTitle);
    writeFile(folder / "sub/cut.wav", wave(44100, 2).substr(0, 30));
    writeFile(folder / "sub/.hidden/sound.wav", wave(8000, 1));
    writeFile(folder / "letter.txt", "Dear all");
    writeFile(folder / "form.pdf", "%PDF-1.4");
    writeFile(folder / "empty.avi", "");
    writeSideFile(folder / "clip.mtv");
    fs::create_directory_symlink(folder, folder / "sub/round");
    return folder;
}

void makeOld(const fs::path& path) {
    fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::minutes(10));
}

} // namespace

TEST(Info, MoviesAreWhatOtherReadersSay) {
    QV_NEEDS_MEDIA(media);
    const struct {
        const char* file;
        const char* codec;
        int width, height;
        const char* shape;
        int frames;
        double seconds;
        const char* timecode;
        const char* recorded;
    } rows[] = {
        {"dv/derived/avi_camcorder_s01_t1.avi", "dvsd", 720, 480, "4:3", 2, 0.066, "00:00:02;17",
         "2024-07-08 19:55:58"},
        {"dv/generated/ff_pal_minute_2f.dv", "dvsd", 720, 576, "4:3", 2, 0.08, "10:09:59:24",
         "2003-07-20 08:09:10"},
        {"movies/generated/ff_ntsc_svcd_wide.mpg", "MPG2", 480, 480, "16:9", 18, 0.6, "", ""},
        {"movies/generated/mjt_pal_mpeg2_ps.mpg", "MPG2", 352, 288, "4:3", 25, 1.0, "", ""},
        {"movies/tika/testWMV.wmv", "WMV3", 640, 480, "square pixels", 25, 5.0, "", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.file);
        const json facts = factsOf(media / row.file);
        EXPECT_EQ(facts["kind"], "movie");
        EXPECT_EQ(facts["codec"], row.codec);
        EXPECT_EQ(facts["width"], row.width);
        EXPECT_EQ(facts["height"], row.height);
        EXPECT_EQ(facts["shape"], row.shape);
        EXPECT_EQ(facts["frames"], row.frames);
        EXPECT_NEAR(facts["seconds"].get<double>(), row.seconds, 0.02);
        EXPECT_EQ(facts.value("timecode", ""), row.timecode);
        EXPECT_EQ(facts.value("recorded", ""), row.recorded);
    }
}

TEST(Info, EveryKindSaysItsFacts) {
    const fs::path folder = makeMixedFolder();
    const struct {
        const char* file;
        json facts;
    } rows[] = {
        {"photo.bmp", {{"kind", "picture"}, {"format", "BMP"}, {"width", 5}, {"height", 3}, {"depth", 24}}},
        {"lie.jpg",
         {{"kind", "sound"},
          {"format", "WAVE"},
          {"nameSays", "JPEG"},
          {"seconds", 1.0},
          {"supported", false}}},
        {"sub/sound.wav",
         {{"kind", "sound"},
          {"compression", "none"},
          {"supported", true},
          {"sound", {{"rate", 44100}, {"channels", 2}, {"bits", 16}, {"samples", 88200}}}}},
        {"sub/hello.tte",
         {{"kind", "title"},
          {"width", 640},
          {"height", 360},
          {"rate", "25/1"},
          {"frames", 50},
          {"seconds", 2.0}}},
        {"clip.mtv", {{"kind", "sidefile"}, {"bytes", 568}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.file);
        const json facts = factsOf(folder / row.file);
        for (const auto& [name, value] : row.facts.items()) EXPECT_EQ(facts[name], value) << name;
        EXPECT_EQ(facts.contains("nameSays"), row.facts.contains("nameSays"));
    }
    EXPECT_EQ(factsOf(folder / "clip.mtv")["sideFile"]["link"], "clip.mpg");
}

TEST(Info, FoldersAreWalkedInOneOrderWhateverIsBrokenInThem) {
    const fs::path folder = makeMixedFolder();
    const auto first = info({folder.string()});
    EXPECT_EQ(first.exitCode, 5) << "an empty and a cut file";
    EXPECT_EQ(first.out, info({folder.string()}).out);
    std::vector<std::string> names, kinds;
    for (const json& facts : json::parse(first.out)) {
        names.push_back(fs::path(facts["file"].get<std::string>()).lexically_relative(folder));
        kinds.push_back(facts["kind"]);
    }
    EXPECT_EQ(names,
              (std::vector<std::string>{"clip.mtv", "empty.avi", "form.pdf", "letter.txt", "lie.jpg",
                                        "photo.bmp", "sub/cut.wav", "sub/hello.tte", "sub/sound.wav"}));
    EXPECT_EQ(kinds, (std::vector<std::string>{"sidefile", "other", "other", "other", "sound", "picture",
                                               "sound", "title", "sound"}));
    const auto text = qv::test::runQv({"info", folder.string()});
    EXPECT_EQ(std::count(text.out.begin(), text.out.end(), '\n'), 9) << text.out;
    EXPECT_NE(text.out.find("(its name says JPEG)"), std::string::npos);
    EXPECT_EQ(text.err, "") << "no progress where there is no terminal";
}

TEST(Info, NamesWhatItDoesNotRead) {
    writeFile(home() / "text.txt", "no movie");
    const auto result = info({home() / "none", home() / "text.txt", home() / "text.txt/x"});
    EXPECT_EQ(result.exitCode, 3) << "that of the first failure";
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 3) << result.err;
    const json list = json::parse(result.out);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0]["format"], "text");
    EXPECT_EQ(info({home() / "text.txt"}).exitCode, 4);
    writeFile(makeFolder("odd") / "a\x1B[2J\nb.txt", "x");
    EXPECT_NE(qv::test::runQv({"info", home() / "odd"}).out.find("a\\x1B[2J\\x0Ab.txt\n"), std::string::npos);
}

TEST(Info, PicturesSayWhatTheCameraWrote) {
    QV_NEEDS_PROGRAM("convert");
    QV_NEEDS_PROGRAM("exiv2");
    const std::string path = home() / "photo.jpg";
    ASSERT_EQ(run({"convert", "-size", "64x48", "plasma:red-blue", path}).exitCode, 0);
    ASSERT_EQ(run({"exiv2", "-M", "set Exif.Image.Orientation 6", "-M", "set Exif.Image.Make Canon", "-M",
                   "set Exif.Image.Model Canon PowerShot S40", "-M",
                   "set Exif.Photo.DateTimeOriginal 2005:12:24 12:34:56", path})
                  .exitCode,
              0);
    const json facts = factsOf(path);
    EXPECT_EQ(facts["width"], 64) << "as stored";
    EXPECT_EQ(facts["orientation"], 6);
    EXPECT_EQ(facts["recorded"], "2005-12-24 12:34:56");
    EXPECT_EQ(facts["camera"], "Canon PowerShot S40");
}

TEST(Info, TheListHasTheDocumentedForm) {
    if (run({"python3", "-c", "import jsonschema"}).exitCode != 0)
        GTEST_SKIP() << "python3-jsonschema is not installed";
    const auto check = [](const json& list) {
        writeFile(home() / "list.json", list.dump());
        return run({"python3", "-c",
                    "import json, sys, jsonschema\n"
                    "jsonschema.validate(json.load(open(sys.argv[1])), json.load(open(sys.argv[2])))",
                    home() / "list.json", QV_INFO_SCHEMA});
    };
    std::vector<std::string> files{makeMixedFolder().string()};
    if (const auto media = qv::test::mediaFolder()) files.push_back(*media);
    json list = json::parse(info(files).out);
    const auto whole = check(list);
    EXPECT_EQ(whole.exitCode, 0) << whole.err.substr(0, 2000);
    list[0]["unheard"] = 1;
    EXPECT_NE(check(list).exitCode, 0);
    const std::string page = readFile(QV_INFO_PAGE);
    const json schema = json::parse(readFile(QV_INFO_SCHEMA));
    for (const auto& [name, unused] : schema["items"]["properties"].items())
        EXPECT_NE(page.find("`" + name + "`"), std::string::npos) << name;
}

TEST(Info, AFileThatDidNotChangeIsNotOpenedAgain) {
    const fs::path path = makeFolder("kept") / "sound.wav";
    const auto rateNow = [&] { return factsOf(path)["sound"]["rate"].get<int>(); };
    QVWriteProfileString("Common", "ImageTemp", home().c_str(), 0);
    for (const bool keeps : {false, true}) {
        if (keeps) QVWriteProfileString("Common", "MainApplication", "qv", 0);
        writeFile(path, wave(8000, 2));
        makeOld(path);
        const auto written = fs::last_write_time(path);
        EXPECT_EQ(rateNow(), 8000);
        writeFile(path, wave(16000, 1)); // the same size
        fs::last_write_time(path, written);
        EXPECT_EQ(rateNow(), keeps ? 8000 : 16000)
            << "known by path, size and time, when this program keeps the cache";
    }
    fs::last_write_time(path, fs::last_write_time(path) - std::chrono::minutes(1));
    EXPECT_EQ(rateNow(), 16000) << "another time, another file";
    EXPECT_EQ(qv::test::runQv({"cache", "clear"}).exitCode, 0);
    writeFile(path, wave(8000, 2)); // this very moment: it may be written again within the same second
    EXPECT_EQ(rateNow(), 8000);
    writeFile(path, wave(16000, 1));
    EXPECT_EQ(rateNow(), 16000);
}
