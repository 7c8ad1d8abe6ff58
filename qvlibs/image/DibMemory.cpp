// Blocks that come from elsewhere or go there: the caller's, and memory blocks with handles.
#include "qvlibs/framework/DibPixels.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/DibLayout.h"
#include "qvlibs/image/QVDib.h"

#include <algorithm>
#include <cstring>

void CQVDIB::SetExternalDIB(unsigned char* bits, BITMAPINFOHEADER* header, int external) {
    if (bits) {
        bits_ = bits;
        bitsOwned_ = external ? 0 : 1;
        knownRoom_ = 0;
    }
    if (header) {
        header_ = header;
        headerOwner_ = external ? kHeaderBorrowed : kHeaderOwned;
        // On purpose for 24 bits whatever the header says; callers size their copies by it
        // (Dib.SetExternalDibCountsTwentyFourBits).
        const std::int64_t words = (std::int64_t{header->biWidth} * 24 + 31) / 32;
        imageSize_ = static_cast<DWORD>(words * header->biHeight * 4);
    }
}

int CQVDIB::Attach(unsigned char* bits, BITMAPINFOHEADER* header, int external) {
    QV_TRACE("CQVDIB");
    if (bits_ || bitsOwned_ || header_ || headerOwner_ || imageSize_) return 0;
    SetExternalDIB(bits, header, external);
    return 1;
}

int CQVDIB::Detach(unsigned char* bitsOut, BITMAPINFOHEADER* headerOut) {
    QV_TRACE("CQVDIB");
    if (bitsOut && bits_) {
        std::memcpy(bitsOut, bits_, static_cast<size_t>(std::min<std::uint64_t>(imageSize_, pixelRoom())));
    }
    if (headerOut && header_) *headerOut = *header_;
    if (!bitsOut) bits_ = nullptr;
    if (!headerOut) {
        header_ = nullptr;
        headerOwner_ = kHeaderBorrowed;
    }
    Empty();
    return 1;
}

// Header, table and pixels from one block of `size` bytes, 0 when that is not known.
bool CQVDIB::adopt(void* packedDib, std::uint64_t size) {
    auto* header = static_cast<BITMAPINFOHEADER*>(packedDib);
    if (size != 0 && size < sizeof(BITMAPINFOHEADER)) return false;
    if (!qv::isPlausible(*header)) return false;
    const std::uint64_t before =
        sizeof(BITMAPINFOHEADER) + 4 * qv::colorCount(header->biClrUsed, header->biBitCount);
    if (size != 0 && size < before + qv::imageSize(*header)) return false;
    header_ = header;
    ComputePaletteSize(header->biBitCount);
    ComputeMetrics();
    bits_ = static_cast<BYTE*>(packedDib) + before;
    knownRoom_ = size != 0 ? size - before : 0;
    MakePalette();
    return true;
}

int CQVDIB::AttachMemory(void* packedDib, int own, HGLOBAL globalHandle) {
    QV_TRACE("CQVDIB");
    Empty();
    if (!packedDib) return 0;
    const size_t size = globalHandle ? GlobalSize(globalHandle) : 0;
    if (globalHandle && size == 0) return 0;
    if (!adopt(packedDib, size)) return 0;
    globalHandle_ = globalHandle;
    headerOwner_ = !own ? kHeaderBorrowed : globalHandle ? kHeaderGlobal : kHeaderOwned;
    return 1;
}

ULONG CQVDIB::RemapToGlobalMemoryAddress() {
    QV_TRACE("CQVDIB");
    if (globalHandle_) return QV_OK;
    if (!header_ || !bits_) return QV_FAILED;
    if (!qv::isPlausible(*header_)) return QV_FAILED;
    // Run-length pixels may take more bytes than the rows; a header may claim more than both.
    const std::uint64_t rows = *qv::pixelBytes(header_->biWidth, header_->biHeight, header_->biBitCount);
    const std::uint64_t pixels = std::max<std::uint64_t>(rows, qv::imageSize(*header_));
    const std::uint64_t colors = qv::colorCount(header_->biClrUsed, header_->biBitCount);
    const size_t before = static_cast<size_t>(sizeof(BITMAPINFOHEADER) + 4 * colors);
    const HGLOBAL block = GlobalAlloc(GHND, before + static_cast<size_t>(pixels));
    if (!block) return QV_FAILED;
    auto* packed = static_cast<BYTE*>(GlobalLock(block));
    std::memcpy(packed, header_, sizeof(BITMAPINFOHEADER));
    const auto table = view().table;
    if (!table.empty()) {
        std::memcpy(packed + sizeof(BITMAPINFOHEADER), table.data(),
                    4 * std::min<size_t>(table.size(), colors));
    }
    std::memcpy(packed + before, bits_, static_cast<size_t>(std::min(pixels, pixelRoom())));
    AttachMemory(packed, 1, block);
    return QV_OK;
}
