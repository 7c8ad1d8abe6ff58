#include "codecs/picture/PackedDib.h"

#include "qvlibs/framework/OpenWithoutWaiting.h"
#include "qvlibs/image/MaxDecodeSize.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

#if defined(__x86_64__)
#include <tmmintrin.h>
#endif

namespace qv::codec {
namespace {

constexpr int64_t kLongestSide = 65535;
constexpr uint64_t kMostColors = 65536;

// value * alpha + 255 * (255 - alpha), divided by 255 with rounding.
uint8_t overWhite(unsigned value, unsigned alpha) {
    const unsigned sum = value * alpha + 255 * (255 - alpha) + 128;
    return static_cast<uint8_t>((sum + (sum >> 8)) >> 8);
}

LONG pixelsPerMeter(double value) {
    return value > 0 && value < 1e7 ? static_cast<LONG>(std::lround(value)) : 0;
}

#if defined(__x86_64__)
// Five pixels a step; the sixteenth byte goes over as it is and is overwritten by the next step. Returns the pixels done.
__attribute__((target("ssse3"))) size_t swapByShuffle(const uint8_t* in, uint8_t* out, size_t pixels) {
    const __m128i order = _mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, 15);
    size_t done = 0;
    for (; done + 6 <= pixels; done += 5) {
        const __m128i five = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 3 * done));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 3 * done), _mm_shuffle_epi8(five, order));
    }
    return done;
}
#endif

} // namespace

void swapRedBlue(const uint8_t* in, uint8_t* out, size_t pixels) {
    size_t done = 0;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("ssse3")) done = swapByShuffle(in, out, pixels);
#endif
    for (size_t at = 3 * done; at < 3 * pixels; at += 3) {
        out[at] = in[at + 2];
        out[at + 1] = in[at + 1];
        out[at + 2] = in[at];
    }
}

void blendOverWhite(const uint8_t* bgra, uint8_t* bgr, int width) {
    for (int x = 0; x < width; ++x) {
        for (int i = 0; i < 3; ++i) bgr[3 * x + i] = overWhite(bgra[4 * x + i], bgra[4 * x + 3]);
    }
}

NewPicture::NewPicture(int64_t width, int64_t height) {
    if (width < 1 || height < 1 || width > kLongestSide || height > kLongestSide) return;
    lineBytes_ = static_cast<size_t>(dibLineBytes(width, 24));
    const size_t size = sizeof(BITMAPINFOHEADER) + lineBytes_ * static_cast<size_t>(height);
    if (size > QVTLGetMaxDecodeSize()) return;
    block_ = GlobalAlloc(GMEM_MOVEABLE, size); // decoders fill every row, or the picture is not handed out
    address_ = block_ ? GlobalLock(block_) : nullptr;
    if (!address_) return;
    *header() = {};
    header()->biSize = sizeof(BITMAPINFOHEADER);
    header()->biWidth = static_cast<LONG>(width);
    header()->biHeight = static_cast<LONG>(height);
    header()->biPlanes = 1;
    header()->biBitCount = 24;
    header()->biSizeImage = static_cast<DWORD>(lineBytes_ * static_cast<size_t>(height));
    bits_ = static_cast<uint8_t*>(address_) + sizeof(BITMAPINFOHEADER);
    const size_t used = size_t{3} * static_cast<size_t>(width);
    for (int y = 0; used < lineBytes_ && y < height; ++y) std::memset(row(y) + used, 0, lineBytes_ - used);
}

NewPicture::~NewPicture() {
    if (block_) GlobalFree(block_);
}

bool NewPicture::leavesRoomFor(size_t bytesPerPixel) const {
    const size_t pixels = static_cast<size_t>(width()) * static_cast<size_t>(height());
    return pixels * bytesPerPixel <= QVTLGetMaxDecodeSize();
}

void NewPicture::setResolution(double x, double y) {
    header()->biXPelsPerMeter = pixelsPerMeter(x);
    header()->biYPelsPerMeter = pixelsPerMeter(y);
}

HGLOBAL NewPicture::take() {
    GlobalUnlock(block_);
    return std::exchange(block_, nullptr);
}

GivenPicture::GivenPicture(void* block) : block_(static_cast<HGLOBAL>(block)) {
    const size_t size = GlobalSize(block_);
    const auto* bytes = static_cast<const uint8_t*>(GlobalLock(block_));
    if (!bytes || size < sizeof(BITMAPINFOHEADER)) return;
    const auto* header = reinterpret_cast<const BITMAPINFOHEADER*>(bytes);
    const int bits = header->biBitCount;
    const bool known = bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
    if (!known || header->biWidth < 1 || header->biHeight < 1) return;
    if (header->biCompression != BI_RGB && header->biCompression != BI_BITFIELDS) return;
    // The same count that the image buffer keeps: what the header says, else by depth, three masks for 16
    // and 32.
    const uint64_t colors = header->biClrUsed ? header->biClrUsed
                            : bits <= 8       ? 1u << bits
                            : bits == 24      ? 0
                                              : 3;
    if (colors > kMostColors) return;
    const uint64_t before = sizeof(BITMAPINFOHEADER) + colors * sizeof(RGBQUAD);
    const auto pixels =
        static_cast<uint64_t>(dibLineBytes(header->biWidth, bits)) * static_cast<uint64_t>(header->biHeight);
    if (before + pixels > size) return;
    view_ = {header,
             {reinterpret_cast<const RGBQUAD*>(bytes + sizeof(BITMAPINFOHEADER)), colors},
             {bytes + before, pixels}};
}

GivenPicture::~GivenPicture() { GlobalUnlock(block_); }

bool GivenPicture::isGray() const {
    return header().biBitCount == 8 &&
           std::all_of(view_.table.begin(), view_.table.end(), [](const RGBQUAD& entry) {
               return entry.rgbRed == entry.rgbGreen && entry.rgbGreen == entry.rgbBlue;
           });
}

const uint8_t* GivenPicture::rowBgr(int y, uint8_t* scratch) const {
    if (header().biBitCount == 24)
        return &view_.bits[static_cast<size_t>((height() - 1 - y) * dibLineBytes(width(), 24))];
    for (int x = 0; x < width(); ++x) {
        const COLORREF color = dibPixel(view_, x, y);
        scratch[3 * x] = static_cast<uint8_t>(color >> 16);
        scratch[3 * x + 1] = static_cast<uint8_t>(color >> 8);
        scratch[3 * x + 2] = static_cast<uint8_t>(color);
    }
    return scratch;
}

void GivenPicture::rowRgb(int y, uint8_t* rgb) {
    line_.resize(size_t{3} * static_cast<size_t>(width()));
    swapRedBlue(rowBgr(y, line_.data()), rgb, static_cast<size_t>(width()));
}

std::vector<uint8_t> readWholeFile(const char* path) {
    constexpr int64_t kLargest = int64_t{1} << 30;
    std::vector<uint8_t> bytes;
    const int file = openWithoutWaiting(path, O_RDONLY);
    if (file < 0) return bytes;
    const struct Closer {
        int file;
        ~Closer() { ::close(file); }
    } closer{file};
    struct stat status {};
    if (::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size <= kLargest) {
        bytes.resize(static_cast<size_t>(status.st_size));
        size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t got = ::read(file, bytes.data() + done, bytes.size() - done);
            if (got <= 0) break;
            done += static_cast<size_t>(got);
        }
        bytes.resize(done);
    }
    return bytes;
}

} // namespace qv::codec
