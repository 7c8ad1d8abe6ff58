// Whether frame n by jumping is frame n by counting: movie_frames JUMPS MOVIE... for movies whose frames carry their
// numbers as 12 bars, the lowest bit at the left. Reads each movie forward, checks the numbers, then jumps about (every
// hundredth time in a movie just opened) and goes backward. Fails when a frame is another one or missing.
#include "qvlibs/media/Qvavitools.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr LONG kBars = 12;

struct Close {
    void operator()(void* movie) const { QVTLAVIFileClose(movie); }
};

class Frames {
public:
    explicit Frames(const char* path) : path_(path) { reopen(); }

    bool isOpen() const { return movie_ && width_ >= kBars && height_ > 0; }
    LONG count() const { return QVTLAVIGetTotalFrames(movie_.get()); }
    void reopen() {
        movie_.reset(QVTLAVIFileOpen(path_, 0));
        BITMAPINFOHEADER format{};
        if (movie_ && QVTLAVIGetVideoFormat(movie_.get(), &format) == 0)
            width_ = format.biWidth, height_ = format.biHeight;
    }
    // Empty when it cannot be read.
    std::string read(LONG frame) const {
        std::string bits(rowBytes() * static_cast<size_t>(height_), '\0');
        auto* const out = reinterpret_cast<unsigned char*>(bits.data());
        return QVTLAVIGetNonCompressedStreamEx(movie_.get(), frame, out, 1) == 0 ? bits : std::string();
    }
    LONG numberIn(const std::string& bits) const {
        LONG number = 0;
        for (LONG bar = 0; bar < kBars && !bits.empty(); ++bar) {
            const auto x = static_cast<size_t>((2 * bar + 1) * width_ / (2 * kBars));
            const auto value =
                static_cast<unsigned char>(bits[rowBytes() * static_cast<size_t>(height_ / 2) + 3 * x]);
            if (value > 127) number |= 1 << bar;
        }
        return bits.empty() ? -1 : number;
    }

private:
    size_t rowBytes() const { return (static_cast<size_t>(width_) * 3 + 3) / 4 * 4; }

    const char* path_;
    std::unique_ptr<void, Close> movie_;
    LONG width_ = 0, height_ = 0;
};

int check(const char* path, int jumps) {
    Frames counted(path);
    if (!counted.isOpen()) return std::printf("%s: cannot be opened\n", path), 1;
    const LONG count = counted.count();
    int wrong = count < 100;
    std::vector<size_t> sums;
    for (LONG i = 0; i < count; ++i) {
        const std::string bits = counted.read(i);
        sums.push_back(std::hash<std::string>{}(bits));
        if (counted.numberIn(bits) != i) ++wrong;
    }
    const auto isSame = [&](const Frames& movie, LONG frame) {
        return std::hash<std::string>{}(movie.read(frame)) == sums[static_cast<size_t>(frame)];
    };
    Frames jumping(path);
    std::mt19937 random(1);
    int backward = 0;
    LONG last = 0;
    for (int i = 0; i < jumps && count > 0; ++i) {
        if (i % 100 == 99) jumping.reopen();
        const auto frame = static_cast<LONG>(random() % static_cast<unsigned>(count));
        backward += frame < last;
        last = frame;
        if (!isSame(jumping, frame)) ++wrong;
    }
    const LONG first = std::max<LONG>(count - 200, 0);
    for (LONG i = count - 1; i >= first; --i) {
        if (!isSame(jumping, i)) ++wrong;
    }
    const std::string name = path;
    std::printf("%-18s %d frames counted, %d jumps (%d backward), %d one by one backward: %d wrong\n",
                name.substr(name.rfind('/') + 1).c_str(), count, jumps, backward, count - first, wrong);
    return wrong != 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) return std::fprintf(stderr, "usage: movie_frames JUMPS MOVIE...\n"), 2;
    int failed = 0;
    for (int i = 2; i < argc; ++i) failed |= check(argv[i], std::atoi(argv[1]));
    return failed;
}
