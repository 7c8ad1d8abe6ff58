#include "codecs/dv/DvFile.h"

#include "tests/support/AviMaker.h"
#include "tests/support/TestSupport.h"

#include <filesystem>
#include <gtest/gtest.h>

using namespace qv;
using namespace qv::test;

namespace {

// A frame by its outside: headers of the blocks that are looked at, and its number in the middle.
std::string plainFrame(bool pal, int number) {
    std::string frame(dvFrameSize(pal), '\0');
    frame[0] = 0x1F;
    frame[1] = 0x07;
    frame[3] = static_cast<char>(pal ? 0xBF : 0x3F);
    frame[80] = 0x3F;
    frame[240] = 0x5F;
    frame[60000] = static_cast<char>(number);
    return frame;
}

AviPlan planOf(int frames, bool pal) {
    AviPlan plan;
    for (int i = 0; i < frames; ++i) plan.frames.push_back(plainFrame(pal, i));
    plan.rate = pal ? 25 : 30000;
    plan.scale = pal ? 1 : 1001;
    return plan;
}

std::string put(const std::string& name, const std::string& bytes) {
    const auto path = home() / name;
    writeFile(path, bytes);
    return path.string();
}

int numberIn(DvFile& file, std::uint32_t frame) {
    const std::uint8_t* bytes = file.frame(frame);
    return bytes ? bytes[60000] : -1;
}

std::string soundOf(DvFile& file) {
    std::string all;
    for (std::uint32_t i = 0; i < file.frames(); ++i) {
        const std::uint8_t* frame = file.frame(i);
        const auto sound = findDvSound(frame, file.isPal());
        if (!sound) continue;
        std::vector<std::int16_t> pairs(2 * sound->samples);
        readDvSound(frame, file.isPal(), *sound, pairs.data());
        all.append(reinterpret_cast<const char*>(pairs.data()), 2 * pairs.size());
    }
    return all;
}

} // namespace

TEST(DvFile, EveryContainerGivesTheSameFrames) {
    for (const bool pal : {false, true}) {
        SCOPED_TRACE(pal ? "PAL" : "NTSC");
        AviPlan plan = planOf(4, pal);
        std::string raw;
        for (const auto& frame : plan.frames) raw += frame;
        const std::string type2 = makeAvi(plan);
        plan.videoType = "iavs";
        const std::string type1 = makeAvi(plan);
        const struct {
            std::string bytes;
            DvContainer container;
        } rows[] = {{raw, DvContainer::Raw}, {type1, DvContainer::AviType1}, {type2, DvContainer::AviType2}};
        for (const auto& row : rows) {
            const std::string path = put("movie", row.bytes);
            EXPECT_EQ(sniffDvFile(path.c_str()), row.container);
            const auto file = DvFile::open(path.c_str());
            ASSERT_TRUE(file);
            EXPECT_EQ(file->container(), row.container);
            EXPECT_EQ(file->isPal(), pal);
            EXPECT_EQ(file->frames(), 4u);
            EXPECT_EQ(file->rate(), pal ? 25u : 30000u);
            EXPECT_EQ(file->scale(), pal ? 1u : 1001u);
            for (const int number : {3, 0, 2, 2, 1}) EXPECT_EQ(numberIn(*file, number), number);
            EXPECT_EQ(file->frame(4), nullptr);
        }
    }
}

TEST(DvFile, AnEmptyFrameIsTheOneBefore) {
    AviPlan plan = planOf(4, false);
    plan.frames[2].clear();
    auto file = DvFile::open(put("gap.avi", makeAvi(plan)).c_str());
    ASSERT_TRUE(file);
    EXPECT_EQ(file->frames(), 4u);
    EXPECT_EQ(numberIn(*file, 2), 1);
    EXPECT_EQ(numberIn(*file, 3), 3);
    plan.frames[0].clear();
    file = DvFile::open(put("gap.avi", makeAvi(plan)).c_str());
    ASSERT_TRUE(file);
    EXPECT_EQ(file->frame(0), nullptr);
}

// An index that points into the frames: the chunk there is not what it says, so no frame is given.
TEST(DvFile, NoFrameUnderAnotherNumber) {
    AviPlan plan = planOf(9, false);
    std::string bytes = makeAvi(plan);
    const size_t index = bytes.rfind("idx1") + 8;
    bytes[index + 16 * 5 + 8] = static_cast<char>(bytes[index + 16 * 5 + 8] + 4);
    const auto file = DvFile::open(put("lies.avi", bytes).c_str());
    ASSERT_TRUE(file);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(numberIn(*file, i), i == 5 ? -1 : i);
}

TEST(DvFile, AFileCutShortWhileOpenGivesWhatIsThere) {
    const std::string path = put("cut.dv", plainFrame(true, 0) + plainFrame(true, 1) + plainFrame(true, 2));
    const auto file = DvFile::open(path.c_str());
    ASSERT_TRUE(file);
    std::filesystem::resize_file(path, kDvFramePal + 100);
    EXPECT_EQ(numberIn(*file, 1), -1);
    EXPECT_EQ(numberIn(*file, 0), 0);
    std::filesystem::remove(path);
    EXPECT_EQ(numberIn(*file, 0), 0);
}

TEST(DvFile, RefusesWhatIsNoDv) {
    AviPlan other = planOf(2, false);
    other.handler = "MJPG";
    AviPlan none = planOf(0, false);
    AviPlan small = planOf(2, false);
    for (auto& frame : small.frames) frame.resize(1000);
    const struct {
        const char* name;
        std::string bytes;
        bool sniffed;
    } rows[] = {{"empty", "", false},
                {"text", "This is a letter, not a movie.", false},
                {"other codec", makeAvi(other), false},
                {"less than a frame", plainFrame(false, 0).substr(0, 119999), false},
                {"no frames", makeAvi(none), true},
                {"frames too small", makeAvi(small), true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string path = put("file", row.bytes);
        EXPECT_EQ(sniffDvFile(path.c_str()).has_value(), row.sniffed);
        EXPECT_FALSE(DvFile::open(path.c_str()));
    }
    EXPECT_FALSE(DvFile::open(home().c_str()));
    EXPECT_FALSE(DvFile::open("nowhere"));
}

TEST(DvFile, SoundOfATypeTwoFileIsReadAcrossChunks) {
    AviPlan plan = planOf(3, false);
    for (int i = 0; i < 3; ++i) plan.sounds.push_back(std::string(6408, static_cast<char>('a' + i)));
    const auto file = DvFile::open(put("sound.avi", makeAvi(plan)).c_str());
    ASSERT_TRUE(file);
    ASSERT_TRUE(file->sound());
    EXPECT_EQ(file->sound()->nSamplesPerSec, 48000u);
    EXPECT_EQ(file->soundBytes(), 3u * 6408);
    char bytes[12] = {};
    EXPECT_EQ(file->readSound(6408 - 4, bytes, 12), 12u);
    EXPECT_EQ(std::string(bytes, 12), "aaaabbbbbbbb");
    EXPECT_EQ(file->readSound(3 * 6408 - 4, bytes, 12), 4u);
    EXPECT_EQ(file->readSound(3 * 6408, bytes, 12), 0u);
}

// The sums were made by another decoder.
TEST(DvFile, SoundOfRecordingsIsWhatAnotherDecoderHears) {
    QV_NEEDS_MEDIA(media);
    QV_NEEDS_PROGRAM("md5sum");
    const auto rows = qv::test::readTable(media / "dv/expected_files.tsv");
    ASSERT_GT(rows.size(), 5u);
    for (size_t i = 1; i < rows.size(); ++i) {
        SCOPED_TRACE(rows[i][0]);
        const auto file = DvFile::open((media / "dv" / rows[i][0]).c_str());
        ASSERT_TRUE(file);
        EXPECT_EQ(std::to_string(file->frames()), rows[i][6]);
        EXPECT_EQ(std::to_string(file->rate() / file->scale()), rows[i][5] == "25/1" ? "25" : "29");
        const std::string sound = soundOf(*file);
        if (rows[i][7] == "0") {
            EXPECT_TRUE(sound.empty());
            continue;
        }
        EXPECT_EQ(std::to_string(sound.size() / 4), rows[i][10]);
        writeFile(home() / "sound", sound);
        EXPECT_EQ(run({"md5sum", (home() / "sound").string()}).out.substr(0, 32), rows[i][11]);
    }
}
