#include "qvlibs/image/QVDib.h"
#include "qvlibs/media/DvBridge.h"
#include "qvlibs/media/Qvavitools.h"
#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

using namespace qv::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

// A movie behind a plug-in that does what its script says, and frame 7 of it.
class Movie {
public:
    explicit Movie(const std::string& script) : path_(home() / "movie.fake") {
        restartWithModules({{"scripted", "scripted.vcp"}, {"dvcodec.so"}, {"dvcodec-libav.so"}});
        std::filesystem::remove(path_.string() + ".log");
        writeFile(path_, "qvfake\n" + script);
        handle_ = QVTLAVIFileOpen(path_.c_str(), 0);
    }
    ~Movie() { QVTLAVIFileClose(handle_); }
    Movie(const Movie&) = delete;
    Movie& operator=(const Movie&) = delete;

    ULONG get() { return QVTLAVIGetCompressedStream(handle_, 7, dif.data()); }
    ULONG getWithSound() { return QVTLAVIGetCompressedStreamEx(handle_, 7, dif.data(), 5, sound, &length); }
    ULONG getAs(DIB_TYPE type, ULONG* value) {
        return QVTLAVIGetCompressedStream2(handle_, 7, dif.data(), 16, 8, type, RESIZE_METHOD_LINEAR, value,
                                           nullptr);
    }
    // What the plug-in was asked after it was opened.
    std::vector<std::string> calls() const {
        auto all = scriptedCalls(path_);
        all.erase(all.begin());
        return all;
    }
    // Whether there is a DV frame with a picture.
    bool isEncoded() {
        const std::unique_ptr<CQVDIB> picture(DEDVDIFtoDIB(dif.data(), {720, 480}, 24));
        return picture && picture->GetPixel(360, 240) != 0;
    }

    std::vector<unsigned char> dif = std::vector<unsigned char>(120000, 0xEE);
    unsigned char sound[64] = {};
    ULONG length = 64;

private:
    std::filesystem::path path_;
    void* handle_ = nullptr;
};

} // namespace

TEST(CompressedStream, ComesFromThePlugIn) {
    const struct {
        const char* script;
        ULONG result;
    } rows[] = {{"GetDif=0\n", 0}, {"GetDif=1\n", 1}, {"GetDif=5\n", 5}, {"GetDif=14\n", 14}};
    for (const auto& row : rows) {
        Movie movie(row.script);
        EXPECT_EQ(movie.get(), row.result);
        EXPECT_EQ(movie.dif[1], row.result == 0 ? 8 : 0xEE) << "nothing but the plug-in's own data";
        EXPECT_THAT(movie.calls(), ElementsAre("GetDif(7, set, 0, null, null)"));
    }
    Movie movie("GetDif.audio=12\n");
    EXPECT_EQ(movie.getWithSound(), 0u);
    EXPECT_EQ(movie.length, 12u);
    EXPECT_THAT(movie.calls(), ElementsAre("GetDif(7, set, 5, set, set)"));
    EXPECT_EQ(QVTLAVIGetCompressedStream(nullptr, 0, movie.dif.data()), 14u);
    EXPECT_EQ(QVTLAVIGetCompressedStreamEx(nullptr, 0, movie.dif.data(), 0, nullptr, nullptr), 14u);
}

TEST(CompressedStream, PicturesAreEncodedWhereThereIsNoDvData) {
    for (const char* size :
         {"GetVideoFormat.width=16\n", "GetVideoFormat.width=720\nGetVideoFormat.height=480\n"}) {
        SCOPED_TRACE(size);
        Movie movie(std::string("GetDif=9\n") + size);
        EXPECT_EQ(movie.get(), 0u);
        EXPECT_TRUE(movie.isEncoded());
        EXPECT_THAT(movie.calls(), ElementsAre("GetDif(7, set, 0, null, null)", "GetVideo(7, 0x1)"));
    }
    {
        Movie movie("GetDif=9\nGetAudio.length=20\n");
        EXPECT_EQ(movie.getWithSound(), 0u);
        EXPECT_TRUE(movie.isEncoded());
        EXPECT_EQ(movie.length, 20u);
        EXPECT_EQ(movie.calls().back(), "GetAudio(7, 1, set, 64)");
    }
    {
        Movie movie("GetDif=9\nGetAudio=1\n");
        EXPECT_EQ(movie.getWithSound(), 0u) << "sound that is missing costs no picture";
    }
    Movie movie("GetDif=9\nGetVideo=0\n");
    EXPECT_EQ(movie.get(), 9u);
    EXPECT_EQ(movie.getWithSound(), 9u);
    EXPECT_EQ(movie.dif[0], 0xEE);
}

// The result says what is left to do: 0 when compressed data is in the buffer, 2304 when a picture is.
TEST(CompressedStream, SwapsResultsOnPurpose) {
    const struct {
        const char* script;
        ULONG result;
    } rows[] = {{"GetVideoParam=6\nGetVideoParam.compressedSize=1000\n", 0},
                {"GetVideoParam=0\n", 2304},
                {"GetVideoParam=3\n", 3},
                {"GetVideoParam=9\n", 9},
                {"GetVideoParam.width=8\nGetDIBfromLastParam=0\n", 1}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.script);
        Movie movie(row.script);
        EXPECT_EQ(movie.getAs(DIB_TYPE_4_3, nullptr), row.result);
        EXPECT_THAT(movie.calls()[0], HasSubstr("width=16 height=8 bits=24"));
        EXPECT_THAT(movie.calls()[0], HasSubstr("decode=0 type=1 field=0 flags=0x40000001"));
        EXPECT_EQ(movie.dif[1] == 8, row.result == 0) << "data counts up from the frame's number";
        ULONG value = 0;
        EXPECT_EQ(movie.getAs(DIB_TYPE_4_3, &value), row.result);
        EXPECT_THAT(testing::PrintToString(movie.calls()), HasSubstr("flags=0x40100001"));
    }
    Movie movie("GetDif=4\n");
    EXPECT_EQ(movie.getAs(DIB_TYPE_AUTO, nullptr), 4u);
    EXPECT_THAT(movie.calls(), ElementsAre(StartsWith("GetDif"))) << "without a type nothing is decoded";
}
