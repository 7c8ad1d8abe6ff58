// Resampling of packed 24-bit pictures beside the peers, one thread, the same pictures:
// resize/KERNEL/WHO/FROM-TO, in source bytes a second. Peers that work on planes or on 32-bit pixels pay for
// getting there and back; their filters and contexts are made beforehand, ours on every call.
#include "qvlibs/image/kernels/Resample.h"

#include <benchmark/benchmark.h>

#include <libyuv.h>
#include <opencv2/imgproc.hpp>
#include <zimg.h>
extern "C" {
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

struct Size {
    int width, height, toWidth, toHeight;
};

struct Picture {
    Picture(int w, int h)
        : width(w), height(h), bytes(static_cast<size_t>(w) * 3 * static_cast<size_t>(h) + 64) {}
    int stride() const { return width * 3; }
    std::uint8_t* data() { return bytes.data(); }
    qv::PixelView view() { return {data(), stride(), width, height}; }
    cv::Mat mat() { return {height, width, CV_8UC3, data(), static_cast<size_t>(stride())}; }

    int width, height;
    Bytes bytes; // and room for the peers that overrun
};

// Waves with a little grain: something like a picture, so that answers can be compared.
void paint(Picture& picture) {
    unsigned grain = 1;
    for (int y = 0; y < picture.height; ++y) {
        for (int i = 0; i < picture.stride(); ++i) {
            grain = grain * 1664525 + 1013904223;
            const double wave = 60 * std::sin(0.02 * i / 3 + i % 3) + 50 * std::cos(0.035 * y + 0.01 * i / 3);
            picture.data()[y * picture.stride() + i] = static_cast<std::uint8_t>(128 + wave + (grain >> 28));
        }
    }
}

using Work = std::function<void()>;
// Makes what one call does, given the pictures.
using Maker = std::function<Work(Picture& src, Picture& dst)>;

Maker own(qv::ResampleKernel kernel) {
    return [kernel](Picture& src, Picture& dst) -> Work {
        return [&src, &dst, kernel] {
            if (!qv::resample24(kernel, src.view(), {0, 0, src.width, src.height}, dst.view())) std::abort();
        };
    };
}

Maker openCv(int interpolation) {
    return [interpolation](Picture& src, Picture& dst) -> Work {
        return [from = src.mat(), to = dst.mat(), interpolation]() mutable {
            cv::resize(from, to, to.size(), 0, 0, interpolation);
        };
    };
}

Work libyuvBox(Picture& src, Picture& dst) {
    auto wide = std::make_shared<Bytes>(static_cast<size_t>(src.width * src.height) * 4);
    auto small = std::make_shared<Bytes>(static_cast<size_t>(dst.width * dst.height) * 4);
    return [&src, &dst, wide, small] {
        libyuv::RGB24ToARGB(src.data(), src.stride(), wide->data(), src.width * 4, src.width, src.height);
        libyuv::ARGBScale(wide->data(), src.width * 4, src.width, src.height, small->data(), dst.width * 4,
                          dst.width, dst.height, libyuv::kFilterBox);
        libyuv::ARGBToRGB24(small->data(), dst.width * 4, dst.data(), dst.stride(), dst.width, dst.height);
    };
}

// Three planes with rows on 64 bytes.
struct Planes {
    Planes(int w, int h)
        : width(w), height(h), stride((w + 63) / 64 * 64), bytes(static_cast<size_t>(3 * stride * h) + 64) {}
    std::uint8_t* plane(int i) {
        auto* start =
            reinterpret_cast<std::uint8_t*>((reinterpret_cast<std::uintptr_t>(bytes.data()) + 63) / 64 * 64);
        return start + static_cast<std::ptrdiff_t>(i) * stride * height;
    }
    int width, height, stride;
    Bytes bytes;
};

zimg_image_format zimgFormat(int width, int height) {
    zimg_image_format format;
    zimg_image_format_default(&format, ZIMG_API_VERSION);
    format.width = static_cast<unsigned>(width);
    format.height = static_cast<unsigned>(height);
    format.pixel_type = ZIMG_PIXEL_BYTE;
    format.color_family = ZIMG_COLOR_RGB;
    format.matrix_coefficients = ZIMG_MATRIX_RGB;
    format.pixel_range = ZIMG_RANGE_FULL;
    return format;
}

// Split, resize, merge.
Maker zimg(zimg_resample_filter_e filter, double a, double b) {
    return [=](Picture& src, Picture& dst) -> Work {
        zimg_graph_builder_params params;
        zimg_graph_builder_params_default(&params, ZIMG_API_VERSION);
        params.resample_filter = filter, params.filter_param_a = a, params.filter_param_b = b;
        params.cpu_type = ZIMG_CPU_AUTO_64B;
        const zimg_image_format from = zimgFormat(src.width, src.height),
                                to = zimgFormat(dst.width, dst.height);
        std::shared_ptr<zimg_filter_graph> graph(zimg_filter_graph_build(&from, &to, &params),
                                                 zimg_filter_graph_free);
        if (!graph) std::abort();
        size_t scratch = 0;
        zimg_filter_graph_get_tmp_size(graph.get(), &scratch);
        std::shared_ptr<void> room(std::aligned_alloc(64, (scratch + 63) / 64 * 64), std::free);
        auto in = std::make_shared<Planes>(src.width, src.height),
             out = std::make_shared<Planes>(dst.width, dst.height);
        return [=, &src, &dst] {
            libyuv::SplitRGBPlane(src.data(), src.stride(), in->plane(0), in->stride, in->plane(1),
                                  in->stride, in->plane(2), in->stride, src.width, src.height);
            zimg_image_buffer_const source{};
            zimg_image_buffer target{};
            source.version = target.version = ZIMG_API_VERSION;
            for (int i = 0; i < 3; ++i) {
                source.plane[i] = {in->plane(i), in->stride, ZIMG_BUFFER_MAX};
                target.plane[i] = {out->plane(i), out->stride, ZIMG_BUFFER_MAX};
            }
            if (zimg_filter_graph_process(graph.get(), &source, &target, room.get(), nullptr, nullptr,
                                          nullptr, nullptr))
                std::abort();
            libyuv::MergeRGBPlane(out->plane(0), out->stride, out->plane(1), out->stride, out->plane(2),
                                  out->stride, dst.data(), dst.stride(), dst.width, dst.height);
        };
    };
}

Maker swscale(int flags) {
    return [flags](Picture& src, Picture& dst) -> Work {
        std::shared_ptr<SwsContext> context(sws_getContext(src.width, src.height, AV_PIX_FMT_BGR24, dst.width,
                                                           dst.height, AV_PIX_FMT_BGR24, flags, nullptr,
                                                           nullptr, nullptr),
                                            sws_freeContext);
        return [context, &src, &dst] {
            const std::uint8_t* from[] = {src.data()};
            std::uint8_t* to[] = {dst.data()};
            const int fromStride[] = {src.stride()}, toStride[] = {dst.stride()};
            sws_scale(context.get(), from, fromStride, 0, src.height, to, toStride);
        };
    };
}

double psnr(const Picture& a, const Picture& b) {
    double error = 0;
    const int count = a.stride() * a.height;
    for (int i = 0; i < count; ++i) {
        const size_t at = static_cast<size_t>(i);
        error += (a.bytes[at] - b.bytes[at]) * (a.bytes[at] - b.bytes[at]);
    }
    return 10 * std::log10(255.0 * 255 * count / std::max(error, 1e-6));
}

// `leastDb` is how close the answer must come to ours of that kernel before anything is measured.
void measure(const std::string& name, qv::ResampleKernel kernel, double leastDb, const Size& size,
             const Maker& make) {
    const std::string sizes = std::to_string(size.width) + "x" + std::to_string(size.height) + "-" +
                              std::to_string(size.toWidth) + "x" + std::to_string(size.toHeight);
    benchmark::RegisterBenchmark(
        ("resize/" + name + "/" + sizes).c_str(),
        [=](benchmark::State& state) {
            Picture src(size.width, size.height), dst(size.toWidth, size.toHeight), want = dst;
            paint(src);
            if (!qv::plain::resample24(kernel, src.view(), {0, 0, src.width, src.height}, want.view()))
                std::abort();
            const Work work = make(src, dst);
            work();
            if (psnr(dst, want) < leastDb)
                return state.SkipWithError(
                    ("wrong answer, " + std::to_string(psnr(dst, want)) + " dB").c_str());
            for (auto _ : state) {
                work();
                benchmark::DoNotOptimize(dst.data());
                benchmark::ClobberMemory();
            }
            state.SetBytesProcessed(state.iterations() * src.stride() * src.height);
        })
        ->Unit(benchmark::kMicrosecond)
        ->ComputeStatistics(
            "best", [](const std::vector<double>& v) { return *std::min_element(v.begin(), v.end()); });
}

constexpr double kSame = 100, kAlike = 33; // dB

} // namespace

int main(int argc, char** argv) {
    using qv::ResampleKernel;
    cv::setNumThreads(0);
    const Size thumbnails[] = {{720, 480, 180, 120}, {720, 480, 160, 120}};
    const Size frames[] = {{720, 576, 720, 480}, {720, 480, 640, 480}};
    const Size large[] = {{1920, 1080, 720, 480}, {4000, 3000, 720, 480}};
    const Size growing[] = {
        {500, 375, 125, 94}, {1000, 750, 250, 188}, {2000, 1500, 500, 375}, {4000, 3000, 1000, 750}};
    for (const Size& size : thumbnails) {
        measure("triangle/own", ResampleKernel::Triangle, kSame, size, own(ResampleKernel::Triangle));
        measure("triangle/opencv-area", ResampleKernel::Triangle, kAlike, size, openCv(cv::INTER_AREA));
        measure("triangle/libyuv-box", ResampleKernel::Triangle, kAlike, size, libyuvBox);
    }
    for (const Size& size : frames) {
        measure("catmull-rom/own", ResampleKernel::CatmullRom, kSame, size, own(ResampleKernel::CatmullRom));
        measure("catmull-rom/zimg", ResampleKernel::CatmullRom, kAlike, size,
                zimg(ZIMG_RESIZE_BICUBIC, 0, 0.5));
        measure("catmull-rom/opencv-cubic", ResampleKernel::CatmullRom, 30, size, openCv(cv::INTER_CUBIC));
    }
    for (const Size& size : large) {
        measure("lanczos/own", ResampleKernel::Lanczos3, kSame, size, own(ResampleKernel::Lanczos3));
        measure("lanczos/zimg", ResampleKernel::Lanczos3, kAlike, size, zimg(ZIMG_RESIZE_LANCZOS, 3, 0));
        measure("lanczos/swscale", ResampleKernel::Lanczos3, kAlike, size, swscale(SWS_LANCZOS));
    }
    for (const auto& sizes : {thumbnails, frames, large}) {
        for (const Size& size : {sizes[0], sizes[1]}) {
            measure("nearest/own", ResampleKernel::Nearest, kSame, size, own(ResampleKernel::Nearest));
            measure("nearest/opencv", ResampleKernel::Nearest, 20, size, openCv(cv::INTER_NEAREST));
        }
    }
    for (const Size& size : growing)
        measure("growing/own", ResampleKernel::CatmullRom, kSame, size, own(ResampleKernel::CatmullRom));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
