// QVTLAVIGetNonCompressedStreamEx2 against a plug-in that delivers what its script says.
#include "qvlibs/media/Qvavitools.h"

#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

using namespace qv::test;

namespace {

constexpr ULONG kCompressed = 0x1;
constexpr ULONG kReport = 0x100000;
constexpr ULONG kSecondField = 0x20000000;
constexpr ULONG kInterlaced = 0x40000000;

struct Movie {
    explicit Movie(const std::string& script) : path(home() / "movie.fake") {
        restartWithModules({{"scripted", "scripted.vcp"}});
        reopen(script);
    }
    ~Movie() { QVTLAVIFileClose(handle); }
    void reopen(const std::string& script) {
        if (handle) QVTLAVIFileClose(handle);
        writeFile(path, "qvfake\n" + script);
        std::filesystem::remove(path.string() + ".log");
        handle = QVTLAVIFileOpen(path.c_str(), 0);
    }
    // Asks for frame 7 as 16 x 8; the rows' numbers are in `rows` afterwards.
    ULONG ask(int type = 0, ULONG flags = 0, LONG width = 16, LONG height = 8, ULONG* value = nullptr,
              ULONG* value2 = nullptr) {
        buffer.assign(8192, 0xEE);
        const ULONG result = QVTLAVIGetNonCompressedStreamEx2(
            handle, 7, buffer.data(), width, height, static_cast<DIB_TYPE>(type), 0, MOVIE_DECODE_DEFAULT,
            RESIZE_METHOD_LINEAR, flags, value, value2);
        rows.clear();
        for (LONG y = 0; y < height; ++y)
            rows.push_back(buffer[static_cast<size_t>(y * ((width * 3 + 3) / 4 * 4) + 1)]);
        return result;
    }
    std::string calls() const {
        std::string all;
        for (const auto& call : scriptedCalls(path)) all += call + "\n";
        return all;
    }

    std::filesystem::path path;
    void* handle = nullptr;
    std::vector<unsigned char> buffer;
    std::vector<int> rows;
};

} // namespace

TEST(FrameRequest, TheRecordSaysWhatIsWanted) {
    Movie movie("");
    EXPECT_EQ(movie.ask(2, 0x2000000, 160, 12), 0u);
    EXPECT_NE(
        movie.calls().find("GetVideoParam(7, size=68 version=1 width=160 height=12 bits=24 display=12x0 "
                           "decode=0 type=2 field=2 flags=0x2000000)"),
        std::string::npos)
        << movie.calls();
    movie.ask(0, 0x3000000);
    EXPECT_NE(movie.calls().find("field=1"), std::string::npos) << "mode 1 goes before mode 2";
}

TEST(FrameRequest, AMatchGoesStraightIntoTheBuffer) {
    Movie movie("");
    EXPECT_EQ(movie.ask(), 0u);
    EXPECT_EQ(movie.rows, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(movie.buffer[2], 7) << "the frame asked for";
    EXPECT_NE(movie.calls().find("GetDIBfromLastParam(7, 16x8, set)"), std::string::npos);
}

TEST(FrameRequest, WhichLayoutsMatch) {
    const struct {
        const char* delivered;
        int wanted;
        ULONG flags;
        bool straight;
    } rows[] = {
        {"GetVideoParam.dibType=3\n", 1, 0, true},
        {"GetVideoParam.dibType=1\n", 3, 0, false},
        {"GetVideoParam.dibType=2\n", 2, 0, true},
        {"GetVideoParam.dibType=2\n", 0, 0, true},
        {"GetVideoParam.dibType=2\n", 1, 0, false},
        {"GetVideoParam.fieldMode=2\n", 0, 0, true}, // put back to 0
        {"GetVideoParam.fieldMode=2\n", 0, 0x1000000, false},
        {"GetVideoParam.decodeType=3\n", 0, 0, false},
    };
    Movie movie("");
    for (const auto& row : rows) {
        movie.reopen(row.delivered);
        EXPECT_EQ(movie.ask(row.wanted, row.flags), 0u);
        EXPECT_EQ(movie.calls().find("null)") == std::string::npos, row.straight)
            << row.delivered << movie.calls();
    }
}

TEST(FrameRequest, AnInterlacedPictureIsDoubledUnlessBothFieldsAreWanted) {
    Movie movie("GetVideoParam.flags=0x40000000\n");
    movie.ask();
    EXPECT_EQ(movie.rows, (std::vector<int>{0, 0, 2, 2, 4, 4, 6, 6}));
    movie.ask(0, kSecondField);
    EXPECT_EQ(movie.rows, (std::vector<int>{1, 1, 3, 3, 5, 5, 7, 7}));
    movie.ask(0, kInterlaced);
    EXPECT_EQ(movie.rows, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
    movie.reopen("GetVideoParam.flags=0\n"); // the plug-in's word counts, not the wish
    movie.ask();
    EXPECT_EQ(movie.rows, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

// Rows of the plug-in's picture carry their number, so those of the result tell which field they come from.
TEST(FrameRequest, OtherSizesArePackedAndResized) {
    const struct {
        const char* what;
        const char* script;
        ULONG flags;
        LONG height;
        std::vector<int> rows;
    } table[] = {
        {"one field, one row late", "GetVideoParam.flags=0x40000000\n", 0, 4, {0, 0, 2, 4}},
        {"second field", "GetVideoParam.flags=0x40000000\n", kSecondField, 4, {1, 3, 5, 7}},
        {"both wanted, half the height: always the second",
         "GetVideoParam.flags=0x40000000\n",
         kInterlaced,
         4,
         {1, 3, 5, 7}},
        {"both wanted, progressive, half the height",
         "GetVideoParam.flags=0\n",
         kInterlaced,
         4,
         {1, 3, 5, 7}},
        {"progressive, the same height", "GetVideoParam.flags=0\n", 0, 8, {0, 1, 2, 3, 4, 5, 6, 7}},
    };
    Movie movie("");
    for (const auto& row : table) {
        SCOPED_TRACE(row.what);
        movie.reopen(std::string("GetVideoParam.width=32\nGetVideoParam.height=8\n") + row.script);
        EXPECT_EQ(movie.ask(0, row.flags, 16, row.height), 0u);
        EXPECT_EQ(movie.rows, row.rows);
    }
    // More than half the height: the fields are converted apart from each other.
    movie.reopen("GetVideoParam.width=32\nGetVideoParam.height=8\nGetVideoParam.flags=0x40000000\n");
    EXPECT_EQ(movie.ask(0, kInterlaced, 16, 8), 0u);
    EXPECT_EQ(movie.rows, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST(FrameRequest, CompressedDataIsCopiedWhereItFits) {
    const std::string offered = "GetVideoParam=6\nGetVideoParam.compressedSize=5\n";
    Movie movie(offered);
    EXPECT_EQ(movie.ask(0, kCompressed), 2304u);
    EXPECT_EQ(movie.buffer[4], 11);
    EXPECT_EQ(movie.buffer[5], 0xEE);
    movie.reopen(offered + "GetVideoParam.dibType=2\n");
    EXPECT_EQ(movie.ask(1), 0u) << "another layout: decoded";
    movie.reopen("GetVideoParam=6\n");
    EXPECT_EQ(movie.ask(), 1u) << "promised, but not there";
}

TEST(FrameRequest, FailuresArePassedOn) {
    Movie movie("GetVideoParam=3\nGetVideoParam.streamValue=4\n");
    ULONG value = 0;
    EXPECT_EQ(movie.ask(0, 0, 16, 8, &value), 3u);
    EXPECT_EQ(value, 4u) << "stored before the result is looked at";
    movie.reopen("GetDIBfromLastParam=0\n");
    EXPECT_EQ(movie.ask(), 1u);
    EXPECT_EQ(movie.ask(0, 0, 16, 4), 1u);
    EXPECT_EQ(movie.calls().find("GetVideoEx"), std::string::npos);
}

TEST(FrameRequest, ChangesOfTheStreamMakeItDecode) {
    const struct {
        int fromPlugin;
        ULONG flags;
        ULONG known, stored, result;
    } rows[] = {
        {0, kReport, 5, 0xFFFFFFFF, 2304}, // no value: no change
        {7, kReport, 5, 7, 0},             // changed
        {7, kReport, 7, 7, 2304},
        {0, 0, 5, 0, 2304}, // not asked to tell
        {7, 0, 5, 7, 2304},
    };
    Movie movie("");
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.fromPlugin) + " " + std::to_string(row.flags));
        movie.reopen("GetVideoParam=6\nGetVideoParam.compressedSize=5\nGetVideoParam.streamValue2=9\n"
                     "GetVideoParam.streamValue=" +
                     std::to_string(row.fromPlugin) + "\n");
        ULONG value = row.known;
        ULONG value2 = 0;
        EXPECT_EQ(movie.ask(0, row.flags, 16, 8, &value, &value2), row.result);
        EXPECT_EQ(value, row.stored);
        EXPECT_EQ(value2, 9u);
    }
}

// Without the two exports nothing would be written, so that must not count as done.
TEST(FrameRequest, AModuleWithoutTheExportsGivesNoPicture) {
    restartWithModules({{"accept_all", "accept_all.vcp"}});
    void* const handle = QVTLAVIFileOpen("whatever", 0);
    ASSERT_TRUE(handle);
    unsigned char buffer[16 * 8 * 3] = {};
    EXPECT_EQ(QVTLAVIGetNonCompressedStreamEx2(handle, 0, buffer, 16, 8, DIB_TYPE_AUTO, 0,
                                               MOVIE_DECODE_DEFAULT, RESIZE_METHOD_LINEAR, 0, nullptr,
                                               nullptr),
              1u);
    QVTLAVIFileClose(handle);
}
