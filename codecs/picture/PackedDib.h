// Packed bitmaps in memory blocks, as picture codecs make and read them: header, colour table, rows bottom
// first.
#pragma once

#include "qvlibs/framework/DibPixels.h"
#include "qvlibs/platform/GlobalMemory.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace qv::codec {

// A 24-bit picture being decoded. The memory is taken only when the size is within the limit for decoders.
class NewPicture {
public:
    // Check isOpen(): false for a size of nothing, beyond 65535 a side, or beyond the limit.
    NewPicture(int64_t width, int64_t height);
    ~NewPicture();
    NewPicture(const NewPicture&) = delete;
    NewPicture& operator=(const NewPicture&) = delete;

    bool isOpen() const { return block_ != nullptr; }
    // Whether the codec library may take that many bytes a pixel beside the picture: no more than the limit again.
    bool leavesRoomFor(size_t bytesPerPixel) const;
    int width() const { return header()->biWidth; }
    int height() const { return header()->biHeight; }
    size_t lineBytes() const { return lineBytes_; }
    // Row `y` counted from the top.
    uint8_t* row(int y) const { return bits_ + (static_cast<size_t>(height() - 1 - y)) * lineBytes_; }
    void setResolution(double pixelsPerMeterX, double pixelsPerMeterY);
    // Hands the block over; this object is empty afterwards.
    HGLOBAL take();

private:
    BITMAPINFOHEADER* header() const { return static_cast<BITMAPINFOHEADER*>(address_); }

    HGLOBAL block_ = nullptr;
    void* address_ = nullptr;
    uint8_t* bits_ = nullptr;
    size_t lineBytes_ = 0;
};

// A packed bitmap given for encoding: 1, 4, 8, 16, 24 or 32 bits a pixel, not compressed.
class GivenPicture {
public:
    // Check isOpen(): false for a block that is too small for what its header says, or a kind that is not
    // known.
    explicit GivenPicture(void* block);
    ~GivenPicture();
    GivenPicture(const GivenPicture&) = delete;
    GivenPicture& operator=(const GivenPicture&) = delete;

    bool isOpen() const { return view_.header != nullptr; }
    const BITMAPINFOHEADER& header() const { return *view_.header; }
    int width() const { return header().biWidth; }
    int height() const { return header().biHeight; }
    bool isGray() const; // 8 bits with a table of nothing but grays
    // Row `y` from the top as R, G, B bytes.
    void rowRgb(int y, uint8_t* rgb);
    // Row `y` from the top as B, G, R bytes: in place where it lies so, else through `scratch` (3 bytes a
    // pixel).
    const uint8_t* rowBgr(int y, uint8_t* scratch) const;

private:
    HGLOBAL block_;
    DibView view_;
    std::vector<uint8_t> line_;
};

// The whole file, or nothing when it cannot be read or is larger than 1 GiB.
std::vector<uint8_t> readWholeFile(const char* path);

// R, G, B as B, G, R, or the other way round; `out` is not `in`.
void swapRedBlue(const uint8_t* in, uint8_t* out, size_t pixels);

// B, G, R, alpha laid over white.
void blendOverWhite(const uint8_t* bgra, uint8_t* bgr, int width);

} // namespace qv::codec
