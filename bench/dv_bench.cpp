// DV frames to pictures: our decoder beside libavcodec with libswscale and libyuv, and libdv.
//
// Names: dv/WORK/TAPE/WHO. WORK is the size of the picture, or "rows" for the step from 4:1:1 samples to RGB
// alone. The tapes are made by the program ffmpeg: an easy one (a test card) and a hard one (a zoom into a
// fractal with noise), interlaced, in both systems. One thread. Times are per frame.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}
#ifdef HAVE_LIBYUV
#include <libyuv.h>
#endif
#ifdef HAVE_LIBDV
extern "C" {
#include <libdv/dv.h>
}
#endif

#include "codecs/dv/DvDecoder.h"
#include "codecs/dv/DvPicture.h"

namespace {

using namespace qv::dv;
using Frames = std::vector<std::vector<std::uint8_t>>;

struct Tape {
    const char* name;
    bool pal;
    bool hard;
};
constexpr Tape kTapes[] = {{"ntsc-easy", false, false},
                           {"ntsc-hard", false, true},
                           {"pal-easy", true, false},
                           {"pal-hard", true, true}};
constexpr int kFrames = 8;

const Frames& framesOf(const Tape& tape) {
    static std::map<std::string, Frames> made;
    Frames& frames = made[tape.name];
    if (!frames.empty()) return frames;
    const std::string source = std::string(tape.hard ? "mandelbrot" : "testsrc2") + "=s=720x" +
                               (tape.pal ? "576:r=50" : "480:r=60000/1001");
    const std::string command = "ffmpeg -nostdin -loglevel error -f lavfi -i " + source + " -vf " +
                                (tape.hard ? "noise=alls=30:allf=t," : "") +
                                "tinterlace=mode=interleave_top -frames:v " + std::to_string(kFrames) +
                                " -c:v dvvideo -flags +ildct -pix_fmt " + (tape.pal ? "yuv420p" : "yuv411p") +
                                " -f rawvideo -";
    FILE* pipe = popen(command.c_str(), "r");
    std::vector<std::uint8_t> frame(tape.pal ? 144000 : 120000);
    while (pipe && fread(frame.data(), 1, frame.size(), pipe) == frame.size()) frames.push_back(frame);
    if (pipe) pclose(pipe);
    if (frames.size() != kFrames) {
        std::fprintf(stderr, "the program ffmpeg did not make the tapes\n");
        std::exit(1);
    }
    for (auto& one : frames) one.resize(one.size() + AV_INPUT_BUFFER_PADDING_SIZE); // libavcodec reads ahead
    return frames;
}
std::size_t bytesOf(const Tape& tape) { return tape.pal ? 144000 : 120000; }

class Libav {
public:
    explicit Libav(int lowres) {
        const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_DVVIDEO);
        context_ = avcodec_alloc_context3(codec);
        context_->thread_count = 1;
        context_->lowres = lowres;
        if (avcodec_open2(context_, codec, nullptr) < 0) std::abort();
    }
    ~Libav() {
        avcodec_free_context(&context_);
        av_packet_free(&packet_);
        av_frame_free(&frame_);
        sws_freeContext(scaler_);
    }
    Libav(const Libav&) = delete;
    Libav& operator=(const Libav&) = delete;

    const AVFrame& decode(const std::uint8_t* dif, std::size_t bytes) {
        packet_->data = const_cast<std::uint8_t*>(dif);
        packet_->size = static_cast<int>(bytes);
        if (avcodec_send_packet(context_, packet_) < 0) std::abort();
        if (avcodec_receive_frame(context_, frame_) < 0) std::abort();
        return *frame_;
    }
    // libswscale at its quickest; the picture is top-down.
    void toRgb(const AVFrame& frame, std::uint8_t* out, int width, int height) {
        scaler_ = sws_getCachedContext(scaler_, frame.width, frame.height,
                                       static_cast<AVPixelFormat>(frame.format), width, height,
                                       AV_PIX_FMT_BGR24, SWS_FAST_BILINEAR, nullptr, nullptr, nullptr);
        std::uint8_t* const planes[1] = {out};
        const int pitches[1] = {width * 3};
        sws_scale(scaler_, frame.data, frame.linesize, 0, frame.height, planes, pitches);
    }

private:
    AVCodecContext* context_;
    AVPacket* packet_ = av_packet_alloc();
    AVFrame* frame_ = av_frame_alloc();
    SwsContext* scaler_ = nullptr;
};

#ifdef HAVE_LIBYUV
// libyuv has no 4:1:1: its colour rows are doubled first.
void libyuvToRgb(const AVFrame& frame, std::uint8_t* out) {
    if (frame.format == AV_PIX_FMT_YUV420P) {
        libyuv::I420ToRGB24(frame.data[0], frame.linesize[0], frame.data[1], frame.linesize[1], frame.data[2],
                            frame.linesize[2], out, 2160, 720, frame.height);
        return;
    }
    static std::vector<std::uint8_t> doubled[2];
    for (int i = 0; i < 2; ++i) {
        doubled[i].resize(static_cast<std::size_t>(360 * frame.height));
        libyuv::ScalePlane(frame.data[i + 1], frame.linesize[i + 1], 180, frame.height, doubled[i].data(),
                           360, 360, frame.height, libyuv::kFilterNone);
    }
    libyuv::I422ToRGB24(frame.data[0], frame.linesize[0], doubled[0].data(), 360, doubled[1].data(), 360, out,
                        2160, 720, frame.height);
}
#endif

// Mean difference of levels: the same picture, whatever the ways of rounding and of widening colour.
void checkAlike(const std::string& name, const std::vector<std::uint8_t>& a,
                const std::vector<std::uint8_t>& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) sum += std::abs(a[i] - b[i]);
    if (sum / static_cast<double>(a.size()) < 24) return;
    std::fprintf(stderr, "%s: pictures differ by %.1f levels\n", name.c_str(),
                 sum / static_cast<double>(a.size()));
    std::exit(1);
}

// A way to turn one frame into a picture, and its benchmark.
using Work = std::function<void(const std::uint8_t* dif, std::uint8_t* out)>;
void add(const std::string& name, const Tape& tape, std::size_t pictureBytes,
         const std::function<Work()>& make, const std::function<Work()>& judge) {
    benchmark::RegisterBenchmark(name.c_str(), [=, &tape](benchmark::State& state) {
        const Frames& frames = framesOf(tape);
        const Work work = make();
        std::vector<std::uint8_t> out(pictureBytes);
        std::vector<std::uint8_t> expected(pictureBytes);
        work(frames[1].data(), out.data());
        judge()(frames[1].data(), expected.data());
        checkAlike(name, out, expected);
        std::size_t i = 0;
        for (auto _ : state) {
            work(frames[i++ % frames.size()].data(), out.data());
            benchmark::DoNotOptimize(out.data());
        }
        state.SetItemsProcessed(state.iterations());
    })->Unit(benchmark::kMicrosecond);
}

void addSize(const Tape& tape, Reduction reduction) {
    const PictureSize size = pictureSize(tape.pal, reduction);
    const int lowres = reduction == Reduction::Full      ? 0
                       : reduction == Reduction::Half    ? 1
                       : reduction == Reduction::Quarter ? 2
                                                         : 3;
    const std::string name =
        "dv/" + std::to_string(size.width) + "x" + std::to_string(size.height) + "/" + tape.name;
    const std::size_t bytes = static_cast<std::size_t>(3 * size.width * size.height);
    const std::size_t difBytes = bytesOf(tape);
    const auto own = [=]() -> Work {
        auto decoder = std::make_shared<Decoder>();
        return [=](const std::uint8_t* dif, std::uint8_t* out) {
            const auto status =
                decoder->decode({dif, difBytes}, reduction, {.bits = out, .pitch = 3 * size.width});
            if (status != DecodeStatus::Done) std::abort();
        };
    };
    const auto swscale = [=]() -> Work {
        auto libav = std::make_shared<Libav>(lowres);
        return [=](const std::uint8_t* dif, std::uint8_t* out) {
            libav->toRgb(libav->decode(dif, difBytes), out, size.width, size.height);
        };
    };
    add(name + "/own", tape, bytes, own, swscale);
    add(name + "/libavcodec+libswscale", tape, bytes, swscale, own);
    if (reduction != Reduction::Full) return;
#ifdef HAVE_LIBYUV
    const auto yuv = [=]() -> Work {
        auto libav = std::make_shared<Libav>(0);
        return [=](const std::uint8_t* dif, std::uint8_t* out) {
            libyuvToRgb(libav->decode(dif, difBytes), out);
        };
    };
    add(name + "/libavcodec+libyuv", tape, bytes, yuv, own);
#endif
#ifdef HAVE_LIBDV
    const auto libdv = [=]() -> Work {
        auto decoder = std::shared_ptr<dv_decoder_t>(dv_decoder_new(0, 0, 0), dv_decoder_free);
        decoder->quality = DV_QUALITY_BEST;
        return [=](const std::uint8_t* dif, std::uint8_t* out) {
            dv_parse_header(decoder.get(), dif);
            std::uint8_t* planes[3] = {out, nullptr, nullptr};
            int pitches[3] = {2160, 0, 0};
            dv_decode_full_frame(decoder.get(), dif, e_dv_color_rgb, planes, pitches);
        };
    };
    // libdv gives R, G, B.
    const auto swapped = [=]() -> Work {
        return [=, work = own()](const std::uint8_t* dif, std::uint8_t* out) {
            work(dif, out);
            for (std::size_t i = 0; i < bytes; i += 3) std::swap(out[i], out[i + 2]);
        };
    };
    add(name + "/libdv", tape, bytes, libdv, swapped);
#endif
}

// 4:1:1 samples to 24-bit rows, nothing else; `dif` is not looked at.
void addRows(const Tape& tape) {
    const std::size_t difBytes = bytesOf(tape);
    const auto decoded = [=, &tape] {
        auto libav = std::make_shared<Libav>(0);
        return std::pair(libav, &libav->decode(framesOf(tape)[1].data(), difBytes));
    };
    const auto own = [=, &tape]() -> Work {
        auto decoder = std::make_shared<Decoder>();
        Planes planes;
        if (decoder->decodePlanes({framesOf(tape)[1].data(), difBytes}, Reduction::Full, planes) !=
            DecodeStatus::Done) {
            std::abort();
        }
        return [=](const std::uint8_t*, std::uint8_t* out) {
            static_cast<void>(decoder);
            planesToRgb(planes, {.bits = out, .pitch = 2160}, 0, 720);
        };
    };
    const auto swscale = [=]() -> Work {
        return [d = decoded()](const std::uint8_t*, std::uint8_t* out) {
            d.first->toRgb(*d.second, out, 720, d.second->height);
        };
    };
    const std::size_t bytes = static_cast<std::size_t>(2160 * (tape.pal ? 576 : 480));
    const std::string name = std::string("dv/rows/") + tape.name;
    add(name + "/own", tape, bytes, own, swscale);
    add(name + "/libswscale", tape, bytes, swscale, own);
#ifdef HAVE_LIBYUV
    const auto yuv = [=]() -> Work {
        return [d = decoded()](const std::uint8_t*, std::uint8_t* out) { libyuvToRgb(*d.second, out); };
    };
    add(name + "/libyuv", tape, bytes, yuv, own);
#endif
}

} // namespace

int main(int argc, char** argv) {
    for (const Tape& tape : kTapes) {
        for (const Reduction reduction :
             {Reduction::Full, Reduction::Half, Reduction::Quarter, Reduction::Eighth}) {
            addSize(tape, reduction);
        }
    }
    addRows(kTapes[1]);
    addRows(kTapes[3]);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
