#include "qvlibs/plugins/dv_component.h"

#include <cstring>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "codecs/dv/DvDecoder.h"
#include "qvlibs/framework/Status.h"
#include "tests/support/DvJudge.h"
#include "tests/support/TestSupport.h"

namespace {

using qv::dv::PictureSize;

// One component of a module, opened for one system.
class Component {
public:
    Component(const char* module, bool pal) : system_(pal ? QV_DV_PAL : QV_DV_NTSC) {
        void* handle =
            dlopen((qv::test::buildFolder() / "lib/qvlibs" / module).c_str(), RTLD_NOW | RTLD_LOCAL);
        EXPECT_NE(handle, nullptr) << dlerror();
        const auto create =
            reinterpret_cast<decltype(&QVCreateComponent)>(dlsym(handle, "QVCreateComponent"));
        void* made = nullptr;
        EXPECT_EQ(create(QV_DV_CLASS, QV_DV_INTERFACE, &made), 0);
        component_ = static_cast<QVDVCOMPONENT*>(made);
    }
    ~Component() { component_->table->release(component_); }
    Component(const Component&) = delete;
    Component& operator=(const Component&) = delete;

    int open() { return component_->table->openDecoder(component_, system_); }
    int decode(const void* dif, void* bits, std::uint32_t option, int pitch) {
        const QVDVBLOCK block{.pitch = pitch, .reserved = {}};
        return component_->table->decode(component_, dif, bits, system_ | option, &block);
    }
    int encode(const void* bits, void* dif, std::uint32_t option = 0) {
        component_->table->openEncoder(component_, system_ | QV_DV_ENCODER);
        const QVDVBLOCK block{.pitch = -2160, .reserved = {}};
        return component_->table->encode(component_, bits, dif, system_ | QV_DV_ENCODER | option, &block);
    }

private:
    QVDVCOMPONENT* component_ = nullptr;
    std::uint32_t system_;
};

// A picture with soft colours, of a size the encoder takes.
std::vector<std::uint8_t> softPicture(int height) {
    std::vector<std::uint8_t> bits(static_cast<std::size_t>(2160 * height));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < 720; ++x) {
            std::uint8_t* bgr = &bits[static_cast<std::size_t>(y * 2160 + x * 3)];
            bgr[0] = static_cast<std::uint8_t>(40 + x / 5);
            bgr[1] = static_cast<std::uint8_t>(60 + y / 4);
            bgr[2] = static_cast<std::uint8_t>(200 - x / 8 - y / 8);
        }
    }
    return bits;
}

double psnr(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b) {
    qv::dv::judge::Distance distance;
    distance.add(a.data(), 0, b.data(), 0, static_cast<int>(a.size()), 1);
    return distance.psnr();
}

} // namespace

TEST(DvComponent, WhatIsEncodedComesBack) {
    for (const bool pal : {false, true}) {
        const int height = pal ? 576 : 480;
        const auto picture = softPicture(height);
        std::vector<std::uint8_t> frame(pal ? 144000 : 120000);
        ASSERT_EQ(Component("dvcodec.so", pal).encode(picture.data(), frame.data()), 0);
        const auto layout = qv::dv::identifyFrame(frame);
        ASSERT_TRUE(layout);
        EXPECT_EQ(layout->sampling, pal ? qv::dv::Sampling::Yuv420 : qv::dv::Sampling::Yuv411);
        for (const char* module : {"dvcodec.so", "dvcodec-libav.so"}) {
            Component component(module, pal);
            ASSERT_EQ(component.open(), 0);
            std::vector<std::uint8_t> back(picture.size());
            ASSERT_EQ(component.decode(frame.data(), back.data(), 0x2101, -2160), 0);
            EXPECT_GT(psnr(picture, back), 42) << module;
        }
    }
}

TEST(DvComponent, BothComponentsGiveTheSamePictures) {
    QV_NEEDS_PROGRAM("ffmpeg");
    for (const auto& tape : qv::dv::judge::tapes()) {
        const auto frames = qv::dv::judge::makeFrames(tape, 1);
        ASSERT_EQ(frames.size(), 1u);
        Component own("dvcodec.so", tape.pal);
        Component libav("dvcodec-libav.so", tape.pal);
        ASSERT_EQ(own.open(), 0);
        ASSERT_EQ(libav.open(), 0);
        for (const std::uint32_t size : {1u, 2u, 4u, 8u}) {
            SCOPED_TRACE(std::string(tape.name) + " / " + std::to_string(size));
            const PictureSize wanted = pictureSize(tape.pal, static_cast<qv::dv::Reduction>(size));
            std::vector<std::uint8_t> a(static_cast<std::size_t>(3 * wanted.width * wanted.height));
            std::vector<std::uint8_t> b(a.size());
            ASSERT_EQ(own.decode(frames[0].data(), a.data(), 0x2100 | size, -3 * wanted.width), 0);
            ASSERT_EQ(libav.decode(frames[0].data(), b.data(), 0x2100 | size, -3 * wanted.width), 0);
            EXPECT_GT(psnr(a, b), size == 1 ? 45 : 25);
        }
    }
}

// Rows of 16-bit pixels lie closer than the pitch word says, which counts three bytes a pixel for all formats.
TEST(DvComponent, PixelFormatsAndDirections) {
    const auto picture = softPicture(480);
    std::vector<std::uint8_t> frame(120000);
    Component component("dvcodec.so", false);
    ASSERT_EQ(component.encode(picture.data(), frame.data()), 0);
    ASSERT_EQ(component.open(), 0);
    std::vector<std::uint8_t> up(360 * 240 * 3);
    std::vector<std::uint8_t> down(up.size());
    ASSERT_EQ(component.decode(frame.data(), up.data(), 0x2102, -1080), 0);
    ASSERT_EQ(component.decode(frame.data(), down.data(), 0x2102, 1080), 0);
    EXPECT_EQ(std::memcmp(&up[0], &down[239 * 1080], 1080), 0);
    for (const auto& [option, greenBits] : {std::pair{0x2202u, 6}, std::pair{0x2402u, 5}}) {
        std::vector<std::uint16_t> words(360 * 240 + 1, 0xA5A5);
        ASSERT_EQ(component.decode(frame.data(), words.data(), option, -1080), 0);
        EXPECT_EQ(words.back(), 0xA5A5) << "written past the end";
        for (std::size_t i = 0; i < 360 * 240; ++i) {
            const std::uint8_t* bgr = &up[3 * i];
            const int expected =
                (bgr[2] >> 3) << (5 + greenBits) | (bgr[1] >> (8 - greenBits)) << 5 | bgr[0] >> 3;
            ASSERT_EQ(words[i], expected) << i;
        }
    }
}

TEST(DvComponent, StudioRangeKeepsBlackAtSixteen) {
    for (const auto& [level, full, studio] : {std::tuple{0, 0, 16}, std::tuple{255, 255, 235}}) {
        const std::vector<std::uint8_t> picture(720 * 480 * 3, static_cast<std::uint8_t>(level));
        std::vector<std::uint8_t> frame(120000);
        Component component("dvcodec.so", false);
        ASSERT_EQ(component.encode(picture.data(), frame.data()), 0);
        ASSERT_EQ(component.open(), 0);
        std::vector<std::uint8_t> back(88 * 60 * 3);
        ASSERT_EQ(component.decode(frame.data(), back.data(), 0x2108, -264), 0);
        EXPECT_NEAR(back[0], full, 1);
        ASSERT_EQ(component.decode(frame.data(), back.data(), 0x2108 | QV_DV_STUDIO_RGB, -264), 0);
        EXPECT_NEAR(back[0], studio, 1);
        const std::vector<std::uint8_t> ranged(720 * 480 * 3, static_cast<std::uint8_t>(studio));
        ASSERT_EQ(component.encode(ranged.data(), frame.data(), QV_DV_STUDIO_RGB), 0);
        ASSERT_EQ(component.decode(frame.data(), back.data(), 0x2108, -264), 0);
        EXPECT_NEAR(back[0], full, 1);
    }
}

TEST(DvComponent, RefusesWhatItDoesNotKnow) {
    const auto picture = softPicture(576);
    std::vector<std::uint8_t> ntsc(144000); // as large as any caller's buffer
    std::vector<std::uint8_t> pal(144000);
    ASSERT_EQ(Component("dvcodec.so", false).encode(picture.data(), ntsc.data()), 0);
    ASSERT_EQ(Component("dvcodec.so", true).encode(picture.data(), pal.data()), 0);
    std::vector<std::uint8_t> bits(720 * 576 * 3);
    const struct {
        const char* what;
        const std::vector<std::uint8_t>& frame;
        std::uint32_t option;
        int pitch;
        bool ok;
    } rows[] = {
        {"as it should be", ntsc, 0x2101, -2160, true},
        {"size 3 is a half too", ntsc, 0x2103, -1080, true},
        {"size 0", ntsc, 0x2100, -2160, false},
        {"size 5", ntsc, 0x2105, -2160, false},
        {"size 9", ntsc, 0x2109, -2160, false},
        {"no format: 32 bits", ntsc, 0x1, -2880, false},
        {"no format: 32 bits, with a colour range", ntsc, QV_DV_STUDIO_RGB, -2880, false},
        {"two formats", ntsc, 0x2301, -2160, false},
        {"both systems", ntsc, 0x2101 | QV_DV_PAL, -2160, false},
        {"a pitch below the width", ntsc, 0x2101, -1080, false},
        {"a frame of the other system", pal, 0x2101, -2160, false},
        {"no DV", bits, 0x2101, -2160, false},
    };
    for (const char* module : {"dvcodec.so", "dvcodec-libav.so"}) {
        Component component(module, false);
        EXPECT_LT(component.decode(ntsc.data(), bits.data(), 0x2101, -2160), 0) << "not open yet";
        ASSERT_EQ(component.open(), 0);
        for (const auto& row : rows) {
            EXPECT_EQ(component.decode(row.frame.data(), bits.data(), row.option, row.pitch) >= 0, row.ok)
                << module << ": " << row.what;
            std::fill(bits.begin(), bits.end(), std::uint8_t{0xFF});
        }
    }
}

// Judged by a program that has its own ideas of where packs lie.
TEST(DvComponent, EncodedFramesCarryTheirPacks) {
    QV_NEEDS_PROGRAM("mediainfo");
    for (const bool pal : {false, true}) {
        const auto picture = softPicture(576);
        std::string frame(pal ? 144000 : 120000, '\0');
        ASSERT_EQ(Component("dvcodec.so", pal).encode(picture.data(), frame.data()), 0);
        const auto path = qv::test::home() / "one.dv";
        qv::test::writeFile(path, frame);
        const auto info = qv::test::run({"mediainfo",
                                         "--Inform=General;%Format%/%Encoded_Date%|\nVideo;%Format%/"
                                         "%Standard%/%ChromaSubsampling%/%DisplayAspectRatio%/"
                                         "%TimeCode_FirstFrame%|\nAudio;%SamplingRate%/%BitDepth%/%Channels%",
                                         path.string()});
        SCOPED_TRACE(info.out);
        EXPECT_NE(info.out.find(pal ? "DV/PAL/4:2:0/1.333/00:00:00:00" : "DV/NTSC/4:1:1/1.333/00:00:00:00"),
                  std::string::npos);
        EXPECT_NE(info.out.find("48000/16/2"), std::string::npos);
        // Packs where deck and metadata readers look for them, by their identifiers.
        const struct {
            std::size_t at;
            int pack;
        } rows[] = {{110, 0x13},   {60110, 0x13}, {60118, 0xFF}, {448, 0x60},   {453, 0x61},
                    {458, 0xFF},   {48448, 0x60}, {48453, 0x61}, {12243, 0x60}, {12248, 0x61},
                    {12483, 0x50}, {13763, 0x51}, {4323, 0x50},  {5603, 0x51}};
        for (const auto& row : rows) EXPECT_EQ(static_cast<unsigned char>(frame[row.at]), row.pack) << row.at;
    }
}
