#include "codecs/dv/DvDecoder.h"

#include <array>
#include <bit>
#include <cstdlib>

#include "codecs/dv/DvEntropy.h"
#include "codecs/dv/DvLowTransform.h"
#include "codecs/dv/DvPicture.h"
#include "codecs/dv/DvTransform.h"

namespace qv::dv {

PictureSize pictureSize(bool pal, Reduction reduction) {
    const int height = (pal ? 576 : 480) / static_cast<int>(reduction);
    return {reduction == Reduction::Eighth ? 88 : kPictureWidth / static_cast<int>(reduction), height};
}

// Decodes all macroblocks of a frame into a picture of one size.
struct Decoder::State {
    std::array<Picture, 4> pictures; // full size, a half, a quarter, an eighth
    SegmentLevels levels;
    SegmentSamples samples;

    DecodeStatus read(std::span<const std::uint8_t> dif, Reduction reduction, Picture*& picture);
    template <int n>
    void readSegments(const std::uint8_t* dif, Picture& picture);
    void readLow(const std::uint8_t* dif, Picture& picture);
    void readDc(const std::uint8_t* dif, Picture& picture);
};

// Calls `work` with the five DIF blocks of each segment, in the order of the stream.
template <class Work>
static void eachSegment(const std::uint8_t* dif, const FrameLayout& layout, Work&& work) {
    for (int sequence = 0; sequence < layout.sequences; ++sequence) {
        for (int segment = 0; segment < kSegmentsPerSequence; ++segment) {
            const std::uint8_t* blocks[kMacroblocksPerSegment];
            for (int m = 0; m < kMacroblocksPerSegment; ++m)
                blocks[m] = dif + segmentBlockOffset(sequence, segment, m);
            work(blocks);
        }
    }
}

template <int n>
void Decoder::State::readSegments(const std::uint8_t* dif, Picture& picture) {
    const MacroblockPlace* place = picture.places();
    eachSegment(dif, picture.layout(), [&](const std::uint8_t* const* blocks) {
        readSegment(blocks, levels);
        transformSegment(levels, n, samples);
        for (int m = 0; m < kMacroblocksPerSegment; ++m, ++place) {
            if (levels.damaged[static_cast<std::size_t>(m)]) {
                picture.markDamaged(*place);
                continue;
            }
            picture.placeLuma<n>(*place,
                                 &samples.bytes[static_cast<std::size_t>(m) * SegmentSamples::kGroupBytes]);
            for (int component = 4; component < 6; ++component) {
                const int number = blockNumber(m, component);
                const int at = number / 4 * SegmentSamples::kGroupBytes + number % 4 * n;
                picture.placeColour<n>(*place, component == 4, &samples.bytes[static_cast<std::size_t>(at)],
                                       4 * n);
            }
        }
    });
}

void Decoder::State::readLow(const std::uint8_t* dif, Picture& picture) {
    const MacroblockPlace* place = picture.places();
    eachSegment(dif, picture.layout(), [&](const std::uint8_t* const* blocks) {
        for (int m = 0; m < kMacroblocksPerSegment; ++m, ++place) {
            std::array<LowValues, 6> values;
            if (!readLowValues(blocks[m], values)) {
                picture.markDamaged(*place);
                continue;
            }
            LowSamples small;
            transformLow(values, small);
            picture.placeLuma<2>(*place, small.luma.data());
            picture.placeColour<2>(*place, true, small.colour.data(), 4);
            picture.placeColour<2>(*place, false, small.colour.data() + 2, 4);
        }
    });
}

void Decoder::State::readDc(const std::uint8_t* dif, Picture& picture) {
    const MacroblockPlace* place = picture.places();
    eachSegment(dif, picture.layout(), [&](const std::uint8_t* const* blocks) {
        for (int m = 0; m < kMacroblocksPerSegment; ++m, ++place) {
            std::array<std::int16_t, 6> values;
            if (!readDcValues(blocks[m], values)) {
                picture.markDamaged(*place);
                continue;
            }
            std::uint8_t grey[6];
            for (std::size_t i = 0; i < 6; ++i) grey[i] = transformDc(values[i]);
            picture.placeLuma<1>(*place, grey);
            picture.placeColour<1>(*place, true, grey + 4, 1);
            picture.placeColour<1>(*place, false, grey + 5, 1);
        }
    });
}

DecodeStatus Decoder::State::read(std::span<const std::uint8_t> dif, Reduction reduction, Picture*& picture) {
    const auto layout = identifyFrame(dif);
    if (!layout) return DecodeStatus::NotDv;
    const int n = 8 / static_cast<int>(reduction);
    picture = &pictures[static_cast<std::size_t>(std::countr_zero(static_cast<unsigned>(reduction)))];
    picture->prepare(*layout, n);
    switch (reduction) {
    case Reduction::Full: readSegments<8>(dif.data(), *picture); break;
    case Reduction::Half: readSegments<4>(dif.data(), *picture); break;
    case Reduction::Quarter: readLow(dif.data(), *picture); break;
    case Reduction::Eighth: readDc(dif.data(), *picture); break;
    }
    return picture->finish() ? DecodeStatus::Concealed : DecodeStatus::Done;
}

Decoder::Decoder() : state_(std::make_unique<State>()) {}
Decoder::~Decoder() = default;

void Decoder::forget() {
    for (Picture& picture : state_->pictures) picture.forget();
}

DecodeStatus Decoder::decodePlanes(std::span<const std::uint8_t> dif, Reduction reduction, Planes& planes) {
    Picture* picture = nullptr;
    const DecodeStatus status = state_->read(dif, reduction, picture);
    if (picture) planes = picture->planes();
    return status;
}

DecodeStatus Decoder::decode(std::span<const std::uint8_t> dif, Reduction reduction,
                             const PictureTarget& target) {
    const int width = pictureSize(false, reduction).width;
    const int pixelBytes = target.format == PixelFormat::Bgr24 ? 3 : 2;
    if (!target.bits || std::abs(target.pitch) < width * pixelBytes) return DecodeStatus::BadArgument;
    Picture* picture = nullptr;
    const DecodeStatus status = state_->read(dif, reduction, picture);
    if (picture) planesToRgb(picture->planes(), target, reduction == Reduction::Eighth ? 1 : 0, width);
    return status;
}

} // namespace qv::dv
