// The pixel work of CQVDIB beside OpenCV, on one thread: nearest-neighbour sampling, turns, gray, 8 bits to 24, BMP
// files. Inputs are random bytes of a fixed seed. Every answer is checked once before anything is measured.
#include "qvlibs/image/OwnSampler.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/image/kernels/Rows.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

struct Sizes {
    int width, height, toWidth, toHeight;
    std::string name() const {
        return std::to_string(width) + "x" + std::to_string(height) + "-" + std::to_string(toWidth) + "x" +
               std::to_string(toHeight);
    }
};
constexpr Sizes kSamples[] = {{720, 480, 180, 120},
                              {720, 480, 160, 120},
                              {720, 576, 720, 480},
                              {720, 480, 640, 480},
                              {1920, 1080, 720, 480},
                              {4000, 3000, 720, 480},
                              // how the cost grows
                              {360, 240, 320, 240},
                              {1440, 960, 1280, 960},
                              {2880, 1920, 2560, 1920}};
constexpr Sizes kFrames[] = {{360, 240, 0, 0}, {720, 480, 0, 0}, {1440, 960, 0, 0}, {2880, 1920, 0, 0}};

std::vector<BYTE> randomBytes(size_t size) {
    std::mt19937 random(1);
    std::vector<BYTE> bytes(size);
    for (BYTE& byte : bytes) byte = static_cast<BYTE>(random());
    return bytes;
}

// Widths here are multiples of 4: rows have no padding, so that both sides can use the same buffers.
struct Picture {
    Picture(int w, int h, int pixelBytes = 3)
        : width(w), height(h), bytes(randomBytes(static_cast<size_t>(w) * static_cast<size_t>(h) *
                                                 static_cast<size_t>(pixelBytes))),
          mat(h, w, pixelBytes == 1 ? CV_8UC1 : CV_8UC3, bytes.data()) {}
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    qv::PixelView view() { return {bytes.data(), 3 * static_cast<std::ptrdiff_t>(width), width, height}; }
    BYTE* row(int y) {
        return bytes.data() + static_cast<size_t>(y) * bytes.size() / static_cast<size_t>(height);
    }
    int width, height;
    std::vector<BYTE> bytes;
    cv::Mat mat; // the same bytes
};

void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "wrong answer: %s\n", what);
    std::exit(1);
}

void count(benchmark::State& state, int width, int height) {
    state.counters["Mpixel/s"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * width * height * 1e-6, benchmark::Counter::kIsRate);
}

void sample(Picture& from, Picture& to) {
    qv::sampleNearest(3, {from.bytes.data(), 3 * from.width, from.width, from.height},
                      {to.bytes.data(), 3 * to.width, to.width, to.height}, {0, 0, to.width, to.height});
}

void sampleOurs(benchmark::State& state, Sizes sizes) {
    Picture from(sizes.width, sizes.height), to(sizes.toWidth, sizes.toHeight),
        plain(sizes.toWidth, sizes.toHeight);
    sample(from, to);
    qv::plain::sampleNearest(3, {from.bytes.data(), 3 * from.width, from.width, from.height},
                             {plain.bytes.data(), 3 * to.width, to.width, to.height},
                             {0, 0, to.width, to.height});
    require(to.bytes == plain.bytes, "own sampler");
    for (auto _ : state) {
        sample(from, to);
        benchmark::ClobberMemory();
    }
    count(state, sizes.toWidth, sizes.toHeight);
}

void sampleOpenCv(benchmark::State& state, Sizes sizes) {
    Picture from(sizes.width, sizes.height), to(sizes.toWidth, sizes.toHeight);
    for (auto _ : state) {
        cv::resize(from.mat, to.mat, to.mat.size(), 0, 0, cv::INTER_NEAREST);
        benchmark::ClobberMemory();
    }
    count(state, sizes.toWidth, sizes.toHeight);
}

constexpr struct {
    const char* name;
    qv::Turn turn;
    cv::RotateFlags flag;
} kTurns[] = {{"90", qv::Turn::Clockwise, cv::ROTATE_90_CLOCKWISE},
              {"180", qv::Turn::Half, cv::ROTATE_180},
              {"270", qv::Turn::CounterClockwise, cv::ROTATE_90_COUNTERCLOCKWISE}};

template <bool Ours>
void turn(benchmark::State& state, Sizes size, int row) {
    const auto& kind = kTurns[row];
    const bool half = kind.turn == qv::Turn::Half;
    Picture from(size.width, size.height);
    Picture to(half ? size.width : size.height, half ? size.height : size.width), peer(to.width, to.height);
    qv::turn24(from.view(), to.view(), kind.turn);
    cv::rotate(from.mat, peer.mat, kind.flag);
    require(to.bytes == peer.bytes, "turn");
    for (auto _ : state) {
        if constexpr (Ours) {
            qv::turn24(from.view(), to.view(), kind.turn);
        } else {
            cv::rotate(from.mat, to.mat, kind.flag);
        }
        benchmark::ClobberMemory();
    }
    count(state, size.width, size.height);
}

template <bool Ours>
void gray(benchmark::State& state, Sizes size) {
    Picture picture(size.width, size.height), other(size.width, size.height);
    cv::Mat one;
    for (auto _ : state) {
        if constexpr (Ours) {
            for (int y = 0; y < size.height; ++y) {
                qv::grayRow24(other.row(y), picture.row(y), static_cast<size_t>(size.width));
            }
        } else {
            cv::cvtColor(picture.mat, one, cv::COLOR_BGR2GRAY);
            cv::cvtColor(one, other.mat, cv::COLOR_GRAY2BGR);
        }
        benchmark::ClobberMemory();
    }
    count(state, size.width, size.height);
}

template <bool Ours>
void colors(benchmark::State& state, Sizes size) {
    Picture from(size.width, size.height, 1), to(size.width, size.height), peer(size.width, size.height);
    std::vector<qv::PaletteEntry> palette(256);
    cv::Mat table(256, 1, CV_8UC3);
    for (int i = 0; i < 256; ++i) {
        const auto at = [i](int factor) { return static_cast<BYTE>(i * factor); };
        palette[static_cast<size_t>(i)] = {at(3), at(5), at(7), 0};
        table.at<cv::Vec3b>(i) = {at(3), at(5), at(7)};
    }
    const auto ours = [&] {
        for (int y = 0; y < size.height; ++y) {
            qv::palette8Row24(to.row(y), from.row(y), static_cast<size_t>(size.width), palette.data());
        }
    };
    ours();
    cv::applyColorMap(from.mat, peer.mat, table);
    require(std::memcmp(peer.mat.data, to.bytes.data(), to.bytes.size()) == 0, "8 bits to 24");
    for (auto _ : state) {
        if constexpr (Ours) {
            ours();
        } else {
            cv::applyColorMap(from.mat, peer.mat, table);
        }
        benchmark::ClobberMemory();
    }
    count(state, size.width, size.height);
}

void copyMemory(benchmark::State& state, Sizes size) {
    Picture from(size.width, size.height), to(size.width, size.height);
    for (auto _ : state) {
        std::memcpy(to.bytes.data(), from.bytes.data(), from.bytes.size());
        benchmark::ClobberMemory();
    }
    count(state, size.width, size.height);
}

constexpr int kFileWidth = 1920, kFileHeight = 1080;

std::string filePath() { return "/dev/shm/image_bench." + std::to_string(::getpid()) + ".bmp"; }

void fill(CQVDIB& dib) {
    const auto bytes = randomBytes(size_t{3} * kFileWidth * kFileHeight);
    auto* pixels = new unsigned char[bytes.size()];
    std::memcpy(pixels, bytes.data(), bytes.size());
    dib.Init({kFileWidth, kFileHeight}, 24, pixels);
}

template <bool Ours>
void readFile(benchmark::State& state) {
    CQVDIB dib;
    fill(dib);
    require(dib.Save(filePath().c_str()) == 1, "saving");
    const cv::Mat peer = cv::imread(filePath());
    require(std::memcmp(peer.ptr(kFileHeight - 1), dib.GetBitsAddress(), 3 * kFileWidth) == 0, "BMP");
    for (auto _ : state) {
        if constexpr (Ours) {
            CQVDIB read;
            CFile file;
            file.Open(filePath().c_str(), CFile::modeRead);
            benchmark::DoNotOptimize(read.Read(&file));
        } else {
            benchmark::DoNotOptimize(cv::imread(filePath()).data);
        }
    }
    std::remove(filePath().c_str());
    count(state, kFileWidth, kFileHeight);
}

template <bool Ours>
void writeFile(benchmark::State& state) {
    CQVDIB dib;
    fill(dib);
    const cv::Mat peer(kFileHeight, kFileWidth, CV_8UC3, dib.GetBitsAddress());
    for (auto _ : state) {
        if constexpr (Ours) {
            benchmark::DoNotOptimize(dib.Save(filePath().c_str()));
        } else {
            benchmark::DoNotOptimize(cv::imwrite(filePath(), peer));
        }
    }
    std::remove(filePath().c_str());
    count(state, kFileWidth, kFileHeight);
}

template <class Function, class... Arguments>
void add(const std::string& name, Function function, Arguments... arguments) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        function(state, arguments...);
    })->Unit(benchmark::kMicrosecond);
}

} // namespace

int main(int argc, char** argv) {
    cv::setNumThreads(1);
    for (const Sizes& sizes : kSamples) {
        add("sample/own/" + sizes.name(), sampleOurs, sizes);
        add("sample/opencv/" + sizes.name(), sampleOpenCv, sizes);
    }
    for (const Sizes& size : kFrames) {
        const std::string name = std::to_string(size.width) + "x" + std::to_string(size.height);
        add("copy/memcpy/" + name, copyMemory, size);
        for (int row = 0; row < 3; ++row) {
            add(std::string("turn") + kTurns[row].name + "/own/" + name, turn<true>, size, row);
            add(std::string("turn") + kTurns[row].name + "/opencv/" + name, turn<false>, size, row);
        }
        add("gray/own/" + name, gray<true>, size);
        add("gray/opencv/" + name, gray<false>, size);
        add("8to24/own/" + name, colors<true>, size);
        add("8to24/opencv/" + name, colors<false>, size);
    }
    add("bmp-read/own/1920x1080", readFile<true>);
    add("bmp-read/opencv/1920x1080", readFile<false>);
    add("bmp-write/own/1920x1080", writeFile<true>);
    add("bmp-write/opencv/1920x1080", writeFile<false>);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
