#include "qvlibs/media/MovieWriter.h"

#include "qvlibs/framework/MediaHeaders.h"
#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

using namespace qv::test;

namespace {

std::string target(const std::string& script) {
    const auto path = home() / "out.fake";
    writeFile(path.string() + ".script", "qvfake\n" + script);
    return path.string();
}

std::string lastCall() {
    const auto calls = scriptedCalls(home() / "out.fake");
    return calls.empty() ? "" : calls.back();
}

} // namespace

TEST(MovieWriter, EveryCallReachesThePlugIn) {
    restartWithModules({{"scripted", "scripted.vcp"}});
    void* const movie = QVTLAVIInitCreateAVI(target("WriteDif=7\nCloseW=3\n").c_str(), 1);
    ASSERT_TRUE(movie);
    EXPECT_EQ(lastCall(), "OpenW(1)");
    BITMAPINFOHEADER header{};
    header.biWidth = 720;
    header.biHeight = 576;
    auto* const bytes = reinterpret_cast<unsigned char*>(&header);
    EXPECT_EQ(QVTLAVIWrite(movie, bytes, bytes, 4), 0u);
    EXPECT_EQ(lastCall(), "Write(720x576, set, 4)");
    EXPECT_EQ(QVTLAVIWriteDIF(movie, bytes, nullptr, 5), 7u) << "the plug-in's own result";
    EXPECT_EQ(QVTLAVIWriteDIF2(movie, bytes, DIB_TYPE_16_9, bytes, 6), 0u);
    EXPECT_EQ(lastCall(), "WriteDif2(set, 2, set, 6)");
    EXPECT_EQ(QVTLAVISetParameters(movie, 1, 2, 3), 0u);
    EXPECT_EQ(QVTLAVIResetCodec(movie), 0u);
    EXPECT_EQ(lastCall(), "ResetCodec()");
    EXPECT_EQ(QVTLAVIOpenW(movie, "elsewhere", 0), 15u) << "one is open";
    EXPECT_EQ(QVTLAVICloseCreateAVI(movie), 3u);
}

TEST(MovieWriter, AWriterCanBeOpenedLater) {
    restartWithModules({{"scripted", "scripted.vcp"}});
    const std::string path = target("");
    void* const movie = QVTLAVIInitCreateAVI(path.c_str(), -1);
    ASSERT_TRUE(movie);
    EXPECT_EQ(lastCall(), "") << "nothing is opened yet";
    EXPECT_EQ(QVTLAVIWriteDIF(movie, nullptr, nullptr, 0), 1u)
        << "the plug-in is asked, and refuses ticket 0";
    EXPECT_EQ(QVTLAVIOpenW(movie, (home() / "no script").c_str(), 0), 1u);
    EXPECT_EQ(QVTLAVIOpenW(movie, path.c_str(), 0), 0u);
    EXPECT_EQ(QVTLAVIOpenW(movie, path.c_str(), 0), 15u);
    EXPECT_EQ(QVTLAVICloseCreateAVI(movie), 0u);
    EXPECT_EQ(QVTLAVIOpenW(nullptr, path.c_str(), 0), 14u);
    EXPECT_EQ(QVTLAVIResetCodec(nullptr), 14u);
    EXPECT_FALSE(QVTLAVIInitCreateAVI(target("OpenW=0\n").c_str(), 0));
    EXPECT_FALSE(QVTLAVIInitCreateAVI((home() / "nobody's").c_str(), 0));
}

TEST(MovieWriter, AModuleThatCannotWriteAnswersNine) {
    restartWithModules({{"accept_all", "reader.vcp"}});
    const std::string path = home() / "out.any";
    EXPECT_FALSE(QVTLAVIInitCreateAVI(path.c_str(), 0));
    void* const movie = QVTLAVIInitCreateAVI(path.c_str(), -1);
    ASSERT_TRUE(movie);
    unsigned char bytes[40] = {};
    EXPECT_EQ(QVTLAVIOpenW(movie, path.c_str(), 1), 1u);
    EXPECT_EQ(QVTLAVIWrite(movie, bytes, bytes, 0), 9u);
    EXPECT_EQ(QVTLAVIWrite2(movie, bytes, DIB_TYPE_4_3, bytes, 0), 9u);
    EXPECT_EQ(QVTLAVIWriteDIF(movie, bytes, nullptr, 0), 9u);
    EXPECT_EQ(QVTLAVIWriteDIF2(movie, bytes, DIB_TYPE_4_3, nullptr, 0), 9u);
    EXPECT_EQ(QVTLAVISetParameters(movie, 0, 0, 0), 9u);
    EXPECT_EQ(QVTLAVIResetCodec(movie), 9u);
    EXPECT_EQ(QVTLAVICloseCreateAVI(movie), 9u);
    EXPECT_EQ(QVTLAVIWrite(nullptr, bytes, bytes, 0), 14u);
    EXPECT_EQ(QVTLAVIWriteDIF2(nullptr, bytes, DIB_TYPE_4_3, nullptr, 0), 14u);
}
