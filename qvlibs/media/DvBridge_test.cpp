#include "qvlibs/media/DvBridge.h"

#include "qvlibs/image/QVDib.h"
#include "qvlibs/platform/Processor.h"
#include "qvlibs/platform/Registry.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

namespace {

constexpr const char* kServerKey =
    "Software\\Classes\\CLSID\\{0F1AAC3A-124E-4C4A-A05E-DEB8742761C6}\\InprocServer32";

void setServer(const std::filesystem::path& module) {
    const std::string path = module.string();
    qv::registry::writeValue(HKEY_LOCAL_MACHINE, kServerKey, "", qv::registry::Type::Text,
                             std::string_view(path.c_str(), path.size() + 1));
}

// What a component that only takes notes was asked by `work`; calls named in `fail` fail.
template <class Work>
std::string asked(Work&& work, const char* fail = "") {
    const auto notes = qv::test::home() / "notes";
    std::filesystem::remove(notes);
    qv::test::writeFile(notes, "");
    setenv("QV_DV_RECORD", notes.c_str(), 1);
    setenv("QV_DV_FAIL", fail, 1);
    setServer(qv::test::buildFolder() / "tests/fakes/dv_recorder.so");
    work();
    return qv::test::readFile(notes);
}

void usePal() {
    qv::test::restartWith([] { QVWriteProfileInt("Common", "SystemInfo", 1, 0); });
}

std::unique_ptr<CQVDIB> soft(int height) {
    auto picture = std::make_unique<CQVDIB>();
    picture->Init({720, height}, 24, new unsigned char[static_cast<size_t>(2160 * height)]);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < 720; ++x) {
            picture->SetPixel(x, y, static_cast<ULONG>(x / 3 | (y / 3) << 8 | 128 << 16));
        }
    }
    return picture;
}

int channelGap(ULONG a, ULONG b) {
    int gap = 0;
    for (const int shift : {0, 8, 16}) {
        gap =
            std::max(gap, std::abs(static_cast<int>(a >> shift & 255) - static_cast<int>(b >> shift & 255)));
    }
    return gap;
}

} // namespace

TEST(DvBridge, SizesOfBothSystems) {
    const struct {
        ULONG option, cx, cy, result;
    } rows[] = {{1, 720, 480, 0}, {2, 360, 240, 0}, {3, 360, 240, 0}, {4, 180, 120, 0},
                {5, 0, 0, 0},     {7, 0, 0, 0},     {8, 88, 60, 0},   {0, 0, 0, 1},
                {9, 0, 0, 1},     {15, 0, 0, 1},    {16, 0, 0, 1},    {0x12104, 180, 120, 0}};
    for (const auto& row : rows) {
        ULONG cx = 7;
        ULONG cy = 7;
        EXPECT_EQ(DEDVGetDecoderSize(row.option, &cx, &cy), row.result) << row.option;
        EXPECT_EQ(cx, row.cx) << row.option;
        EXPECT_EQ(cy, row.cy) << row.option;
        EXPECT_EQ(DEDVGetDecoderSizeEx(row.option),
                  CSize(static_cast<int>(row.cx), static_cast<int>(row.cy)));
    }
}

TEST(DvBridge, SizesOfPal) {
    usePal();
    for (const auto& [option, cx, cy] :
         {std::tuple{1u, 720, 576}, {3u, 360, 288}, {4u, 180, 144}, {8u, 88, 72}}) {
        EXPECT_EQ(DEDVGetDecoderSizeEx(option), CSize(cx, cy));
    }
}

TEST(DvBridge, OptionOfABitmapIsByWidthAndDepth) {
    const struct {
        int width, height, bits;
        ULONG option;
    } rows[] = {{720, 480, 24, 0x2101}, {720, 10, 24, 0x2101}, {360, 240, 16, 0x2202}, {180, 120, 15, 0x2404},
                {88, 60, 24, 0x2108},   {100, 60, 24, 0x2100}, {720, 480, 32, 0},      {720, 480, 8, 0}};
    for (const auto& row : rows) {
        CQVDIB picture({row.width, row.height}, row.bits);
        EXPECT_EQ(DEDVMakeDecoderOptionFromDIB(&picture), row.option) << row.width << " " << row.bits;
    }
    EXPECT_EQ(DEDVMakeDecoderOptionFromDIB(nullptr), 0u);
}

TEST(DvBridge, ComponentsAreAskedWithOptionWordsAndBlocks) {
    std::vector<unsigned char> frame(144000);
    std::vector<unsigned char> bits(2160 * 576);
    EXPECT_EQ(asked([&] {
                  void* handle = nullptr;
                  EXPECT_EQ(DEDVOpenDVCDecoder(0x1000020, &handle), 0u);
                  EXPECT_EQ(DEDVDVCDecode(handle, 0x2101, -180, frame.data(), bits.data()), 0u);
                  EXPECT_EQ(DEDVCloseDVCDecoder(handle), 0u);
              }),
              "openDecoder 1000020\ndecode 1002121 pitch -540\ncloseDecoder 0\nrelease 0\n");
    EXPECT_EQ(asked([&] {
                  void* handle = nullptr;
                  EXPECT_EQ(DEDVOpenDVCEncoder(0x10010, &handle), 0u);
                  EXPECT_EQ(DEDVDVCEncode(handle, 0x100000, frame.data(), bits.data()), 0u);
                  EXPECT_EQ(DEDVCloseDVCEncoder(handle), 0u);
              }),
              "openEncoder 10010\nencode 110010 pitch -2160\ncloseEncoder 0\nrelease 0\n");
    const std::string fast = QVTLIsMMX() ? "10" : "";
    const auto picture = soft(480);
    EXPECT_EQ(asked([&] { EXPECT_EQ(DEDVDIBtoDIF(picture.get(), frame.data()), 0u); }),
              "openEncoder " + fast + "10010\nencode " + fast +
                  "10010 pitch -2160\ncloseEncoder 0\nrelease 0\n");
    const struct {
        int wanted;
        const char* decode;
    } sizes[] = {{88, "2118 pitch -264"},   {89, "2114 pitch -540"},   {160, "2114 pitch -540"},
                 {181, "2112 pitch -1080"}, {361, "2111 pitch -2160"}, {800, "2111 pitch -2160"}};
    for (const auto& row : sizes) {
        const std::string expected = "openDecoder " + fast + (fast.empty() ? "10" : "00010") + "\ndecode " +
                                     fast + (fast.empty() ? "" : "0") + row.decode +
                                     "\ncloseDecoder 0\nrelease 0\n";
        EXPECT_EQ(asked([&] { delete DEDVDIFtoDIB(frame.data(), {row.wanted, 60}, 24); }), expected);
    }
}

TEST(DvBridge, FailuresOfTheComponentAreMarked) {
    std::vector<unsigned char> frame(120000);
    void* handle = &handle;
    EXPECT_EQ(asked([&] { EXPECT_EQ(DEDVOpenDVCDecoder(0x10, &handle), 0x84004005u); }, "openDecoder"),
              "openDecoder 10\nrelease 0\n");
    EXPECT_EQ(handle, nullptr);
    const auto picture = soft(480);
    asked([&] { EXPECT_EQ(DEDVDIBtoDIF(picture.get(), frame.data()), 0x84004005u); }, "encode");
    asked([&] { EXPECT_EQ(DEDVDIBtoDIF(picture.get(), frame.data()), 0x84004005u); }, "openEncoder");
    asked([&] { EXPECT_EQ(DEDVDIFtoDIB(frame.data(), {88, 60}, 24), nullptr); }, "decode");
    setServer(qv::test::home() / "missing.so");
    EXPECT_EQ(DEDVOpenDVCEncoder(0x10010, &handle), 0x84040154u);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(DEDVCloseDVCDecoder(nullptr), 14u);
    EXPECT_EQ(DEDVCloseDVCEncoder(nullptr), 14u);
    EXPECT_EQ(DEDVDVCDecode(nullptr, 0x2101, -720, frame.data(), frame.data()), 14u);
    EXPECT_EQ(DEDVDVCEncode(nullptr, 0, frame.data(), frame.data()), 14u);
}

TEST(DvBridge, DepthsThatCannotBeDecoded) {
    std::vector<unsigned char> frame(120000);
    EXPECT_EQ(asked([&] { EXPECT_EQ(DEDVDIFtoDIB(frame.data(), {720, 480}, 32), nullptr); }), "");
    QVWriteProfileInt("Common", "ComplusionDR219RGB", 0x100000, 0);
    EXPECT_NE(asked([&] {
                  delete DEDVDIFtoDIB(frame.data(), {720, 480}, 32);
              }).find("decode"),
              std::string::npos)
        << "with the setting the component is asked";
    setServer(qv::test::buildFolder() / "lib/qvlibs/dvcodec.so");
    const auto picture = soft(480);
    ASSERT_EQ(DEDVDIBtoDIF(picture.get(), frame.data()), 0u);
    EXPECT_EQ(DEDVDIFtoDIB(frame.data(), {720, 480}, 32), nullptr) << "and refuses";
}

TEST(DvBridge, PicturesGoToFramesAndBack) {
    const auto picture = soft(480);
    std::vector<unsigned char> frame(120000);
    ASSERT_EQ(DEDVDIBtoDIF(picture.get(), frame.data()), 0u);
    EXPECT_EQ(DEDVGetAspect(frame.data()), DIB_TYPE_4_3);
    for (const int bits : {24, 16}) {
        const std::unique_ptr<CQVDIB> back(DEDVDIFtoDIB(frame.data(), {720, 480}, bits));
        ASSERT_TRUE(back);
        EXPECT_EQ(back->GetBitCount(), bits);
        for (const auto& [x, y] : {std::pair{100, 100}, {600, 50}, {300, 400}}) {
            EXPECT_LE(channelGap(back->GetPixel(x, y), picture->GetPixel(x, y)), bits == 24 ? 6 : 14)
                << x << " " << y;
        }
    }
    const std::unique_ptr<CQVDIB> small(DEDVDIFtoDIB(frame.data(), {160, 120}, 24));
    ASSERT_TRUE(small);
    EXPECT_EQ(small->GetDimensions(), CSize(160, 120));
    EXPECT_LE(channelGap(small->GetPixel(80, 60), picture->GetPixel(360, 240)), 8);
    // The shipped encoder beside the decoder on libavcodec, put in place by the registry.
    setServer(qv::test::buildFolder() / "lib/qvlibs/dvcodec-libav.so");
    const std::unique_ptr<CQVDIB> other(DEDVDIFtoDIB(frame.data(), {720, 480}, 24));
    ASSERT_TRUE(other);
    EXPECT_LE(channelGap(other->GetPixel(300, 400), picture->GetPixel(300, 400)), 6);
}

TEST(DvBridge, PalFrames) {
    usePal();
    const auto picture = soft(576);
    std::vector<unsigned char> frame(144000);
    ASSERT_EQ(DEDVDIBtoDIF(picture.get(), frame.data()), 0u);
    const std::unique_ptr<CQVDIB> back(DEDVDIFtoDIB(frame.data(), {720, 576}, 24));
    ASSERT_TRUE(back);
    EXPECT_LE(channelGap(back->GetPixel(300, 500), picture->GetPixel(300, 500)), 6);
}

TEST(DvBridge, PicturesThatAreNoFramesAreRefused) {
    std::vector<unsigned char> frame(120000, 0x5A);
    const auto before = frame;
    CQVDIB empty;
    CQVDIB small;
    small.Init({100, 100}, 24, new unsigned char[30000]());
    CQVDIB low;
    low.Init({720, 240}, 24, new unsigned char[2160 * 240]());
    CQVDIB deep;
    deep.Init({720, 480}, 32, new unsigned char[2880 * 480]());
    CQVDIB headerOnly({720, 480}, 24);
    for (CQVDIB* picture : {&empty, &small, &low, &deep, &headerOnly, static_cast<CQVDIB*>(nullptr)}) {
        EXPECT_EQ(DEDVDIBtoDIF(picture, frame.data()), 1u);
    }
    EXPECT_EQ(DEDVDIBtoDIF(soft(480).get(), nullptr), 1u);
    EXPECT_EQ(frame, before);
    // A frame of the other system, and no frame at all.
    frame[3] = 0xBF;
    EXPECT_EQ(DEDVDIFtoDIB(frame.data(), {720, 480}, 24), nullptr);
    EXPECT_EQ(DEDVDIFtoDIB(nullptr, {720, 480}, 24), nullptr);
    EXPECT_EQ(DEDVInterToNoninter(nullptr, 1), 1u);
    EXPECT_EQ(DEDVInterToNoninter(soft(480).get(), 0x11), 0u);
    EXPECT_EQ(DEDVCodecProperty(nullptr, nullptr, nullptr, nullptr), 9u);
    EXPECT_EQ(DEDVLoadCodec("any") | DEDVUnloadCodec() | DEDVAddSubcodeInformation(nullptr, nullptr, nullptr),
              0u);
}
