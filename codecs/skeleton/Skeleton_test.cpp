// The example module works as it stands, through the library and with plain C behind it.
#include "qvlibs/plugins/PluginInfo.h"
#include "qvlibs/plugins/plugin_api.h"
#include "qvlibs/util/Bytes.h"
#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <memory>

namespace fs = std::filesystem;

namespace {

// Two frames of 3x2 pixels: rows of 9 bytes, padded to 12.
std::string movie(unsigned width = 3, unsigned height = 2, unsigned frames = 2) {
    qv::ByteWriter out;
    out.bytes("RAWM", 4);
    out.u32(width);
    out.u32(height);
    out.u32(frames);
    for (int i = 0; i < 48; ++i) out.u8(static_cast<std::uint8_t>(i));
    return {reinterpret_cast<const char*>(out.data().data()), out.size()};
}

} // namespace

TEST(Skeleton, ReadsAMovieThroughTheLibrary) {
    qv::test::restartWithModules({{"skeleton", "skeleton.vcp"}});
    const fs::path path = qv::test::home() / "a.rawmovie";
    qv::test::writeFile(path, movie());
    const std::unique_ptr<CPluginInfo> plugin(LoadVideoCodecPlugIn(path.c_str()));
    ASSERT_NE(plugin, nullptr);
    const ULONG stream = plugin->OpenR(path.c_str(), QV_OPEN_NORMAL);
    ASSERT_NE(stream, 0u);
    EXPECT_EQ(plugin->GetTotalFrames(stream), 2u);
    EXPECT_EQ(plugin->GetMiliseconds(stream), 80u);
    BITMAPINFOHEADER format{};
    EXPECT_EQ(plugin->GetVideoFormat(stream, &format), 0u);
    EXPECT_EQ(format.biWidth, 3);
    EXPECT_EQ(format.biBitCount, 24);
    EXPECT_EQ(format.biSizeImage, 24u);

    QVFRAMEREQUEST request{};
    request.size = sizeof request;
    EXPECT_EQ(plugin->GetVideoParam(stream, &request, 1), 0u);
    BYTE bits[24] = {};
    EXPECT_EQ(plugin->GetDIBfromLastParam(stream, &request, 1, bits), bits);
    EXPECT_EQ(bits[0], 24) << "the second frame's first byte";
    EXPECT_EQ(plugin->GetDIBfromLastParam(stream, &request, 2, bits), nullptr);
    ASSERT_NE(plugin->GetVideo(stream, 0, 0), nullptr);
    EXPECT_EQ(plugin->GetVideo(stream, -1, 0), nullptr);

    EXPECT_EQ(plugin->CloseR(stream), 0u);
    EXPECT_NE(plugin->CloseR(stream), 0u) << "a closed ticket is refused";
    EXPECT_NE(plugin->OpenR(path.c_str(), 0), stream) << "and does not fit the next file";
    EXPECT_EQ(plugin->GetTotalSamples(stream, 0), QV_PLUGIN_NO_EXPORT) << "there is no sound";
}

TEST(Skeleton, RefusesWhatIsNotAMovie) {
    qv::test::restartWithModules({{"skeleton", "skeleton.vcp"}});
    const struct {
        const char* name;
        std::string bytes;
        bool accepted;
    } rows[] = {
        {"good.rawmovie", movie(), true},        {"name.raw", movie(), false},
        {"empty.rawmovie", "", false},           {"short.rawmovie", movie().substr(0, 15), false},
        {"nothing.rawmovie", movie(0), false},   {"huge.rawmovie", movie(3, 0x80000000u), false},
        {"cut.rawmovie", movie(3, 2, 3), false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const fs::path path = qv::test::home() / row.name;
        qv::test::writeFile(path, row.bytes);
        const std::unique_ptr<CPluginInfo> plugin(LoadVideoCodecPlugIn(path.c_str()));
        EXPECT_EQ(plugin != nullptr, row.accepted);
    }
}
