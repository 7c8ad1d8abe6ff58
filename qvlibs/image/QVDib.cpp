#include "qvlibs/image/QVDib.h"

#include "qvlibs/framework/DibPixels.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Surface.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/DibLayout.h"
#include "qvlibs/image/PicturePlugIns.h"
#include "qvlibs/image/PixelLimit.h"
#include "qvlibs/platform/FileMapping.h"

#include <algorithm>
#include <cstring>
#include <new>

QV_IMPLEMENT_DYNAMIC(CQVDIB, new CQVDIB)

CQVDIB::CQVDIB() = default;
CQVDIB::CQVDIB(const CQVDIB& source) : CObject(source) { Copy(source); }
CQVDIB::CQVDIB(CSize size, int bitCount) { Init(size, bitCount, nullptr); }
CQVDIB::~CQVDIB() { Empty(); }

bool CQVDIB::allocateHeader(std::uint64_t size) {
    auto* block = new (std::nothrow) BYTE[size]{};
    header_ = reinterpret_cast<BITMAPINFOHEADER*>(block);
    headerOwner_ = block ? kHeaderOwned : kHeaderBorrowed;
    return block != nullptr;
}

bool CQVDIB::allocatePixels() {
    const auto rows = qv::pixelBytes(header_->biWidth, header_->biHeight, header_->biBitCount);
    if (!rows || imageSize_ > qv::pixelLimit()) return false;
    // A header may claim fewer bytes than its rows take; everything that walks rows relies on them being
    // there.
    knownRoom_ = std::max(imageSize_, *rows);
    bits_ = new (std::nothrow) BYTE[knownRoom_];
    bitsOwned_ = bits_ ? 1 : 0;
    return bits_ != nullptr;
}

std::uint64_t CQVDIB::pixelRoom() const {
    if (!bits_ || !header_) return 0;
    if (knownRoom_) return knownRoom_;
    if (qv::isRunLength(*header_)) return header_->biSizeImage;
    return qv::pixelBytes(header_->biWidth, header_->biHeight, header_->biBitCount).value_or(0);
}

bool CQVDIB::hasAllRows() const {
    if (!bits_ || !header_ || qv::isRunLength(*header_)) return false;
    const auto rows = qv::pixelBytes(header_->biWidth, header_->biHeight, header_->biBitCount);
    return rows && *rows <= pixelRoom();
}

qv::DibView CQVDIB::view() const {
    const size_t colors = colorTable_ ? static_cast<size_t>(colorCount_) : 0;
    return {header_, {colorTable_, colors}, {bits_, static_cast<size_t>(pixelRoom())}};
}

ULONG CQVDIB::Init(CSize size, int bitCount, unsigned char* bits) {
    QV_TRACE("CQVDIB");
    std::unique_ptr<BYTE[]> pixels(bits);
    Empty();
    const auto rows = qv::pixelBytes(size.cx, size.cy, bitCount);
    if (!rows) return QV_FAILED;
    ComputePaletteSize(bitCount);
    if (!allocateHeader(sizeof(BITMAPINFOHEADER) + 4u * static_cast<unsigned>(colorCount_))) return QV_FAILED;
    const bool masks = bitCount == 16 || bitCount == 32;
    const DWORD colors = static_cast<DWORD>(colorCount_);
    *header_ = {sizeof(BITMAPINFOHEADER),
                size.cx,
                size.cy,
                1,
                static_cast<WORD>(bitCount),
                masks ? BI_BITFIELDS : BI_RGB,
                *rows,
                0,
                0,
                colors,
                colors};
    ComputeMetrics();
    if (masks) {
        constexpr RGBQUAD k565[] = {{0x00, 0xF8, 0, 0}, {0xE0, 0x07, 0, 0}, {0x1F, 0, 0, 0}};
        constexpr RGBQUAD k888[] = {{0, 0, 0xFF, 0}, {0, 0xFF, 0, 0}, {0xFF, 0, 0, 0}};
        std::copy_n(bitCount == 16 ? k565 : k888, 3, colorTable_);
    }
    bitsOwned_ = bits ? 1 : 0;
    bits_ = pixels.release();
    return QV_OK;
}

ULONG CQVDIB::Copy(const CQVDIB& source) {
    QV_TRACE("CQVDIB");
    if (!source.bits_ || !source.header_) return QV_FAILED;
    if (this == &source) return QV_OK;
    const BITMAPINFOHEADER& from = *source.header_;
    if (!qv::pixelBytes(from.biWidth, from.biHeight, from.biBitCount)) return QV_FAILED;
    if (Init({from.biWidth, from.biHeight}, from.biBitCount, nullptr) != QV_OK || !allocatePixels()) {
        Empty();
        return QV_FAILED;
    }
    // The pixels of a run-length source are copied as far as they go; its table may be shorter than the
    // depth's.
    const size_t bytes = static_cast<size_t>(std::min<std::uint64_t>(imageSize_, source.pixelRoom()));
    std::memcpy(bits_, source.bits_, bytes);
    std::memset(bits_ + bytes, 0, static_cast<size_t>(knownRoom_) - bytes);
    copyFormat(source);
    return QV_OK;
}

void CQVDIB::Empty() {
    DetachMapFile();
    if (headerOwner_ == kHeaderOwned) delete[] reinterpret_cast<BYTE*>(header_);
    if (headerOwner_ == kHeaderGlobal) {
        GlobalUnlock(globalHandle_);
        GlobalFree(globalHandle_);
    }
    if (bitsOwned_ == 1) delete[] bits_;
    DeleteObject(palette_);
    DeleteObject(section_);
    palette_ = nullptr;
    section_ = nullptr;
    bits_ = nullptr;
    header_ = nullptr;
    globalHandle_ = nullptr;
    headerOwner_ = kHeaderBorrowed;
    bitsOwned_ = 0;
    imageSize_ = 0;
    colorCount_ = 0;
    colorTable_ = nullptr;
    knownRoom_ = 0;
    optionFlag_ = 0;
    iconResult_ = 0;
}

int CQVDIB::IsEmpty() const { return !header_ && !bits_ ? 1 : 0; }

CSize CQVDIB::GetDimensions() const { return {GetWidth(), GetHeight()}; }
int CQVDIB::GetWidth() const { return header_ ? header_->biWidth : 0; }
int CQVDIB::GetHeight() const { return header_ ? header_->biHeight : 0; }
int CQVDIB::GetBitCount() const { return header_ ? header_->biBitCount : 0; }
ULONG CQVDIB::GetSizeHeader() const {
    return sizeof(BITMAPINFOHEADER) + 4u * static_cast<unsigned>(colorCount_);
}

int CQVDIB::GetLineBytes(int width, int bitCount) {
    return static_cast<int>(qv::dibLineBytes(width, bitCount));
}
int CQVDIB::GetLineBytes() const { return header_ ? GetLineBytes(header_->biWidth, header_->biBitCount) : 0; }

ULONG CQVDIB::GetPixel(int x, int y) const { return qv::dibPixel(view(), x, y); }

int CQVDIB::SetPixel(int x, int y, ULONG color) {
    if (!header_ || !bits_ || header_->biBitCount != 24) return 0;
    const std::int64_t at = (std::int64_t{header_->biHeight} - y - 1) * GetLineBytes() + std::int64_t{x} * 3;
    if (x < 0 || at < 0 || static_cast<std::uint64_t>(at) + 3 > pixelRoom()) return 0;
    bits_[at] = static_cast<BYTE>(color >> 16);
    bits_[at + 1] = static_cast<BYTE>(color >> 8);
    bits_[at + 2] = static_cast<BYTE>(color);
    return 1;
}

void CQVDIB::ComputePaletteSize(int bitCount) {
    colorCount_ = static_cast<int>(qv::colorCount(header_ ? header_->biClrUsed : 0, bitCount, colorCount_));
}

void CQVDIB::ComputeMetrics() {
    if (!header_) return;
    imageSize_ = qv::imageSize(*header_);
    colorTable_ = reinterpret_cast<RGBQUAD*>(reinterpret_cast<BYTE*>(header_) + sizeof(BITMAPINFOHEADER));
}
