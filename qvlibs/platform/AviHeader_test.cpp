#include "qvlibs/platform/AviHeader.h"

#include "tests/support/AviMaker.h"
#include "tests/support/TestSupport.h"

#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace qv;
using namespace qv::test;

namespace {

constexpr DWORD kVids = makeFourCC('v', 'i', 'd', 's');
constexpr DWORD kAuds = makeFourCC('a', 'u', 'd', 's');

AviBytes bytesOf(const std::string& data) {
    return {[&data](std::uint64_t at, void* buffer, size_t count) {
                if (at >= data.size()) return size_t{0};
                const size_t got = std::min<size_t>(count, data.size() - at);
                std::memcpy(buffer, data.data() + at, got);
                return got;
            },
            data.size()};
}

std::vector<size_t> positionsOf(const std::string& file, int stream = 0) {
    const AviBytes bytes = bytesOf(file);
    const auto header = readAviHeader(bytes);
    if (!header) return {};
    std::vector<size_t> positions;
    for (const auto& chunk : readAviIndex(bytes, *header, stream)) {
        positions.push_back(chunk.position);
        if (chunk.position + chunk.size > file.size()) ADD_FAILURE() << "chunk past the end";
    }
    return positions;
}

AviPlan smallPlan() {
    AviPlan plan;
    for (int i = 0; i < 12; ++i) plan.frames.push_back(std::string(30 + i, static_cast<char>('a' + i)));
    plan.sounds.assign(12, std::string(16, 's'));
    return plan;
}

} // namespace

TEST(AviHeader, ReadsWhatTheHeadersSay) {
    const std::string file = makeAvi(smallPlan());
    const auto header = readAviHeader(bytesOf(file));
    ASSERT_TRUE(header);
    EXPECT_EQ(header->width, 720u);
    EXPECT_EQ(header->height, 480u);
    EXPECT_EQ(header->microsecondsPerFrame, 33367u);
    ASSERT_EQ(header->streams.size(), 2u);
    EXPECT_EQ(header->find(kVids), 0);
    EXPECT_EQ(header->find(kAuds), 1);
    EXPECT_EQ(header->find(makeFourCC('t', 'x', 't', 's')), -1);
    const AviStream& video = header->streams[0];
    EXPECT_EQ(video.handler, makeFourCC('d', 'v', 's', 'd'));
    EXPECT_EQ(video.rate, 30000u);
    EXPECT_EQ(video.scale, 1001u);
    EXPECT_EQ(video.length, 12u);
    EXPECT_EQ(video.frame.right, 720);
    EXPECT_EQ(video.frame.bottom, 480);
    EXPECT_EQ(video.format.size(), 40u);
    EXPECT_EQ(header->streams[1].format.size(), 16u); // without the extra size, as many writers do
    EXPECT_EQ(header->length(1), 48u);
}

TEST(AviHeader, EveryKindOfIndexFindsTheSameFrames) {
    const struct {
        const char* name;
        AviIndex index;
        bool rec;
        size_t segments;
    } rows[] = {
        {"old index", AviIndex::Old, false, 1},
        {"old index counted from the file's start", AviIndex::OldFromFileStart, false, 1},
        {"old index, rec lists", AviIndex::Old, true, 1},
        {"OpenDML", AviIndex::OpenDml, false, 1},
        {"OpenDML, three segments", AviIndex::OpenDml, false, 3},
        {"no index", AviIndex::None, false, 1},
        {"no index, rec lists", AviIndex::None, true, 1},
        {"no index, three segments", AviIndex::None, false, 3},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        AviPlan plan = smallPlan();
        plan.index = row.index;
        plan.inRecLists = row.rec;
        plan.segments = row.segments;
        std::vector<size_t> expected;
        const std::string file = makeAvi(plan, &expected);
        EXPECT_EQ(positionsOf(file), expected);
        EXPECT_EQ(positionsOf(file, 1).size(), 12u);
        EXPECT_TRUE(positionsOf(file, 2).empty());
    }
}

TEST(AviHeader, AnIndexedFileIsNotWalked) {
    AviPlan plan = smallPlan();
    plan.frames.assign(2000, std::string(100, 'f'));
    plan.sounds.clear();
    for (const AviIndex index : {AviIndex::Old, AviIndex::OpenDml}) {
        plan.index = index;
        const std::string file = makeAvi(plan);
        AviBytes bytes = bytesOf(file);
        size_t read = 0;
        bytes.read = [&, whole = bytes.read](std::uint64_t at, void* buffer, size_t count) {
            read += count;
            return whole(at, buffer, count);
        };
        const auto header = readAviHeader(bytes);
        ASSERT_TRUE(header);
        EXPECT_EQ(readAviIndex(bytes, *header, 0).size(), 2000u);
        EXPECT_LT(read, 2000u * 16 + 2000) << "more than headers and index were read";
    }
}

TEST(AviHeader, ALyingIndexIsNotBelieved) {
    const struct {
        const char* name;
        size_t entry;
        size_t field; // 4 flags, 8 offset, 12 size
        std::uint32_t value;
    } rows[] = {
        {"offset past the end", 5, 8, 0x7FFFFFFF}, {"size past the end", 5, 12, 0xFFFFFF00},
        {"twice the same place", 6, 8, 4},         {"first entry off by two", 0, 8, 6},
        {"last entry's size wrong", 11, 12, 7},
    };
    AviPlan plan = smallPlan();
    plan.sounds.clear();
    std::vector<size_t> expected;
    const std::string good = makeAvi(plan, &expected);
    const size_t index = good.rfind("idx1") + 8;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::string file = good;
        std::memcpy(file.data() + index + row.entry * 16 + row.field, &row.value, 4);
        EXPECT_EQ(positionsOf(file), expected);
    }
    std::string shorter = good; // an index that leaves out its last frames
    const std::uint32_t size = 16 * 7;
    std::memcpy(shorter.data() + index - 4, &size, 4);
    EXPECT_EQ(positionsOf(shorter), expected);
}

// What a killed writer leaves: list sizes still 0, no index for the last segment, a chunk cut in the middle.
TEST(AviHeader, AKilledWriterLeavesItsWholeFrames) {
    AviPlan plan = smallPlan();
    plan.sounds.clear();
    plan.index = AviIndex::None;
    std::vector<size_t> expected;
    std::string file = makeAvi(plan, &expected);
    for (const size_t at : {size_t{4}, file.find("movi") - 4}) std::memset(file.data() + at, 0, 4);
    file.resize(expected[9] + 10);
    expected.resize(9);
    EXPECT_EQ(positionsOf(file), expected);
}

TEST(AviHeader, UnindexedSegmentsFollowTheIndexedOnes) {
    AviPlan plan = smallPlan();
    plan.index = AviIndex::OpenDml;
    plan.segments = 3;
    std::vector<size_t> expected;
    std::string file = makeAvi(plan, &expected);
    const std::uint32_t one = 1; // only the first segment's index is known
    std::memcpy(file.data() + file.find("indx") + 12, &one, 4);
    EXPECT_EQ(positionsOf(file), expected);
}

TEST(AviHeader, EveryPrefixGivesTheWholeFramesInIt) {
    for (const AviIndex index : {AviIndex::Old, AviIndex::OpenDml}) {
        AviPlan plan = smallPlan();
        plan.index = index;
        std::vector<size_t> all;
        const std::string file = makeAvi(plan, &all);
        for (size_t size = 0; size < file.size(); ++size) {
            const auto positions = positionsOf(file.substr(0, size));
            size_t whole = 0;
            while (whole < all.size() && all[whole] + plan.frames[whole].size() <= size) ++whole;
            ASSERT_EQ(positions,
                      std::vector<size_t>(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(whole)))
                << "cut to " << size;
        }
    }
}

TEST(AviHeader, RefusesWhatIsNoAvi) {
    for (const std::string& bytes :
         {std::string(), std::string("RIFF"), std::string("just some text, no movie"),
          std::string("RIFF\x20\0\0\0WAVEfmt ", 16), std::string(500, '\0')}) {
        EXPECT_FALSE(readAviHeader(bytesOf(bytes)));
    }
}

TEST(AviHeader, ReadsFilesOfOtherWriters) {
    QV_NEEDS_MEDIA(media);
    const struct {
        const char* file;
        const char* type;
        size_t frames;
    } rows[] = {
        {"dv/derived/avi_camcorder_s01_ff_t2.avi", "vids", 2},
        {"dv/derived/avi_camcorder_s01_t1.avi", "iavs", 2},
        {"dv/derived/avi_camcorder_s01_t2.avi", "vids", 2},
        {"movies/androidx/sample.avi", "vids", 98}, // 96 frames and two empty chunks
        {"movies/generated/ff_mjpeg_pcm.avi", "vids", 15},
        {"movies/generated/ff_rgb24.avi", "vids", 5},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.file);
        const int descriptor = open((media / row.file).c_str(), O_RDONLY);
        ASSERT_GE(descriptor, 0);
        const AviBytes bytes = aviBytesOf(descriptor);
        const auto header = readAviHeader(bytes);
        EXPECT_TRUE(header);
        if (header) {
            const int stream = header->find(makeFourCC(row.type[0], row.type[1], row.type[2], row.type[3]));
            EXPECT_EQ(readAviIndex(bytes, *header, stream).size(), row.frames);
            EXPECT_EQ(walkAviChunks(bytes, *header, stream).size(), row.frames);
        }
        close(descriptor);
    }
}
