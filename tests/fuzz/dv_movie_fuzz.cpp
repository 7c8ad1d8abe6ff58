// Any bytes as a file for dv.vcp, through its exports: what it is, frames in order and out of it, data, and sound.
//
// Frames are large and mostly of no matter here, so an input is a list of runs: how many zeros (24 bits), how many bytes
// (16 bits), the bytes.
#include "qvlibs/plugins/plugin_api.h"
#include "qvlibs/util/Bytes.h"
#include "tests/fuzz/ByPath.h"

#include <algorithm>
#include <vector>

namespace {

constexpr size_t kFrameBytes = 144000;
constexpr size_t kLargestFile = size_t{2} << 20;
constexpr size_t kGuard = 64;

std::vector<unsigned char> expand(qv::ByteReader in) {
    std::vector<unsigned char> bytes;
    while (in.left() > 5 && bytes.size() < kLargestFile) {
        const size_t zeros = in.u16() | size_t{in.u8()} << 16;
        const size_t size = in.u16();
        const auto run = in.bytes(std::min(size, in.left()));
        bytes.resize(std::min(bytes.size() + zeros, kLargestFile));
        bytes.insert(bytes.end(), run.begin(), run.end());
    }
    return bytes;
}

// A block of which the end must stay as it is.
class Room {
public:
    explicit Room(size_t size) : bytes_(size + kGuard, 0xA5) {}
    ~Room() {
        if (std::count(bytes_.end() - kGuard, bytes_.end(), 0xA5) != kGuard) __builtin_trap();
    }
    unsigned char* data() { return bytes_.data(); }

private:
    std::vector<unsigned char> bytes_;
};

void readFrame(QVSTREAM movie, std::int32_t frame) {
    QVFRAMEREQUEST request{};
    request.size = sizeof request;
    request.version = 1;
    request.width = 180;
    request.height = 120;
    request.flags = frame % 2 ? QV_FRAME_COMPRESSED : 0;
    if (GetVideoParam(movie, &request, frame) == QV_PLUGIN_OK)
        GetDIBfromLastParam(movie, &request, frame, nullptr);
    Room picture(180 * 144 * 3);
    GetVideoEx(movie, frame, picture.data(), 4);
    Room dif(kFrameBytes);
    Room sound(4 * 1000);
    std::int32_t length = 4 * 1000;
    GetDif(movie, frame, dif.data(), 0, sound.data(), &length);
    if (length < 0 || length > 4 * 1000) __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    const auto bytes = expand(qv::ByteReader(data, size));
    const qv::test::InputFile file(bytes.data(), bytes.size());
    int supported = 0;
    int attributes = 0;
    std::uint32_t code = 0;
    IsSupported(file.path(), &supported);
    const bool known = Investigate(file.path(), &attributes, &code) == QV_PLUGIN_OK;
    const QVSTREAM movie = OpenR(file.path(), 0);
    if (known != (movie != 0) || (movie != 0 && !supported)) __builtin_trap();
    if (movie == 0) return 0;
    const auto frames = static_cast<std::int32_t>(std::min<std::uint32_t>(GetTotalFrames(movie), INT32_MAX));
    if (frames < 1) __builtin_trap();
    for (const std::int32_t frame : {0, frames - 1, frames / 2, frames, -1}) readFrame(movie, frame);
    GetMiliseconds(movie);
    GetTotalSamples(movie, 1);
    Room sound(4000);
    std::int32_t length = 4000;
    GetAudio(movie, frames / 2, frames, sound.data(), &length);
    if (CloseR(movie) != QV_PLUGIN_OK) __builtin_trap();
    return 0;
}
