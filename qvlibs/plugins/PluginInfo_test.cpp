// The wrappers around the exports: what reaches the module, what comes back, and what a missing module or
// export gives.
#include "qvlibs/plugins/PluginInfo.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/platform/GlobalMemory.h"
#include "qvlibs/plugins/plugin_api.h"
#include "tests/support/ModuleFolder.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>

namespace fs = std::filesystem;

namespace {

using Plugin = std::unique_ptr<CPluginInfo>;
using Call = std::uintptr_t (*)(CPluginInfo& plugin, ULONG ticket, const char* path);

char bytes[200000];
ULONG word;
LONG number;
int flag;
QVFRAMEREQUEST request;
QVPICTUREINFO picture;
WAVEFORMATEX wave;
BITMAPINFOHEADER header;

#define CALL(expression)                                                                                     \
    [](CPluginInfo& p, [[maybe_unused]] ULONG t, [[maybe_unused]] const char* path) {                        \
        return (std::uintptr_t)(expression);                                                                 \
    }

// What each wrapper gives without module and without export, and what a module that has it sees. Handles and
// pointers have 0 for both; an empty text = not noted or looked at elsewhere.
const struct {
    const char* name;
    Call call;
    ULONG noModule, noExport;
    const char* seen;
} kWrappers[] = {
    {"GetNumOfSupportedExtentions", CALL(p.GetNumOfSupportedExtentions(nullptr)), 0, 0, ""},
    {"GetSupportedExtention", CALL(p.GetSupportedExtention(7, bytes)), 14, 9, ""},
    {"Investigate", CALL(p.Investigate(path, &flag, &word)), 14, 9, "Investigate"},
    {"IsSupported", CALL(p.IsSupported(path, &flag)), 14, 9, ""},
    {"Decode", CALL(p.Decode(path)), 0, 0, ""},
    {"DecodeAtLeast", CALL(p.DecodeAtLeast(path, 8, 4)), 0, 0, ""},
    {"GetStillImageInfo", CALL(p.GetStillImageInfo(path, &picture)), 14, 9, "GetStillImageInfo"},
    {"Encode", CALL(p.Encode(nullptr, path, -5, 6)), 14, 9, "Encode(0, -5, 6)"},
    {"OpenR", CALL(p.OpenR(path, 64)), 0, 0, "OpenR(64)"},
    {"GetTotalFrames", CALL(p.GetTotalFrames(t)), 14, 9, "GetTotalFrames()"},
    {"GetMiliseconds", CALL(p.GetMiliseconds(t)), 14, 9, "GetMiliseconds()"},
    {"GetTotalSamples", CALL(p.GetTotalSamples(t, 1)), 14, 9, "GetTotalSamples(1)"},
    {"GetTotalSamples", CALL(p.GetTotalSamples(t)), 14, 9, "GetTotalSamples(0)"},
    {"GetVideo", CALL(p.GetVideo(t, -3, 0x80000001u)), 0, 0, "GetVideo(-3, 0x80000001)"},
    {"GetVideoEx", CALL(p.GetVideoEx(t, 4, bytes, 2)), 14, 9, "GetVideoEx(4, set, 0x2)"},
    {"GetVideoParam", CALL(p.GetVideoParam(t, &request, 9)), 0, 0,
     "GetVideoParam(9, size=68 version=0 width=4 height=2 bits=0 display=0x0 decode=0 type=0 field=0 "
     "flags=0x0)"},
    {"GetDIBfromLastParam", CALL(p.GetDIBfromLastParam(t, &request, 9, nullptr)), 0, 0,
     "GetDIBfromLastParam(9, 4x2, null)"},
    {"GetDif", CALL(p.GetDif(t, 5, bytes, -1, bytes, &number)), 14, 9, "GetDif(5, set, -1, set, set)"},
    {"GetAudio", CALL(p.GetAudio(t, -7, 8, nullptr, &number)), 14, 9, "GetAudio(-7, 8, null, 0)"},
    {"GetFccHeader", CALL(p.GetFccHeader(t, &word)), 14, 9, "GetFccHeader()"},
    {"GetVideoRate", CALL(p.GetVideoRate(t, &word, &word)), 14, 9, "GetVideoRate()"},
    {"GetAudioFormat", CALL(p.GetAudioFormat(t, &wave)), 14, 9, "GetAudioFormat()"},
    {"GetVideoFormat", CALL(p.GetVideoFormat(t, &header)), 14, 9, "GetVideoFormat()"},
    {"GetVideoCompressionRate", CALL(p.GetVideoCompressionRate(t)), 14, 9, "GetVideoCompressionRate()"},
    {"GetAudioCompressionRate", CALL(p.GetAudioCompressionRate(t)), 14, 9, "GetAudioCompressionRate()"},
    {"GetVideoAverageRate", CALL(p.GetVideoAverageRate(t)), 14, 9, "GetVideoAverageRate()"},
    {"OpenW", CALL(p.OpenW(path, -1)), 0, 0, "OpenW(-1)"},
    {"Write", CALL(p.Write(t, &header, bytes, -2)), 14, 9, "Write(0x0, set, -2)"},
    {"Write2", CALL(p.Write2(t, &header, 3, bytes, 4)), 14, 9, "Write2(0x0, 3, set, 4)"},
    {"WriteDif", CALL(p.WriteDif(t, bytes, nullptr, 5)), 14, 9, "WriteDif(set, null, 5)"},
    {"WriteDif2", CALL(p.WriteDif2(t, nullptr, 6, bytes, 7)), 14, 9, "WriteDif2(null, 6, set, 7)"},
    {"SetParameters", CALL(p.SetParameters(t, 1, -2, 3)), 14, 9, "SetParameters(1, -2, 3)"},
    {"ResetCodec", CALL(p.ResetCodec(t)), 14, 9, "ResetCodec()"},
    {"SetTotalSample", CALL(p.SetTotalSample(t, 19200000000000, 1)), 14, 9,
     "SetTotalSample(19200000000000, 1)"},
    {"GetFileInfo", CALL(p.GetFileInfo(path, 4, &word)), 14, 9, "GetFileInfo(4, set)"},
    {"GetFileData", CALL(p.GetFileData(t, 2, nullptr, 0)), 14, 9, "GetFileData(2, null)"},
    {"GetDib", CALL(p.GetDib(t, 11, bytes)), 14, 9, "GetDib(11, set)"},
    {"SetDibSize", CALL(p.SetDibSize(t, 720, -480)), 14, 9, "SetDibSize(720, -480)"},
    {"CloseW", CALL(p.CloseW(t)), 14, 9, "CloseW()"},
    {"CloseR", CALL(p.CloseR(t)), 14, 9, "CloseR()"},
};

Plugin onlyPlugin(const char* pattern) { return Plugin(CPluginEnumerator().Next(pattern)); }

} // namespace

TEST(PluginInfo, MissingModulesAndExportsHaveFixedResults) {
    qv::test::restartWithModules({{"accept_none", "empty.vcp"}, {"stray", "stray.acp"}});
    CPluginInfo nothing("", nullptr);
    const Plugin without = onlyPlugin("*.vcp");
    ASSERT_NE(without, nullptr);
    for (const auto& row : kWrappers) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.call(nothing, 1, "/x"), row.noModule);
        const bool has = std::string("IsSupported OpenR").find(row.name) != std::string::npos;
        if (has) continue;
        EXPECT_EQ(row.call(*without, 1, "/x"), row.noExport);
    }
    ULONG error = 0;
    EXPECT_EQ(nothing.GetNumOfSupportedExtentions(&error), 0u);
    EXPECT_EQ(error, 14u);
    EXPECT_EQ(without->GetNumOfSupportedExtentions(&error), 0u);
    EXPECT_EQ(error, 9u);
    EXPECT_EQ(nothing.Decode("/x", &error), nullptr);
    EXPECT_EQ(error, 14u);
    EXPECT_EQ(without->Decode("/x", &error), nullptr);
    EXPECT_EQ(error, 9u);
    flag = 3;
    word = 4;
    nothing.Investigate("/x", &flag, &word);
    EXPECT_TRUE(flag == 3 && word == 4) << "nobody answered";
}

TEST(PluginInfo, CallsReachTheModuleAndItsResultsComeBack) {
    qv::test::restartWithModules({{"scripted", "scripted.vcp"}});
    const fs::path path = qv::test::home() / "a.fake";
    std::map<std::string, ULONG> results; // one for each, so that no two are mistaken
    std::string script = "qvfake\nGetDif.size=8\n";
    for (const auto& row : kWrappers) {
        results.try_emplace(row.name, static_cast<ULONG>(100 + results.size()));
        script.append(row.name).append("=").append(std::to_string(results[row.name])).append("\n");
    }
    qv::test::writeFile(path, script);
    const Plugin plugin = onlyPlugin("*.vcp");
    ASSERT_NE(plugin, nullptr);
    request = {};
    request.size = sizeof request;
    request.width = 4;
    request.height = 2;
    number = 0;
    ULONG ticket = plugin->OpenR(path.c_str(), 0);
    ASSERT_NE(ticket, 0u);
    for (const auto& row : kWrappers) {
        SCOPED_TRACE(row.name);
        fs::remove(path.string() + ".log");
        if (std::string(row.name) == "CloseR")
            ticket = plugin->OpenR(path.c_str(), 0); // CloseW took the other
        const auto answer = row.call(*plugin, ticket, path.c_str());
        if (!*row.seen) continue;
        const auto calls = qv::test::scriptedCalls(path);
        ASSERT_FALSE(calls.empty());
        EXPECT_EQ(calls.back(), row.seen);
        const bool handsOut = row.noModule == 0 && std::string(row.name) != "GetVideoParam";
        if (handsOut) {
            EXPECT_NE(answer, 0u);
        } else {
            EXPECT_EQ(answer, results[row.name]);
        }
    }
    ULONG error = 5;
    EXPECT_EQ(plugin->GetNumOfSupportedExtentions(&error), 2u);
    EXPECT_EQ(error, 0u);
    EXPECT_EQ(plugin->GetSupportedExtention(1, bytes), 0u);
    EXPECT_STREQ(bytes, "qvf");
    EXPECT_EQ(plugin->GetSupportedExtention(2, bytes), 1u);
    const HGLOBAL decoded = plugin->Decode(path.c_str(), &error);
    EXPECT_EQ(GlobalSize(decoded), 40u + 48 * 8) << "the block is the library's kind of block";
    EXPECT_EQ(error, 0u);
    GlobalFree(decoded);
}

TEST(PluginInfo, OlderWritersGetCallsWithoutTheType) {
    qv::test::restartWithModules({{"without_write2", "old.vcp"}});
    const Plugin plugin = onlyPlugin("*.vcp");
    ASSERT_NE(plugin, nullptr);
    EXPECT_EQ(plugin->Write2(1, reinterpret_cast<BITMAPINFOHEADER*>(bytes), 2, bytes + 40, 1234), 1234u);
    EXPECT_EQ(plugin->WriteDif2(1, bytes, 2, bytes + 40, 4321), 4321u);
}

TEST(PluginInfo, NamesOfACodecLibraryAreNotTheModulesOwn) {
    qv::test::restartWithModules({{"stray", "stray.vcp"}});
    const Plugin plugin = onlyPlugin("*.vcp");
    ASSERT_NE(plugin, nullptr) << "the module loads with its library";
    EXPECT_EQ(plugin->GetMiliseconds(4), 7u) << "and uses it";
    EXPECT_EQ(plugin->Write(1, &header, bytes, 0), 9u);
    EXPECT_EQ(plugin->Write2(1, &header, 0, bytes, 0), 9u);
    EXPECT_EQ(plugin->Encode(nullptr, "/x", 0, 0), 9u);
    EXPECT_EQ(plugin->GetTotalFrames(1), 9u);
    EXPECT_EQ(plugin->GetVideo(1, 0, 0), nullptr);
}

TEST(PluginInfo, APluginMayAskForPluginsWhileItIsAsked) {
    qv::test::restartWithModules({{"nested", "nested.pcp"}});
    const Plugin plugin(LoadPlugIns("*.pcp", "/x.jpg"));
    ASSERT_NE(plugin, nullptr);
    picture = {};
    EXPECT_EQ(plugin->GetStillImageInfo("/x.jpg", &picture), 0u);
    EXPECT_EQ(picture.width, plugin->path.GetLength());
}

TEST(PluginInfo, CallsAreTracedByTheirNameExceptTheSmallOnes) {
    qv::test::restartWithModules({{"accept_all", "a.vcp"}});
    static std::string traced;
    qv::setTraceSink([](std::string_view text) { traced += text; });
    const Plugin plugin = onlyPlugin("*.vcp");
    plugin->GetMiliseconds(1);
    plugin->GetVideoParam(1, &request, 0);
    plugin->SetTotalSample(1, 0, 0);
    plugin->GetDib(1, 0, bytes);
    plugin->ResetCodec(1);
    qv::setTraceSink(nullptr);
    EXPECT_NE(traced.find("CPluginInfo::GetMiliseconds"), std::string::npos) << traced;
    EXPECT_NE(traced.find("CPluginInfo::GetVideoParam"), std::string::npos);
    for (const char* silent : {"SetTotalSample", "GetDib", "ResetCodec"})
        EXPECT_EQ(traced.find(silent), std::string::npos) << silent;
}
