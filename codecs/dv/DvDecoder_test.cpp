#include "codecs/dv/DvDecoder.h"

#include <gtest/gtest.h>

#include "tests/support/DvJudge.h"
#include "tests/support/TestSupport.h"

namespace qv::dv {
namespace {

judge::Distance distance(const Planes& a, const Planes& b) {
    judge::Distance result;
    result.add(a.y, a.yPitch, b.y, b.yPitch, a.width, a.height);
    result.add(a.cb, a.colourPitch, b.cb, b.colourPitch, a.colourWidth, a.colourHeight);
    result.add(a.cr, a.colourPitch, b.cr, b.colourPitch, a.colourWidth, a.colourHeight);
    return result;
}

TEST(DvDecoder, FullSizePlanesAreThoseOfLibavcodec) {
    QV_NEEDS_PROGRAM("ffmpeg");
    for (const judge::Tape& tape : judge::tapes()) {
        SCOPED_TRACE(tape.name);
        judge::Libav libav;
        Decoder decoder;
        judge::Distance all;
        const auto frames = judge::makeFrames(tape, 4);
        ASSERT_EQ(frames.size(), 4u);
        for (const auto& frame : frames) {
            Planes theirs;
            Planes ours;
            ASSERT_TRUE(libav.decode(frame, theirs));
            ASSERT_EQ(decoder.decodePlanes(frame, Reduction::Full, ours), DecodeStatus::Done);
            ASSERT_EQ(ours.width, theirs.width);
            ASSERT_EQ(ours.height, theirs.height);
            ASSERT_EQ(ours.colourWidth, theirs.colourWidth);
            ASSERT_EQ(ours.colourHeight, theirs.colourHeight);
            const judge::Distance one = distance(ours, theirs);
            all.squares += one.squares;
            all.samples += one.samples;
            all.beyondOne += one.beyondOne;
            all.largest = std::max(all.largest, one.largest);
        }
        EXPECT_GE(all.psnr(), 48);
        EXPECT_LE(all.beyondOne * 1000, all.samples);
    }
}

// The mean of r x r samples.
std::vector<std::uint8_t> reduced(const std::uint8_t* samples, std::ptrdiff_t pitch, int width, int height,
                                  int r) {
    std::vector<std::uint8_t> out;
    for (int y = 0; y < height / r; ++y) {
        for (int x = 0; x < width / r; ++x) {
            int sum = 0;
            for (int i = 0; i < r * r; ++i) sum += samples[(y * r + i / r) * pitch + x * r + i % r];
            out.push_back(static_cast<std::uint8_t>((sum + r * r / 2) / (r * r)));
        }
    }
    return out;
}

TEST(DvDecoder, ReducedSizesAreTheFullOneReduced) {
    QV_NEEDS_PROGRAM("ffmpeg");
    for (const judge::Tape& tape : judge::tapes()) {
        Decoder decoder;
        for (const auto& frame : judge::makeFrames(tape, 2)) {
            Planes full;
            ASSERT_EQ(decoder.decodePlanes(frame, Reduction::Full, full), DecodeStatus::Done);
            for (const Reduction reduction : {Reduction::Half, Reduction::Quarter, Reduction::Eighth}) {
                const int r = static_cast<int>(reduction);
                SCOPED_TRACE(std::string(tape.name) + " / " + std::to_string(r));
                Planes small;
                ASSERT_EQ(decoder.decodePlanes(frame, reduction, small), DecodeStatus::Done);
                ASSERT_EQ(small.width, 720 / r);
                ASSERT_EQ(small.height, full.height / r);
                judge::Distance luma;
                const auto y = reduced(full.y, full.yPitch, full.width, full.height, r);
                luma.add(small.y, small.yPitch, y.data(), small.width, small.width, small.height);
                judge::Distance colour;
                const int colourWidth = full.colourWidth / r;
                const auto cb = reduced(full.cb, full.colourPitch, full.colourWidth, full.colourHeight, r);
                const auto cr = reduced(full.cr, full.colourPitch, full.colourWidth, full.colourHeight, r);
                colour.add(small.cb, small.colourPitch, cb.data(), colourWidth, colourWidth,
                           small.colourHeight);
                colour.add(small.cr, small.colourPitch, cr.data(), colourWidth, colourWidth,
                           small.colourHeight);
                EXPECT_GE(luma.psnr(), 38);
                EXPECT_GE(colour.psnr(), 38);
            }
        }
    }
}

} // namespace
} // namespace qv::dv
