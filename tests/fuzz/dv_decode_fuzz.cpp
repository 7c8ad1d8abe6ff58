// Any bytes as a DV frame, at every size and in every pixel format. The first byte chooses those; the others are
// dealt out over the video blocks again and again, or are the frame itself when there are enough of them.
#include "codecs/dv/DvDecoder.h"

#include <algorithm>
#include <vector>

using namespace qv::dv;

namespace {

std::vector<unsigned char> makeFrame(unsigned char choice, const unsigned char* data, size_t size) {
    const bool pal = choice & 0x40;
    std::vector<unsigned char> frame(pal ? 144000 : 120000);
    if (size >= frame.size()) {
        std::copy_n(data, frame.size(), frame.begin());
        return frame;
    }
    frame[0] = 0x1F;
    frame[3] = pal ? 0xBF : 0x3F;
    frame[4] = choice & 0x80 ? 0xF9 : 0xF8; // 4:1:1 PAL
    size_t at = 0;
    for (int sequence = 0; sequence < (pal ? 12 : 10); ++sequence) {
        for (int segment = 0; segment < kSegmentsPerSequence; ++segment) {
            for (int m = 0; m < kMacroblocksPerSegment; ++m) {
                unsigned char* block = &frame[segmentBlockOffset(sequence, segment, m)];
                block[0] = 0x90;
                for (size_t i = 3; i < kDifBlockBytes && size; ++i) block[i] = data[at++ % size];
            }
        }
    }
    return frame;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    if (size == 0) return 0;
    static Decoder decoder; // keeps the frame before, as for a movie
    const auto frame = makeFrame(data[0], data + 1, size - 1);
    const auto reduction = static_cast<Reduction>(1 << (data[0] & 3));
    const auto format = static_cast<PixelFormat>((data[0] >> 2 & 3) % 3);
    if (data[0] & 0x10) decoder.forget();
    const auto layout = identifyFrame(frame);
    const PictureSize picture = pictureSize(layout && layout->pal(), reduction);
    const int pitch = picture.width * (format == PixelFormat::Bgr24 ? 3 : 2);
    // Exactly as large as the picture, so that a write outside is seen.
    std::vector<unsigned char> bits(static_cast<size_t>(pitch * picture.height));
    const PictureTarget target{
        .bits = bits.data(), .pitch = data[0] & 0x20 ? pitch : -pitch, .format = format};
    const DecodeStatus status = decoder.decode(frame, reduction, target);
    if ((status == DecodeStatus::NotDv) == layout.has_value()) __builtin_trap();
    return 0;
}
