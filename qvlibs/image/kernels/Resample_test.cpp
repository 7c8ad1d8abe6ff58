// QVLIBS_TEST_FULL in the environment runs the large counts.
#include "qvlibs/image/kernels/Resample.h"

#include "qvlibs/image/kernels/InstructionSets_test.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <numbers>
#include <random>
#include <vector>

using namespace qv;

namespace {

constexpr ResampleKernel kKernels[] = {ResampleKernel::Nearest, ResampleKernel::Box, ResampleKernel::Triangle,
                                       ResampleKernel::CatmullRom, ResampleKernel::Lanczos3};
constexpr const char* kNames[] = {"nearest", "box", "triangle", "Catmull-Rom", "Lanczos-3"};
constexpr std::uint8_t kUntouched = 0xA5;

// A picture in a block of exactly its size; upside down when the stride is negative.
struct Picture {
    Picture(int width, int height, int padding = 0, bool bottomUp = false)
        : bytes(static_cast<size_t>(width * 3 + padding) * static_cast<size_t>(height) -
                    static_cast<size_t>(padding),
                kUntouched),
          view{bytes.data(), width * 3 + padding, width, height} {
        if (!bottomUp) return;
        view.rows += view.stride * (height - 1);
        view.stride = -view.stride;
    }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    Region all() const { return {0, 0, view.width, view.height}; }
    void fill(const std::function<double(int x, int y, int channel)>& value) const {
        for (int y = 0; y < view.height; ++y)
            for (int i = 0; i < view.width * 3; ++i)
                view.row(y)[i] =
                    static_cast<std::uint8_t>(std::clamp(std::lround(value(i / 3, y, i % 3)), 0L, 255L));
    }

    std::vector<std::uint8_t> bytes;
    PixelView view;
};

// Edges, a fine grating, slopes and noise: what shows wrong placing, wrong widths and rounding.
double scene(int x, int y, int channel) {
    std::minstd_rand noise(static_cast<unsigned>(x * 7919 + y * 104729 + channel + 1));
    noise.discard(3);
    const double grain = static_cast<double>(noise() % 33) - 16;
    if ((x / 24 + y / 16) % 5 == 0) return channel == 1 ? 250 : 4;
    return 128 + 70 * std::sin(0.05 * x + 0.4 * channel) + 40 * std::cos(0.31 * y + 0.2 * x) + grain;
}

// The kernels again, from their textbook formulas, with weights that nobody has rounded.
double kernelValue(ResampleKernel kernel, double t) {
    const auto sinc = [](double v) {
        return v == 0 ? 1 : std::sin(std::numbers::pi * v) / (std::numbers::pi * v);
    };
    t = std::abs(t);
    if (kernel == ResampleKernel::Triangle) return std::max(0.0, 1 - t);
    if (kernel == ResampleKernel::Lanczos3) return t < 3 ? sinc(t) * sinc(t / 3) : 0;
    if (t < 1) return 1 - 2.5 * t * t + 1.5 * t * t * t;
    return t < 2 ? 2 - 4 * t + 2.5 * t * t - 0.5 * t * t * t : 0;
}

std::vector<double> exactAxis(ResampleKernel kernel, const std::vector<double>& line, int to) {
    const int from = static_cast<int>(line.size());
    const double ratio = static_cast<double>(from) / to;
    std::vector<double> out;
    for (int i = 0; i < to; ++i) {
        const double center = (i + 0.5) * ratio, width = std::max(1.0, ratio);
        double sum = 0, weights = 0;
        for (int k = static_cast<int>(center - 4 * width) - 1; k <= center + 4 * width; ++k) {
            double weight = kernelValue(kernel, (k + 0.5 - center) / width);
            if (kernel == ResampleKernel::Nearest) weight = k == std::floor(center) ? 1 : 0;
            if (kernel == ResampleKernel::Box)
                weight = std::max(0.0, std::min<double>(k + 1, center + ratio / 2) -
                                           std::max<double>(k, center - ratio / 2));
            sum += weight * line[static_cast<size_t>(std::clamp(k, 0, from - 1))];
            weights += weight;
        }
        out.push_back(sum / weights);
    }
    return out;
}

double psnrAgainstExact(ResampleKernel kernel, const Picture& src, const Picture& dst) {
    const int w = src.view.width, h = src.view.height, dw = dst.view.width, dh = dst.view.height;
    double error = 0;
    for (int c = 0; c < 3; ++c) {
        std::vector<std::vector<double>> rows; // filtered across
        for (int y = 0; y < h; ++y) {
            std::vector<double> line;
            for (int x = 0; x < w; ++x) line.push_back(src.view.row(y)[3 * x + c]);
            rows.push_back(exactAxis(kernel, line, dw));
        }
        for (int x = 0; x < dw; ++x) {
            std::vector<double> line;
            for (int y = 0; y < h; ++y) line.push_back(rows[static_cast<size_t>(y)][static_cast<size_t>(x)]);
            const std::vector<double> exact = exactAxis(kernel, line, dh);
            for (int y = 0; y < dh; ++y) {
                const double want = std::clamp(exact[static_cast<size_t>(y)], 0.0, 255.0);
                error += std::pow(dst.view.row(y)[3 * x + c] - want, 2);
            }
        }
    }
    return 10 * std::log10(255.0 * 255 * dw * dh * 3 / std::max(error, 1e-9));
}

} // namespace

TEST(Resample, EveryKernelIsCloseToItsDefinition) {
    const struct {
        int w, h, dw, dh;
    } sizes[] = {{144, 96, 36, 24},  {144, 96, 32, 24},  {144, 115, 144, 96}, {144, 96, 128, 96},
                 {192, 108, 72, 48}, {400, 300, 72, 48}, {60, 40, 133, 97},   {97, 5, 11, 64}};
    std::map<ResampleKernel, double> least;
    for (const auto& size : sizes) {
        Picture src(size.w, size.h), dst(size.dw, size.dh);
        src.fill(scene);
        for (const ResampleKernel kernel : kKernels) {
            SCOPED_TRACE(testing::Message()
                         << static_cast<int>(kernel) << " to " << size.dw << "x" << size.dh);
            ASSERT_TRUE(resample24(kernel, src.view, src.all(), dst.view));
            const double psnr = psnrAgainstExact(kernel, src, dst);
            EXPECT_GE(psnr, 50);
            least[kernel] = std::min(least.try_emplace(kernel, psnr).first->second, psnr);
        }
    }
    for (const auto& [kernel, psnr] : least)
        printf("%.1f dB at least from double precision, %zu sizes: %s\n", psnr, std::size(sizes),
               kNames[static_cast<int>(kernel)]);
}

TEST(Resample, OneColourStaysThatColour) {
    const struct {
        int w, h, dw, dh;
    } sizes[] = {{720, 48, 180, 12}, {35, 7, 400, 90}, {2000, 3, 7, 5}, {1, 1, 50, 50}, {3, 4000, 3, 2}};
    for (const auto& size : sizes) {
        for (const int level : {0, 1, 127, 200, 254, 255}) {
            Picture src(size.w, size.h), dst(size.dw, size.dh);
            std::fill(src.bytes.begin(), src.bytes.end(), static_cast<std::uint8_t>(level));
            for (const ResampleKernel kernel : kKernels) {
                ASSERT_TRUE(resample24(kernel, src.view, src.all(), dst.view));
                EXPECT_EQ(std::count(dst.bytes.begin(), dst.bytes.end(), level), std::ssize(dst.bytes))
                    << static_cast<int>(kernel) << " from " << size.w << "x" << size.h << " level " << level;
            }
        }
    }
}

TEST(Resample, TheSameSizeIsACopyAndNearestPicksPixels) {
    Picture src(37, 11), same(37, 11), wide(74, 11);
    src.fill(scene);
    for (const ResampleKernel kernel : kKernels) {
        ASSERT_TRUE(resample24(kernel, src.view, src.all(), same.view));
        EXPECT_EQ(same.bytes, src.bytes) << static_cast<int>(kernel);
    }
    ASSERT_TRUE(resample24(ResampleKernel::Nearest, src.view, src.all(), wide.view));
    for (int x = 0; x < 74; ++x)
        EXPECT_EQ(std::memcmp(wide.view.row(5) + 3 * x, src.view.row(5) + 3 * (x / 2), 3), 0);
}

TEST(Resample, NothingAliasesWhenShrinking) {
    Picture src(640, 480), dst(128, 96);
    src.fill([](int x, int y, int) { return (x + y) % 2 * 255; });
    for (const ResampleKernel kernel :
         {ResampleKernel::Triangle, ResampleKernel::CatmullRom, ResampleKernel::Lanczos3}) {
        ASSERT_TRUE(resample24(kernel, src.view, src.all(), dst.view));
        for (int y = 3; y < 93; ++y) { // the grating breaks where edge pixels repeat
            for (int i = 9; i < 3 * 125; ++i)
                EXPECT_NEAR(dst.view.row(y)[i], 127.5, 1.5) << static_cast<int>(kernel) << " in row " << y;
        }
    }
}

TEST(Resample, OnlyTheRegionIsReadAndOnlyTheViewIsWritten) {
    Picture src(60, 50), cut(20, 10, 1), whole(33, 21, 5);
    src.fill(scene);
    for (int y = 0; y < 10; ++y) std::memcpy(cut.view.row(y), src.view.row(30 + y) + 3 * 17, 60);
    Picture want(15, 9), frame(40, 30, 2, true);
    const PixelView part{frame.view.row(8) + 3 * 5, frame.view.stride, 15, 9};
    for (const ResampleKernel kernel : kKernels) {
        std::fill(frame.bytes.begin(), frame.bytes.end(), kUntouched);
        ASSERT_TRUE(resample24(kernel, cut.view, cut.all(), want.view));
        ASSERT_TRUE(resample24(kernel, src.view, {17, 30, 20, 10}, part));
        for (int y = 0; y < 9; ++y) EXPECT_EQ(std::memcmp(part.row(y), want.view.row(y), 45), 0);
        const auto outside = std::count(frame.bytes.begin(), frame.bytes.end(), kUntouched);
        EXPECT_GE(outside, std::ssize(frame.bytes) - 15 * 9 * 3) << "bytes beside the view were written";
    }
}

TEST(Resample, TheFastVersionGivesTheBytesOfThePlainOne) {
    const qv::test::InstructionSets sets;
    std::mt19937 random(20260401);
    const auto upTo = [&](int most) { return 1 + static_cast<int>(random() % static_cast<unsigned>(most)); };
    const int rounds = std::getenv("QVLIBS_TEST_FULL") ? 100000 : 4000;
    for (int round = 0; round < rounds; ++round) {
        const int shape = round % 4; // mostly small; some long, some large
        Picture src(upTo(shape == 1 ? 700 : 90), upTo(shape == 2 ? 300 : 60), upTo(5) - 1, random() % 2 != 0);
        for (auto& byte : src.bytes) {
            const unsigned value = random();
            byte = static_cast<std::uint8_t>(value & 256 ? (value & 1 ? 255 : 0) : value);
        }
        Region region{upTo(src.view.width) - 1, upTo(src.view.height) - 1, 0, 0};
        region.width = upTo(src.view.width - region.x), region.height = upTo(src.view.height - region.y);
        if (random() % 2) region = src.all();
        const int dw = upTo(shape == 3 ? 300 : 80), dh = upTo(shape == 3 ? 100 : 70), padding = upTo(5) - 1;
        Picture want(dw, dh, padding), got(dw, dh, padding);
        const ResampleKernel kernel = kKernels[random() % std::size(kKernels)];
        ASSERT_TRUE(plain::resample24(kernel, src.view, region, want.view));
        for (const std::int64_t set : sets.all) {
            sets.use(set);
            std::fill(got.bytes.begin(), got.bytes.end(), kUntouched);
            ASSERT_TRUE(resample24(kernel, src.view, region, got.view));
            const auto differ = std::mismatch(want.bytes.begin(), want.bytes.end(), got.bytes.begin()).first;
            ASSERT_TRUE(differ == want.bytes.end())
                << "set " << set << " byte " << differ - want.bytes.begin() << " in round " << round
                << " kernel " << static_cast<int>(kernel) << ": " << region.width << "x" << region.height
                << " to " << dw << "x" << dh;
        }
    }
    printf("%d random geometries resampled as the plain version does on %s\n", rounds, sets.names().c_str());
}

TEST(Resample, SizesAndRegionsThatDoNotFitAreRefused) {
    Picture src(8, 8), dst(8, 8);
    const Region bad[] = {{0, 0, 0, 8}, {0, 0, 8, -1}, {-1, 0, 4, 4},         {0, 0, 9, 8},
                          {1, 0, 8, 8}, {0, 7, 1, 2},  {2147483647, 0, 1, 1}, {1, 1, 2147483647, 2}};
    for (const Region& region : bad)
        EXPECT_FALSE(resample24(ResampleKernel::Box, src.view, region, dst.view))
            << region.x << " " << region.width;
    const PixelView none{dst.view.rows, dst.view.stride, 0, 8},
        huge{dst.view.rows, 0, kMaxResampleSide + 1, 1};
    EXPECT_FALSE(resample24(ResampleKernel::Box, src.view, src.all(), none));
    EXPECT_FALSE(resample24(ResampleKernel::Box, src.view, src.all(), huge));
    EXPECT_FALSE(resample24(ResampleKernel::Box, {nullptr, 24, 8, 8}, src.all(), dst.view));
    EXPECT_EQ(std::count(dst.bytes.begin(), dst.bytes.end(), kUntouched), std::ssize(dst.bytes));
}
