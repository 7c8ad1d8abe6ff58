#include "codecs/dv/AviWriter.h"

#include "codecs/dv/DvFile.h"
#include "tests/support/TestSupport.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace qv;
using namespace qv::test;

namespace {

constexpr WAVEFORMATEX kStereo{WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0};

AviFormat formatOf(bool sound, std::uint64_t limit) {
    AviFormat format;
    format.handler = makeFourCC('d', 'v', 's', 'd');
    format.width = 720;
    format.height = 480;
    format.rate = 30000;
    format.scale = 1001;
    format.frameBytes = kDvFrameNtsc;
    if (sound) format.sound = kStereo;
    format.segmentLimit = limit;
    return format;
}

std::vector<std::uint8_t> frameNumber(int number) {
    std::vector<std::uint8_t> frame(kDvFrameNtsc, static_cast<std::uint8_t>(number));
    frame[3] = 0x3F;
    return frame;
}

bool addFrames(AviWriter& writer, int count, bool sound) {
    const std::vector<std::uint8_t> pcm(sound ? 6408 : 0, 7);
    for (int i = 0; i < count; ++i) {
        if (!writer.add(frameNumber(i), pcm)) return false;
    }
    return true;
}

// How many frames a reader finds, each under its own number; -1 when it does not open.
int framesIn(const std::string& path) {
    const auto file = DvFile::open(path.c_str());
    if (!file) return -1;
    for (std::uint32_t i = 0; i < file->frames(); ++i) {
        const std::uint8_t* frame = file->frame(i);
        if (!frame || frame[0] != static_cast<std::uint8_t>(i)) return -1;
    }
    return static_cast<int>(file->frames());
}

// Where the segments end that follow each other from the start of the file.
size_t endOfSegments(const std::string& path) {
    const std::string bytes = readFile(path);
    size_t at = 0;
    while (bytes.compare(at, 4, "RIFF") == 0) at += 8 + ByteReader(bytes.data() + at + 4, 4).u32();
    return at;
}

std::string target() { return (home() / "out.avi").string(); }

} // namespace

TEST(AviWriter, WhatIsWrittenIsRead) {
    const struct {
        const char* name;
        bool sound;
        std::uint64_t limit;
    } rows[] = {
        {"one segment", true, 1u << 30}, {"silent", false, 1u << 30}, {"segments of seven", true, 900000}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        auto writer = AviWriter::create(target().c_str(), formatOf(row.sound, row.limit));
        ASSERT_TRUE(writer);
        EXPECT_TRUE(addFrames(*writer, 20, row.sound));
        EXPECT_TRUE(writer->close());
        EXPECT_EQ(framesIn(target()), 20);
        const auto file = DvFile::open(target().c_str());
        EXPECT_EQ(file->soundBytes(), row.sound ? 20u * 6408 : 0u);
        EXPECT_EQ(file->soundLength(), row.sound ? 20u * 1602 : 0u);
    }
}

TEST(AviWriter, AnotherReaderFindsEveryFrame) {
    QV_NEEDS_PROGRAM("ffprobe");
    for (const std::uint64_t limit : {std::uint64_t{1} << 30, std::uint64_t{900000}}) {
        auto writer = AviWriter::create(target().c_str(), formatOf(true, limit));
        ASSERT_TRUE(writer);
        EXPECT_TRUE(addFrames(*writer, 20, true));
        EXPECT_TRUE(writer->close());
        const auto probed = run({"ffprobe", "-v", "error", "-count_packets", "-show_entries",
                                 "stream=codec_name,nb_frames,nb_read_packets", "-of", "csv=p=0", target()});
        EXPECT_NE(probed.out.find("dvvideo,20,20"), std::string::npos) << probed.out << probed.err;
        EXPECT_NE(probed.out.find("pcm_s16le,32040,"), std::string::npos) << probed.out;
    }
}

TEST(AviWriter, AKilledWritersFileOpens) {
    for (const std::uint64_t limit : {std::uint64_t{1} << 30, std::uint64_t{900000}}) {
        const pid_t child = fork();
        if (child == 0) {
            auto writer = AviWriter::create(target().c_str(), formatOf(true, limit));
            if (writer && addFrames(*writer, 17, true)) raise(SIGKILL);
            _exit(1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(framesIn(target()), 17);
        std::filesystem::resize_file(target(), std::filesystem::file_size(target()) - 10000);
        EXPECT_EQ(framesIn(target()), 16);
    }
}

// A full disk at every stage: in the headers, in a frame, between frames, in the indexes.
TEST(AviWriter, AFullDiskLeavesAFileThatOpensOrNone) {
    signal(SIGXFSZ, SIG_IGN);
    std::vector<rlim_t> rooms{5000, 10250, 100000, 137000, 400000, 643000, 643300, 1300000};
    for (rlim_t room = 389500; room < 389900; room += 10)
        rooms.push_back(room); // the second segment of the short ones
    for (const rlim_t room : rooms) {
        for (const std::uint64_t limit : {std::uint64_t{1} << 30, std::uint64_t{500000}}) {
            SCOPED_TRACE(std::to_string(room) + " of " + std::to_string(limit));
            std::filesystem::remove(target());
            struct rlimit bound {};
            getrlimit(RLIMIT_FSIZE, &bound);
            const rlim_t before = bound.rlim_cur;
            bound.rlim_cur = room;
            setrlimit(RLIMIT_FSIZE, &bound);
            auto writer = AviWriter::create(target().c_str(), formatOf(true, limit));
            int added = 0;
            if (writer) {
                while (added < 12 && writer->add(frameNumber(added), std::vector<std::uint8_t>(6408)))
                    ++added;
                EXPECT_FALSE(writer->close());
            }
            writer.reset();
            bound.rlim_cur = before;
            setrlimit(RLIMIT_FSIZE, &bound);
            EXPECT_LT(added, 12);
            EXPECT_EQ(std::filesystem::exists(target()), added > 0);
            EXPECT_EQ(added > 0 ? framesIn(target()) : 0, added);
            if (added == 0) continue;
            EXPECT_EQ(endOfSegments(target()), std::filesystem::file_size(target()));
        }
    }
}
