#include "codecs/picture/PackedDib.h"

#include "qvlibs/image/MaxDecodeSize.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#if defined(__x86_64__)
#include <tmmintrin.h>
#endif

namespace qv::codec {
namespace {

constexpr int64_t kLongestSide = 65535;

size_t lineBytesOf(int64_t width, int bits) { return static_cast<size_t>((width * bits + 31) / 32 * 4); }

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
    lineBytes_ = lineBytesOf(width, 24);
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
    const uint64_t entries = header->biClrUsed ? header->biClrUsed
                             : bits <= 8       ? 1u << bits
                             : bits == 24      ? 0
                                               : 3;
    lineBytes_ = lineBytesOf(header->biWidth, bits);
    const uint64_t needed = sizeof(BITMAPINFOHEADER) + entries * sizeof(RGBQUAD) +
                            static_cast<uint64_t>(lineBytes_) * static_cast<uint64_t>(header->biHeight);
    if (needed > size) return;
    table_ = reinterpret_cast<const RGBQUAD*>(bytes + sizeof(BITMAPINFOHEADER));
    tableSize_ = static_cast<int>(std::min<uint64_t>(entries, 256));
    bits_ = bytes + sizeof(BITMAPINFOHEADER) + entries * sizeof(RGBQUAD);
    header_ = header;
}

GivenPicture::~GivenPicture() { GlobalUnlock(block_); }

bool GivenPicture::isGray() const {
    return header_->biBitCount == 8 && std::all_of(table_, table_ + tableSize_, [](const RGBQUAD& entry) {
               return entry.rgbRed == entry.rgbGreen && entry.rgbGreen == entry.rgbBlue;
           });
}

void GivenPicture::expand(int y, uint8_t* out, int redAt) const {
    const uint8_t* in = raw(y);
    const int blueAt = 2 - redAt;
    const auto put = [&](int x, uint8_t red, uint8_t green, uint8_t blue) {
        out[3 * x + redAt] = red;
        out[3 * x + 1] = green;
        out[3 * x + blueAt] = blue;
    };
    const int bits = header_->biBitCount;
    if (bits <= 8) {
        const int perByte = 8 / bits;
        const int mask = (1 << bits) - 1;
        for (int x = 0; x < width(); ++x) {
            const int index = in[x / perByte] >> (bits * (perByte - 1 - x % perByte)) & mask;
            const RGBQUAD entry = index < tableSize_ ? table_[index] : RGBQUAD{};
            put(x, entry.rgbRed, entry.rgbGreen, entry.rgbBlue);
        }
    } else if (bits == 16) {
        DWORD green = 0x03E0;
        if (header_->biCompression == BI_BITFIELDS) std::memcpy(&green, &table_[1], 4);
        const bool six = green == 0x07E0;
        for (int x = 0; x < width(); ++x) {
            const unsigned word = in[2 * x] | in[2 * x + 1] << 8;
            const auto red = static_cast<uint8_t>((six ? word >> 8 : word >> 7) & 0xF8);
            const auto middle = static_cast<uint8_t>(six ? (word >> 3) & 0xFC : (word >> 2) & 0xF8);
            put(x, red, middle, static_cast<uint8_t>(word << 3 & 0xF8));
        }
    } else {
        const int step = bits / 8;
        for (int x = 0; x < width(); ++x) put(x, in[step * x + 2], in[step * x + 1], in[step * x]);
    }
}

void GivenPicture::rowRgb(int y, uint8_t* rgb) const {
    if (header_->biBitCount == 24)
        swapRedBlue(raw(y), rgb, static_cast<size_t>(width()));
    else
        expand(y, rgb, 0);
}

const uint8_t* GivenPicture::rowBgr(int y, uint8_t* scratch) const {
    if (header_->biBitCount == 24) return raw(y);
    expand(y, scratch, 2);
    return scratch;
}

std::vector<uint8_t> readWholeFile(const char* path) {
    constexpr int64_t kLargest = int64_t{1} << 30;
    std::vector<uint8_t> bytes;
    const int file = ::open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return bytes;
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
    ::close(file);
    return bytes;
}

} // namespace qv::codec
