// DV frames to pictures: our decoder beside libavcodec with libswscale and libyuv, and libdv.
//
// Names: dv/WORK/TAPE/WHO. WORK is the size of the picture, or "rows" for the step from samples to RGB alone. The
// tapes are made by the program ffmpeg: an easy one (a test card) and a hard one (a zoom into a fractal with
// noise), interlaced, in both systems. One thread. Times are per frame.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
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

#include "codecs/dv/DvColour.h"
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
std::size_t bytesOf(const Tape& tape) { return tape.pal ? 144000 : 120000; }

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
    std::vector<std::uint8_t> frame(bytesOf(tape));
    while (pipe && fread(frame.data(), 1, frame.size(), pipe) == frame.size()) frames.push_back(frame);
    if (pipe) pclose(pipe);
    if (frames.size() != kFrames) {
        std::fprintf(stderr, "the program ffmpeg did not make the tapes\n");
        std::exit(1);
    }
    for (auto& one : frames) one.resize(one.size() + AV_INPUT_BUFFER_PADDING_SIZE); // libavcodec reads ahead
    return frames;
}
// Rows stand on whole vectors: libswscale writes past the end of the others, into the next row.
int pitchOf(int width) { return (3 * width + 63) / 64 * 64; }

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
    // libswscale at its quickest; the picture is top-down. Of the 90 samples in a row of an eighth the middle 88
    // are taken, as our decoder does.
    void toRgb(const AVFrame& frame, std::uint8_t* out, int width, int height) {
        scaler_ =
            sws_getCachedContext(scaler_, width, height, static_cast<AVPixelFormat>(frame.format), width,
                                 height, AV_PIX_FMT_BGR24, SWS_FAST_BILINEAR, nullptr, nullptr, nullptr);
        const std::uint8_t* const from[3] = {frame.data[0] + (frame.width - width) / 2, frame.data[1],
                                             frame.data[2]};
        std::uint8_t* const to[1] = {out};
        const int pitches[1] = {pitchOf(width)};
        sws_scale(scaler_, from, frame.linesize, 0, height, to, pitches);
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
                            frame.linesize[2], out, pitchOf(720), 720, frame.height);
        return;
    }
    static std::vector<std::uint8_t> doubled[2];
    for (int i = 0; i < 2; ++i) {
        doubled[i].resize(static_cast<std::size_t>(frame.height) * 360);
        libyuv::ScalePlane(frame.data[i + 1], frame.linesize[i + 1], 180, frame.height, doubled[i].data(),
                           360, 360, frame.height, libyuv::kFilterNone);
    }
    libyuv::I422ToRGB24(frame.data[0], frame.linesize[0], doubled[0].data(), 360, doubled[1].data(), 360, out,
                        pitchOf(720), 720, frame.height);
}
#endif

// The picture that every way is judged by: libavcodec's planes turned to RGB in floating point, and the means of
// r x r of its pixels.
std::vector<std::uint8_t> expectedPicture(const std::uint8_t* dif, const Tape& tape, Reduction reduction) {
    Libav libav(0);
    const AVFrame& frame = libav.decode(dif, bytesOf(tape));
    const bool is420 = frame.format == AV_PIX_FMT_YUV420P;
    const int factor = is420 ? 2 : 4;
    std::vector<std::uint8_t> full(static_cast<std::size_t>(frame.height) * 2160);
    for (int y = 0; y < frame.height; ++y) {
        const int line = is420 ? y / 4 * 2 + y % 2 : y; // lines of colour belong to fields
        std::uint8_t colour[2][kWideRow];
        for (int i = 0; i < 2; ++i)
            widenColourPlain(frame.data[i + 1] + line * frame.linesize[i + 1], 720 / factor, factor,
                             colour[i]);
        rowToRgbPlain({frame.data[0] + y * frame.linesize[0], colour[0], colour[1], 720}, PixelFormat::Bgr24,
                      RgbRange::Full, &full[static_cast<std::size_t>(y) * 2160]);
    }
    const int r = static_cast<int>(reduction);
    const PictureSize size = pictureSize(tape.pal, reduction);
    const int first = reduction == Reduction::Eighth ? 8 : 0; // one pixel is left out
    std::vector<std::uint8_t> out;
    for (int i = 0; i < 3 * size.width * size.height; ++i) {
        const int x = first + i / 3 % size.width * r;
        const int y = i / 3 / size.width * r;
        int sum = 0;
        for (int k = 0; k < r * r; ++k)
            sum += full[static_cast<std::size_t>((y + k / r) * 2160 + (x + k % r) * 3 + i % 3)];
        out.push_back(static_cast<std::uint8_t>((sum + r * r / 2) / (r * r)));
    }
    return out;
}

// Peak signal to noise ratio in decibels of a picture: luma (with RGB, as one number tells them apart), and RGB.
struct Nearness {
    double luma, rgb;
};
Nearness nearness(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b) {
    double luma = 0;
    double rgb = 0;
    for (std::size_t i = 0; i < a.size(); i += 3) {
        const int blue = a[i] - b[i];
        const int green = a[i + 1] - b[i + 1];
        const int red = a[i + 2] - b[i + 2];
        const double grey = 0.114 * blue + 0.587 * green + 0.299 * red;
        luma += grey * grey;
        rgb += blue * blue + green * green + red * red;
    }
    const auto decibels = [](double squares, std::size_t count) {
        return squares == 0 ? 99 : 10 * std::log10(255.0 * 255 * static_cast<double>(count) / squares);
    };
    return {decibels(luma, a.size() / 3), decibels(rgb, a.size())};
}

void swapRedAndBlue(std::vector<std::uint8_t>& picture) {
    for (std::size_t i = 0; i < picture.size(); i += 3) std::swap(picture[i], picture[i + 2]);
}

// Ways of rounding and of widening colour differ. But luma must be nearer than that of the picture moved by one
// pixel or one row, with 3 dB to spare, and colour nearer than with red and blue exchanged; our own luma must come
// within 38 dB at every size, which not all of the peers' reduced sizes do.
Nearness check(const std::string& name, const std::vector<std::uint8_t>& rows, int pitch, PictureSize size,
               const std::vector<std::uint8_t>& expected, bool isRgb) {
    std::vector<std::uint8_t> picture;
    for (int y = 0; y < size.height; ++y) {
        const auto row = rows.begin() + y * pitch;
        picture.insert(picture.end(), row, row + 3 * size.width);
    }
    if (isRgb) swapRedAndBlue(picture);
    constexpr double kOwnLuma = 38;
    double luma = name.ends_with("/own") ? kOwnLuma - 3 : 0;
    for (const int bytes : {3, 3 * size.width}) {
        std::vector<std::uint8_t> moved = expected;
        std::rotate(moved.begin(), moved.begin() + bytes, moved.end());
        luma = std::max(luma, nearness(moved, expected).luma);
    }
    std::vector<std::uint8_t> swapped = expected;
    swapRedAndBlue(swapped);
    const double rgb = nearness(swapped, expected).rgb;
    const Nearness found = nearness(picture, expected);
    if (found.luma < luma + 3 || found.rgb < rgb) {
        std::fprintf(stderr, "%s: another picture: luma %.1f dB (wanted %.1f), RGB %.1f dB (swapped %.1f)\n",
                     name.c_str(), found.luma, luma + 3, found.rgb, rgb);
        std::exit(1);
    }
    return found;
}

// A way to turn one frame into a picture, and its benchmark.
using Work = std::function<void(const std::uint8_t* dif, std::uint8_t* out)>;
void add(const std::string& name, const Tape& tape, Reduction reduction, const std::function<Work()>& make,
         bool isRgb = false) {
    benchmark::RegisterBenchmark(name.c_str(), [=, &tape](benchmark::State& state) {
        const Frames& frames = framesOf(tape);
        const Work work = make();
        const PictureSize size = pictureSize(tape.pal, reduction);
        const int pitch = pitchOf(size.width);
        std::vector<std::uint8_t> out(static_cast<std::size_t>(pitch * (size.height + 1)));
        work(frames[1].data(), out.data());
        const auto expected = expectedPicture(frames[1].data(), tape, reduction);
        const Nearness found = check(name, out, pitch, size, expected, isRgb);
        state.counters["dB_luma"] = found.luma;
        state.counters["dB_RGB"] = found.rgb;
        std::size_t i = 0;
        for (auto _ : state) {
            work(frames[i++ % frames.size()].data(), out.data());
            benchmark::DoNotOptimize(out.data());
        }
    })->Unit(benchmark::kMicrosecond);
}

void addSize(const Tape& tape, Reduction reduction) {
    const PictureSize size = pictureSize(tape.pal, reduction);
    const int lowres = std::countr_zero(static_cast<unsigned>(reduction));
    const std::string name =
        "dv/" + std::to_string(size.width) + "x" + std::to_string(size.height) + "/" + tape.name;
    const std::size_t difBytes = bytesOf(tape);
    const auto own = [=]() -> Work {
        auto decoder = std::make_shared<Decoder>();
        return [=](const std::uint8_t* dif, std::uint8_t* out) {
            const auto status =
                decoder->decode({dif, difBytes}, reduction, {.bits = out, .pitch = pitchOf(size.width)});
            if (status != DecodeStatus::Done) std::abort();
        };
    };
    const auto swscale = [=]() -> Work {
        auto libav = std::make_shared<Libav>(lowres);
        return [=](const std::uint8_t* dif, std::uint8_t* out) {
            libav->toRgb(libav->decode(dif, difBytes), out, size.width, size.height);
        };
    };
    add(name + "/own", tape, reduction, own);
    add(name + "/libavcodec+libswscale", tape, reduction, swscale);
    if (reduction != Reduction::Full) return;
#ifdef HAVE_LIBYUV
    const auto yuv = [=]() -> Work {
        auto libav = std::make_shared<Libav>(0);
        return [=](const std::uint8_t* dif, std::uint8_t* out) {
            libyuvToRgb(libav->decode(dif, difBytes), out);
        };
    };
    add(name + "/libavcodec+libyuv", tape, reduction, yuv);
#endif
#ifdef HAVE_LIBDV
    const auto libdv = [=]() -> Work {
        auto decoder = std::shared_ptr<dv_decoder_t>(dv_decoder_new(0, 0, 0), dv_decoder_free);
        decoder->quality = DV_QUALITY_BEST;
        return [=](const std::uint8_t* dif, std::uint8_t* out) {
            dv_parse_header(decoder.get(), dif);
            std::uint8_t* planes[3] = {out, nullptr, nullptr};
            int pitches[3] = {pitchOf(720), 0, 0};
            dv_decode_full_frame(decoder.get(), dif, e_dv_color_rgb, planes, pitches);
        };
    };
    add(name + "/libdv", tape, reduction, libdv, true);
#endif
}

// Samples (4:1:1, for PAL 4:2:0) to 24-bit rows, nothing else; `dif` is not looked at.
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
            planesToRgb(planes, {.bits = out, .pitch = pitchOf(720)}, 0, 720);
        };
    };
    const auto swscale = [=]() -> Work {
        return [d = decoded()](const std::uint8_t*, std::uint8_t* out) {
            d.first->toRgb(*d.second, out, 720, d.second->height);
        };
    };
    const std::string name = std::string("dv/rows/") + tape.name;
    add(name + "/own", tape, Reduction::Full, own);
    add(name + "/libswscale", tape, Reduction::Full, swscale);
#ifdef HAVE_LIBYUV
    const auto yuv = [=]() -> Work {
        return [d = decoded()](const std::uint8_t*, std::uint8_t* out) { libyuvToRgb(*d.second, out); };
    };
    add(name + "/libyuv", tape, Reduction::Full, yuv);
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
    for (const Tape& tape : kTapes) addRows(tape);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
