#include "tests/support/DvJudge.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include "codecs/dv/DvColour.h"
#include "codecs/dv/DvLayout.h"
#include "tests/support/TestSupport.h"

namespace qv::dv::judge {
namespace {

constexpr const char* kInterlace = "tinterlace=mode=interleave_top,setfield=bff";
constexpr const char* kNoise = "noise=alls=30:allf=t,tinterlace=mode=interleave_top,setfield=bff";
constexpr Tape kTapes[] = {
    {"ntsc-easy", "yuv411p", false, "testsrc2=s=720x480:r=60000/1001", kInterlace},
    {"ntsc-hard", "yuv411p", false, "mandelbrot=s=720x480:r=60000/1001", kNoise},
    {"pal-easy", "yuv420p", true, "testsrc2=s=720x576:r=50", kInterlace},
    {"pal-hard", "yuv420p", true, "mandelbrot=s=720x576:r=50", kNoise},
    {"pal411-easy", "yuv411p", true, "testsrc2=s=720x576:r=50", kInterlace},
    {"pal411-hard", "yuv411p", true, "mandelbrot=s=720x576:r=50", kNoise},
};

} // namespace

std::span<const Tape> tapes() { return kTapes; }

std::vector<std::vector<std::uint8_t>> makeFrames(const Tape& tape, int count) {
    const auto path = test::makeFolder(std::string("tape-") + tape.name) / "frames.dv";
    const auto result = test::run({"sh", "-c",
                                   std::string("ffmpeg -nostdin -v error -y -f lavfi -i ") + tape.source +
                                       " -vf " + tape.filter + " -frames:v " + std::to_string(count) +
                                       " -c:v dvvideo -flags +ildct -pix_fmt " + tape.pixelFormat +
                                       " -f rawvideo " + path.string()});
    std::vector<std::vector<std::uint8_t>> frames;
    if (result.exitCode != 0) return frames;
    const std::string bytes = test::readFile(path);
    const std::size_t size = (tape.pal ? 12 : 10) * kDifSequenceBytes;
    for (std::size_t at = 0; at + size <= bytes.size(); at += size) {
        const auto* first = reinterpret_cast<const std::uint8_t*>(bytes.data()) + at;
        frames.emplace_back(first, first + size);
    }
    return frames;
}

struct Libav::State {
    AVCodecContext* context = nullptr;
    AVPacket* packet = nullptr;
    AVFrame* frame = nullptr;
    ~State() {
        avcodec_free_context(&context);
        av_packet_free(&packet);
        av_frame_free(&frame);
    }
};

Libav::Libav(int lowres) : state_(std::make_unique<State>()) {
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_DVVIDEO);
    state_->context = avcodec_alloc_context3(codec);
    state_->context->thread_count = 1;
    state_->context->lowres = lowres;
    state_->packet = av_packet_alloc();
    state_->frame = av_frame_alloc();
    if (avcodec_open2(state_->context, codec, nullptr) < 0) std::abort();
}
Libav::~Libav() = default;

bool Libav::decode(std::span<const std::uint8_t> dif, Planes& planes) {
    // Borrowed: the decoder copies what it keeps.
    state_->packet->data = const_cast<std::uint8_t*>(dif.data());
    state_->packet->size = static_cast<int>(dif.size());
    if (avcodec_send_packet(state_->context, state_->packet) < 0) return false;
    if (avcodec_receive_frame(state_->context, state_->frame) < 0) return false;
    const AVFrame& frame = *state_->frame;
    const bool is420 = frame.format == AV_PIX_FMT_YUV420P;
    planes = {.y = frame.data[0],
              .cb = frame.data[1],
              .cr = frame.data[2],
              .yPitch = frame.linesize[0],
              .colourPitch = frame.linesize[1],
              .width = frame.width,
              .height = frame.height,
              .colourWidth = frame.width / (is420 ? 2 : 4),
              .colourHeight = frame.height / (is420 ? 2 : 1)};
    return true;
}

std::vector<std::uint8_t> toBgr(const Planes& planes) {
    const bool is420 = planes.colourHeight < planes.height;
    std::vector<std::uint8_t> rows(static_cast<std::size_t>(3 * planes.width * planes.height));
    for (int y = 0; y < planes.height; ++y) {
        const int line = is420 ? y / 4 * 2 + y % 2 : y; // lines of colour belong to fields
        std::uint8_t colour[2][kWideRow];
        const std::uint8_t* const from[2] = {planes.cb, planes.cr};
        for (int i = 0; i < 2; ++i)
            widenColourPlain(from[i] + line * planes.colourPitch, planes.colourWidth, is420 ? 2 : 4,
                             colour[i]);
        rowToRgbPlain({planes.y + y * planes.yPitch, colour[0], colour[1], planes.width}, PixelFormat::Bgr24,
                      RgbRange::Full, &rows[static_cast<std::size_t>(3 * planes.width * y)]);
    }
    return rows;
}

void Distance::add(const std::uint8_t* a, std::ptrdiff_t aPitch, const std::uint8_t* b, std::ptrdiff_t bPitch,
                   int width, int height) {
    for (int y = 0; y < height; ++y, a += aPitch, b += bPitch) {
        for (int x = 0; x < width; ++x) {
            const int difference = std::abs(a[x] - b[x]);
            squares += difference * difference;
            beyondOne += difference > 1;
            largest = std::max(largest, difference);
        }
        samples += width;
    }
}

double Distance::psnr() const {
    if (squares == 0) return 99;
    return 10 * std::log10(255.0 * 255.0 * static_cast<double>(samples) / squares);
}

} // namespace qv::dv::judge
