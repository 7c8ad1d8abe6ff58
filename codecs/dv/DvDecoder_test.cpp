#include "codecs/dv/DvDecoder.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>

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

using Frame = std::vector<std::uint8_t>;

// Frames of made tapes, and those of the shared media. QVLIBS_TEST_FULL asks for more than a thousand and for lines
// that say what came out.
const bool kFull = std::getenv("QVLIBS_TEST_FULL") != nullptr;
struct Reel {
    std::string name;
    std::vector<Frame> frames;
};
template <class Work>
void eachReel(Work&& work) {
    for (const judge::Tape& tape : judge::tapes())
        work(Reel{tape.name, judge::makeFrames(tape, kFull ? 170 : 4)});
    const auto media = test::mediaFolder();
    if (!media) return;
    Reel reel{"media", {}};
    for (const auto& entry : std::filesystem::recursive_directory_iterator(*media / "dv")) {
        if (entry.path().extension() != ".dv") continue;
        const std::string bytes = test::readFile(entry.path());
        std::span left(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        while (const auto layout = identifyFrame(left)) {
            reel.frames.emplace_back(left.begin(),
                                     left.begin() + static_cast<std::ptrdiff_t>(layout->bytes()));
            left = left.subspan(layout->bytes());
        }
    }
    work(reel);
}

// What was found frame by frame: the sum and the worst.
struct Tally {
    judge::Distance all;
    double worst = 99;   // PSNR
    double within = 100; // per cent of samples within 1 level
    void add(const judge::Distance& one) {
        all.squares += one.squares;
        all.samples += one.samples;
        all.beyondOne += one.beyondOne;
        all.largest = std::max(all.largest, one.largest);
        worst = std::min(worst, one.psnr());
        within = std::min(within, percent(one));
    }
    static double percent(const judge::Distance& d) {
        return 100.0 * static_cast<double>(d.samples - d.beyondOne) / static_cast<double>(d.samples);
    }
};

TEST(DvDecoder, FullSizePlanesAreThoseOfLibavcodec) {
    QV_NEEDS_PROGRAM("ffmpeg");
    std::size_t count = 0;
    eachReel([&](const Reel& reel) {
        SCOPED_TRACE(reel.name);
        ASSERT_GE(reel.frames.size(), 4u);
        judge::Libav libav;
        Decoder decoder;
        Tally tally;
        for (const auto& frame : reel.frames) {
            Planes theirs;
            Planes ours;
            ASSERT_TRUE(libav.decode(frame, theirs));
            ASSERT_EQ(decoder.decodePlanes(frame, Reduction::Full, ours), DecodeStatus::Done);
            ASSERT_EQ(ours.width, theirs.width);
            ASSERT_EQ(ours.height, theirs.height);
            ASSERT_EQ(ours.colourWidth, theirs.colourWidth);
            ASSERT_EQ(ours.colourHeight, theirs.colourHeight);
            tally.add(distance(ours, theirs));
        }
        EXPECT_GE(tally.worst, 48);
        EXPECT_GE(tally.within, 99.9);
        count += reel.frames.size();
        if (!kFull) return;
        std::printf(
            "%zu frames of %s: planes %.1f dB from libavcodec's, the worst frame %.1f; samples within 1 "
            "level %.4f %%, in the worst frame %.4f %%; largest difference %d\n",
            reel.frames.size(), reel.name.c_str(), tally.all.psnr(), tally.worst, Tally::percent(tally.all),
            tally.within, tally.all.largest);
    });
    if (kFull) std::printf("%zu frames at full size beside libavcodec\n", count);
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
    eachReel([&](const Reel& reel) {
        judge::Libav libav;
        Decoder decoder;
        struct Planes3 {
            Tally all, luma, colour;
        };
        std::map<int, Planes3> tallies;
        for (const auto& frame : reel.frames) {
            Planes full;
            ASSERT_TRUE(libav.decode(frame, full));
            for (const Reduction reduction : {Reduction::Half, Reduction::Quarter, Reduction::Eighth}) {
                const int r = static_cast<int>(reduction);
                SCOPED_TRACE(reel.name + " / " + std::to_string(r));
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
                judge::Distance all = luma;
                all.squares += colour.squares;
                all.samples += colour.samples;
                tallies[r].all.add(all);
                tallies[r].luma.add(luma);
                tallies[r].colour.add(colour);
            }
        }
        for (const auto& [r, tally] : tallies) {
            // A single frame's colour alone may lose more at a quarter, where some of its values are cut off.
            EXPECT_GE(tally.all.worst, 38) << reel.name << " at 1/" << r;
            EXPECT_GE(tally.luma.worst, 38) << reel.name << ", luma at 1/" << r;
            EXPECT_GE(tally.colour.all.psnr(), 38) << reel.name << ", colour at 1/" << r;
            if (!kFull) continue;
            std::printf(
                "%zu frames of %s at 1/%d beside the means of libavcodec's planes: %.1f dB, the worst frame "
                "%.1f; luma alone %.1f and %.1f, colour alone %.1f and %.1f\n",
                reel.frames.size(), reel.name.c_str(), r, tally.all.all.psnr(), tally.all.worst,
                tally.luma.all.psnr(), tally.luma.worst, tally.colour.all.psnr(), tally.colour.worst);
        }
    });
}

Frame oneFrame(const char* tape) {
    for (const judge::Tape& one : judge::tapes()) {
        if (std::string(one.name) == tape) return judge::makeFrames(one, 1).at(0);
    }
    return {};
}

std::vector<std::uint8_t> decoded(Decoder& decoder, const Frame& frame, Reduction reduction,
                                  DecodeStatus status) {
    const PictureSize size = pictureSize(frame.size() > 120000, reduction);
    std::vector<std::uint8_t> bits(static_cast<std::size_t>(3 * size.width * size.height));
    EXPECT_EQ(decoder.decode(frame, reduction, {.bits = bits.data(), .pitch = 3 * size.width}), status);
    return bits;
}

double psnr(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b) {
    judge::Distance result;
    result.add(a.data(), 0, b.data(), 0, static_cast<int>(a.size()), 1);
    return result.psnr();
}

constexpr Reduction kReductions[] = {Reduction::Full, Reduction::Half, Reduction::Quarter, Reduction::Eighth};

// A macroblock that is marked as erroneous, was never filled, or is no video at all.
void damage(Frame& frame, int kind, int sequence, int segment, int macroblock) {
    std::uint8_t* block = &frame[segmentBlockOffset(sequence, segment, macroblock)];
    switch (kind) {
    case 0: block[3] |= 0xF0; break;
    case 1: block[3] = static_cast<std::uint8_t>(0x70 | (block[3] & 15)); break;
    case 2: std::fill_n(block, kDifBlockBytes, std::uint8_t{0}); break;
    default: block[0] = 0x70; break;
    }
}

TEST(DvDecoder, DamagedMacroblocksAreConcealed) {
    QV_NEEDS_PROGRAM("ffmpeg");
    const Frame whole = oneFrame("pal-easy");
    for (const Reduction reduction : kReductions) {
        for (int kind = 0; kind < 4; ++kind) {
            SCOPED_TRACE(std::to_string(static_cast<int>(reduction)) + " / " + std::to_string(kind));
            Frame frame = whole;
            damage(frame, kind, 2, 7, 3);
            Decoder decoder;
            const auto good = decoded(decoder, whole, reduction, DecodeStatus::Done);
            const auto kept = decoded(decoder, frame, reduction, DecodeStatus::Concealed);
            decoder.forget();
            const auto mended = decoded(decoder, frame, reduction, DecodeStatus::Concealed);
            // The picture before shows through. At the larger sizes blocks of the same segment lose what they
            // kept in their neighbours' room.
            const bool isSmall = reduction == Reduction::Quarter || reduction == Reduction::Eighth;
            EXPECT_GT(psnr(kept, good), isSmall ? 98 : 40);
            // Without one before, what the neighbours look like.
            EXPECT_GT(psnr(mended, good), 28);
            decoder.forget();
            EXPECT_EQ(decoded(decoder, frame, reduction, DecodeStatus::Concealed), mended);
        }
    }
}

TEST(DvDecoder, MarksOfTheConcealingPlayerAreNoDamage) {
    QV_NEEDS_PROGRAM("ffmpeg");
    const Frame whole = oneFrame("ntsc-hard");
    Frame frame = whole;
    std::uint8_t* block = &frame[segmentBlockOffset(4, 20, 1)];
    Decoder decoder;
    const auto good = decoded(decoder, whole, Reduction::Full, DecodeStatus::Done);
    for (const int status : {0x2, 0x4, 0x6, 0xA, 0xC, 0xE}) {
        block[3] = static_cast<std::uint8_t>(status << 4 | (block[3] & 15));
        EXPECT_EQ(decoded(decoder, frame, Reduction::Full, DecodeStatus::Done), good) << status;
    }
}

TEST(DvDecoder, AnyBytesGiveAPictureOrAStatus) {
    std::mt19937 random(4);
    Decoder decoder;
    for (int round = 0; round < 24; ++round) {
        const bool pal = round & 1;
        Frame frame(pal ? 144000 : 120000);
        // All bits alike, codes that run on for ever, zeros without levels, and noise.
        for (auto& byte : frame) {
            byte = static_cast<std::uint8_t>(round < 2 ? 0 : round < 4 ? 0xFF : round < 6 ? 0x7E : random());
        }
        EXPECT_EQ(identifyFrame(frame).has_value(),
                  frame[0] >> 5 == 0 && (frame.size() > 120000 || frame[3] < 0x80));
        frame[0] = 0x1F;
        frame[3] = pal ? 0xBF : 0x3F;
        frame[448] = 0xFF;
        for (int i = 0; i < (pal ? 12 : 10) * 135; ++i) {
            std::uint8_t* block = &frame[segmentBlockOffset(i / 135, i % 135 / 5, i % 5)];
            block[0] = 0x90;
            block[3] &= 0x0F;
        }
        for (const Reduction reduction : kReductions)
            static_cast<void>(decoded(decoder, frame, reduction, DecodeStatus::Done));
    }
}

TEST(DvDecoder, RefusesWhatItCannotDecode) {
    Frame frame(144000);
    frame[0] = 0x1F;
    std::vector<std::uint8_t> bits(2160 * 576);
    const PictureTarget target{.bits = bits.data(), .pitch = -2160};
    const std::span<const std::uint8_t> all(frame);
    Decoder decoder;
    EXPECT_EQ(decoder.decode(all, Reduction::Full, target), DecodeStatus::Concealed) << "a header is enough";
    EXPECT_EQ(decoder.decode(all.first(119999), Reduction::Full, target), DecodeStatus::NotDv);
    EXPECT_EQ(decoder.decode(all, Reduction::Full, {.bits = nullptr, .pitch = 2160}),
              DecodeStatus::BadArgument);
    EXPECT_EQ(decoder.decode(all, Reduction::Half, {.bits = bits.data(), .pitch = 1079}),
              DecodeStatus::BadArgument);
    frame[3] = 0x80;
    EXPECT_EQ(decoder.decode(all.first(120000), Reduction::Full, target), DecodeStatus::NotDv)
        << "PAL, cut short";
    frame[448] = 0x60;
    frame[451] = 0x04;
    EXPECT_EQ(decoder.decode(all, Reduction::Full, target), DecodeStatus::NotDv) << "50 Mbit/s";
    frame[0] = 0x3F;
    frame[448] = 0;
    EXPECT_EQ(decoder.decode(all, Reduction::Full, target), DecodeStatus::NotDv) << "starts with subcode";
}

std::vector<std::uint8_t> lumaOf(const std::vector<std::uint8_t>& bgr) {
    std::vector<std::uint8_t> luma;
    for (std::size_t i = 0; i < bgr.size(); i += 3) {
        luma.push_back(
            static_cast<std::uint8_t>((114 * bgr[i] + 587 * bgr[i + 1] + 299 * bgr[i + 2] + 500) / 1000));
    }
    return luma;
}

double bgrPsnr(const std::vector<std::uint8_t>& picture, const std::vector<std::uint8_t>& reference,
               bool luma) {
    return luma ? psnr(lumaOf(picture), lumaOf(reference)) : psnr(picture, reference);
}

// Real frames beside pictures of them that another decoder made, with its own way to RGB, which widens colour
// differently. So the mark is not a number but what libavcodec's own planes come to when they are turned to RGB as
// ours are, in floating point. Ours may be 48 dB from those, and roots of mean squares add up at worst.
TEST(DvDecoder, RealFramesLookLikeTheirReferencePictures) {
    QV_NEEDS_MEDIA(media);
    QV_NEEDS_PROGRAM("ffmpeg");
    const struct {
        const char* frame;
        const char* picture;
    } rows[] = {
        {"dv-toolbox/camcorder_ntsc_frames0-1.dv", "camcorder_ntsc_frames0-1_frame0.png"},
        {"generated/ff_ntsc_df_minute_3f.dv", "ff_ntsc_df_minute_3f_frame0.png"},
        {"format-corpus/quicktime_dv-pal-interlaced_f6.dv", "quicktime_dv-pal-interlaced_f6_frame0.png"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.frame);
        const std::string bytes = test::readFile(media / "dv" / row.frame);
        const auto* first = reinterpret_cast<const std::uint8_t*>(bytes.data());
        const auto layout = identifyFrame({first, bytes.size()});
        ASSERT_TRUE(layout);
        const Frame frame(first, first + layout->bytes());
        const std::string picture = (media / "dv/reference" / row.picture).string();
        const auto made = test::run({"ffmpeg", "-nostdin", "-loglevel", "error", "-i", picture, "-f",
                                     "rawvideo", "-pix_fmt", "bgr24", "-"});
        ASSERT_EQ(made.out.size(), static_cast<std::size_t>(2160 * layout->height()));
        const std::vector<std::uint8_t> reference(made.out.begin(), made.out.end());
        Decoder decoder;
        const auto ours = decoded(decoder, frame, Reduction::Full, DecodeStatus::Done);
        judge::Libav libav;
        Planes planes;
        ASSERT_TRUE(libav.decode(frame, planes));
        const auto theirs = judge::toBgr(planes);
        EXPECT_GE(psnr(ours, theirs), 48);
        for (const bool luma : {true, false}) {
            const double found = bgrPsnr(ours, reference, luma);
            const double mark = bgrPsnr(theirs, reference, luma);
            const double least = -20 * std::log10(std::pow(10, -mark / 20) + std::pow(10, -48.0 / 20));
            EXPECT_GE(found, least) << (luma ? "luma" : "RGB");
            if (kFull) {
                std::printf(
                    "%.1f dB (%s) between our picture of %s and its reference; libavcodec's planes come to "
                    "%.1f dB, %.1f dB wanted\n",
                    found, luma ? "luma" : "RGB", row.frame, mark, least);
            }
        }
    }
}

} // namespace
} // namespace qv::dv
