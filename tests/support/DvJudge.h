// What the tests of the DV codec are judged by: frames made by the program ffmpeg, and libavcodec's decoder.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "codecs/dv/DvDecoder.h"

namespace qv::dv::judge {

struct Tape {
    const char* name;
    const char* pixelFormat; // yuv411p, yuv420p
    bool pal;
    const char* source; // a source filter of ffmpeg at 50 or 59.94 pictures a second
    const char* filter; // what follows; pictures become the fields of frames
};
// One easy and one hard tape of each kind: 4:1:1 of both systems and 4:2:0.
[[nodiscard]] std::span<const Tape> tapes();

// Frames as the program ffmpeg makes them; empty on failure.
[[nodiscard]] std::vector<std::vector<std::uint8_t>> makeFrames(const Tape& tape, int count);

// libavcodec. lowres 0 to 3 halves the size as often.
class Libav {
public:
    explicit Libav(int lowres = 0);
    ~Libav();
    // The planes last until the next call. False when it refuses the frame.
    [[nodiscard]] bool decode(std::span<const std::uint8_t> dif, Planes& planes);

private:
    struct State;
    std::unique_ptr<State> state_;
};

// Full-size planes as top-down 24-bit rows without gaps, in floating point.
[[nodiscard]] std::vector<std::uint8_t> toBgr(const Planes& planes);

// Peak signal to noise ratio in decibels between two planes, and how many samples differ by more than 1.
struct Distance {
    double squares = 0;
    std::int64_t samples = 0;
    std::int64_t beyondOne = 0;
    int largest = 0;
    void add(const std::uint8_t* a, std::ptrdiff_t aPitch, const std::uint8_t* b, std::ptrdiff_t bPitch,
             int width, int height);
    [[nodiscard]] double psnr() const;
};

} // namespace qv::dv::judge
