// A title frame of 720x480 through the title family, and beside it libass's own rendering with a plain blending
// of its pieces into the same rows. Each frame differs from the last (the text fades) or does not.
#include "qvlibs/media/TitleFamily.h"

#include <benchmark/benchmark.h>

#include <ass/ass.h>

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr int kWidth = 720, kHeight = 480, kFrames = 100;

const std::string kScript =
    "[Script Info]\nScriptType: v4.00+\nPlayResX: 720\nPlayResY: 480\nScaledBorderAndShadow: yes\n[V4+ "
    "Styles]\n"
    "Format: Name, Fontname, Fontsize, PrimaryColour, OutlineColour, Bold, BorderStyle, Outline, Shadow, "
    "Alignment\n"
    "Style: D,sans-serif,64,&H0000CCFF,&H00000080,0,1,3,0,5\n[Events]\n"
    "Format: Layer, Start, End, Style, Text\n"
    "Dialogue: 0,0:00:00.00,0:00:10.00,D,{\\fad(5000,0)}Our summer\\Nat the lake\\Nand in the hills\n"
    "Dialogue: 0,0:00:20.00,0:00:30.00,D,Our summer\\Nat the lake\\Nand in the hills\n";

std::string file() {
    static const std::string path = [] {
        char pattern[] = "/tmp/qvlibs-bench-XXXXXX";
        const std::string name = std::string(mkdtemp(pattern)) + "/a.ass";
        std::ofstream(name) << kScript;
        return name;
    }();
    return path;
}

class Alone {
public:
    Alone() : library_(ass_library_init()) {
        ass_set_message_cb(
            library_, [](int, const char*, va_list, void*) {}, nullptr);
        renderer_ = ass_renderer_init(library_);
        std::string script = kScript;
        track_ = ass_read_memory(library_, script.data(), script.size(), nullptr);
        ass_set_fonts(renderer_, nullptr, "sans-serif", ASS_FONTPROVIDER_AUTODETECT, nullptr, 1);
        ass_set_frame_size(renderer_, kWidth, kHeight);
        ass_set_storage_size(renderer_, kWidth, kHeight);
    }
    ~Alone() {
        ass_free_track(track_);
        ass_renderer_done(renderer_);
        ass_library_done(library_);
    }
    Alone(const Alone&) = delete;
    Alone& operator=(const Alone&) = delete;

    void render(int frame, unsigned char* bits) {
        std::memset(bits, 0, size_t{kWidth} * kHeight * 3);
        const ASS_Image* piece = ass_render_frame(renderer_, track_, frame * 1001LL / 30, nullptr);
        for (; piece; piece = piece->next) {
            const unsigned opacity = 255 - (piece->color & 0xFF);
            for (int y = 0; y < piece->h; ++y) {
                unsigned char* row =
                    bits + (size_t(kHeight - 1 - piece->dst_y - y) * kWidth + size_t(piece->dst_x)) * 3;
                for (int x = 0; x < piece->w; ++x, row += 3) {
                    const unsigned a = piece->bitmap[y * piece->stride + x] * opacity / 255;
                    for (int i = 0; i < 3; ++i)
                        row[i] = static_cast<unsigned char>(
                            (row[i] * (255 - a) + (piece->color >> (8 * (i + 1)) & 0xFF) * a) / 255);
                }
            }
        }
    }

private:
    ASS_Library* library_;
    ASS_Renderer* renderer_ = nullptr;
    ASS_Track* track_ = nullptr;
};

class Family {
public:
    Family() : title_(QVTLTitleFileOpen(file().c_str())) {}
    ~Family() {
        if (title_) QVTLTitleFileClose(title_);
    }
    Family(const Family&) = delete;
    Family& operator=(const Family&) = delete;
    void render(int frame, unsigned char* bits) { QVTLTitleGetDib(title_, frame, bits); }

private:
    void* title_;
};

bool agree() {
    Alone alone;
    Family family;
    std::vector<unsigned char> a(size_t{kWidth} * kHeight * 3), b(a.size());
    alone.render(kFrames, a.data());
    family.render(kFrames, b.data());
    bool seen = false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (std::abs(a[i] - b[i]) > 3) return false;
        seen = seen || a[i] > 100;
    }
    return seen;
}

template <class Renderer>
void frames(benchmark::State& state, int first) {
    if (!agree()) return state.SkipWithError("the two do not show the same");
    Renderer renderer;
    std::vector<unsigned char> bits(size_t{kWidth} * kHeight * 3);
    int frame = 0;
    for (auto round : state) {
        renderer.render(first + frame, bits.data());
        frame = (frame + 1) % kFrames;
        benchmark::ClobberMemory();
    }
}

void family(benchmark::State& state, int first) { frames<Family>(state, first); }
void libass(benchmark::State& state, int first) { frames<Alone>(state, first); }

BENCHMARK_CAPTURE(family, fading, 0)->Name("title/fading/family")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(libass, fading, 0)->Name("title/fading/libass")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(family, still, 620)->Name("title/still/family")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(libass, still, 620)->Name("title/still/libass")->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return std::system(("rm -r " + file().substr(0, file().rfind('/'))).c_str());
}
