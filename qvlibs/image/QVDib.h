// CQVDIB: a picture in memory.
//
// Layout   a 40-byte header, directly behind it the colour table (4 bytes a colour), and the pixel rows,
// bottom
//          row first, each padded to 4 bytes. Members that take a row count it from the top.
// Colours  0x00BBGGRR: red in the low byte. In 24-bit rows they lie as B, G, R.
// Memory   blocks that an object owns, whether it made or was given them, come from `new unsigned char[]`,
// the
//          header with its table in one block; so do blocks that Detach leaves to the caller.
// Sizes    every member that takes memory refuses negative sizes and more pixels than qv::pixelLimit().
// Results  each member says its own sense. No member throws.
// Threads  one at a time per object.
#pragma once

#include "qvlibs/framework/File.h"
#include "qvlibs/framework/Geometry.h"
#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/framework/Object.h"
#include "qvlibs/image/DibTypes.h"
#include "qvlibs/platform/GlobalMemory.h"

#include <memory>

class CArchive;

namespace qv {
struct DibView;
class FileMapping;
} // namespace qv

class QVLIBS_API CQVDIB : public CObject {
public:
    QV_DECLARE_DYNAMIC(CQVDIB)

    CQVDIB();
    CQVDIB(const CQVDIB& source);
    CQVDIB(CSize size, int bitCount); // a header, no pixels
    ~CQVDIB() override;
    CQVDIB& operator=(const CQVDIB&) = delete; // Copy says whether it worked

    // A new header and table for this size; `bits` may be null. A block that is given is owned from here on,
    // also when the size is refused. 16 and 32 bits get masks (5-6-5 and 8-8-8). 0 done; 1 refused, the image
    // is empty.
    ULONG Init(CSize size, int bitCount, unsigned char* bits);
    // 0 done; 1 when the source has no pixels (this image then stays as it is) or is too large.
    ULONG Copy(const CQVDIB& source);
    // Frees what is owned, lets go of the rest.
    void Empty();
    // 1 when there is neither header nor pixels.
    int IsEmpty() const;

    // Takes over a block of pixels, a header, or both; null leaves that one as it is. With `external` 0 they
    // are owned, else they stay the caller's and must outlive their use here. The pixels must hold all rows
    // that the header describes. What was held before is not freed: use Attach, or Empty first.
    void SetExternalDIB(unsigned char* bits, BITMAPINFOHEADER* header, int external);
    // The same on an empty image: 1 done; 0, nothing changed, when this image is not empty.
    int Attach(unsigned char* bits, BITMAPINFOHEADER* header, int external);
    // Copies pixels and header (40 bytes) out and empties the image. A null argument leaves that block to the
    // caller instead of freeing it. `bitsOut` must hold GetSizeImage() bytes. Always 1.
    int Detach(unsigned char* bitsOut, BITMAPINFOHEADER* headerOut);
    // Header, table and pixels in one block. With `own` 0 the block stays the caller's; else it is freed
    // here: by GlobalUnlock and GlobalFree of the handle when one is given (the block locked, its address
    // given), as an owned header otherwise. 1 done; 0, the image empty and the block left to the caller, when
    // the header makes no sense or a block with a handle is too small for it.
    int AttachMemory(void* packedDib, int own, HGLOBAL globalHandle);
    // Moves the image into one movable memory block. 0 done or there already; 1 without pixels or memory.
    ULONG RemapToGlobalMemoryAddress();
    // The pixels of a BMP file, mapped: changes stay in memory. `share` lets others read the file meanwhile,
    // and nobody may cut it. 1 done; 0 when it is no such file or its end lies inside the picture: pixels are
    // taken to follow the table, wherever the file says that they are.
    int AttachMapFile(const char* path, int share);
    // Writes the image to a new BMP file and lives in it from then on: changes of pixels reach the file. 1
    // done; 0, the image as it was, when the file cannot be made or is the one that this image is mapped
    // from.
    int CopyToMapFile(const char* path);

    CSize GetDimensions() const;
    int GetWidth() const;
    int GetHeight() const;
    int GetBitCount() const;
    ULONG GetSizeImage() const { return imageSize_; }
    ULONG GetSizeHeader() const; // with the table
    unsigned char* GetBitsAddress() const { return bits_; }
    BITMAPINFOHEADER* GetBitmapInfoAddress() const { return header_; }
    // Bytes of a row; 0 without header.
    int GetLineBytes() const;
    static int GetLineBytes(int width, int bitCount);
    int GetOptionFlag() const { return optionFlag_; }
    int SetIconRet(int result) { return iconResult_ = result; }

    // Black without header, for run-length pictures and unknown depths, and outside the pixels. A column
    // behind the row's end reads what lies there.
    ULONG GetPixel(int x, int y) const;
    // 24-bit pictures only: 1 done, 0 otherwise and outside the pixels.
    int SetPixel(int x, int y, ULONG color);

    // Colours in the table by the rule of the format, kept for this image: biClrUsed when it is not 0, else
    // by depth. A depth that is not known keeps the number from before.
    void ComputePaletteSize(int bitCount);
    // Size of the pixels and place of the table from the header.
    void ComputeMetrics();

    // BMP streams at the file's position: 1 done, 0 failed. A failed Read leaves the image empty; pixels that
    // are missing at the end of the file are black.
    int Read(CFile* file);
    int Write(CFile* file);
    int Load(CFile* file) { return Read(file); }
    int Save(CFile* file) { return Write(file); }
    // A BMP file, there whole or not at all; a file that cannot be opened is reported through the message
    // handler. 1 done, 0 failed.
    int Save(const char* path);
    void Serialize(CArchive& archive) override;

private:
    enum HeaderOwner : int { kHeaderBorrowed = 0, kHeaderOwned = 1, kHeaderGlobal = 2 };

    void DetachMapFile();
    [[nodiscard]] bool allocateHeader(std::uint64_t size);
    [[nodiscard]] bool allocatePixels(); // for the header's rows, not filled
    bool adopt(void* packedDib, std::uint64_t size);
    bool readFrom(CFile& file);
    // Bytes that may be touched at the pixels' address; whether all rows of the header lie in them.
    std::uint64_t pixelRoom() const;
    bool hasAllRows() const;
    qv::DibView view() const;

    RGBQUAD* colorTable_ = nullptr;
    unsigned char* bits_ = nullptr;
    BITMAPINFOHEADER* header_ = nullptr;
    HGLOBAL globalHandle_ = nullptr;
    int headerOwner_ = kHeaderBorrowed;
    int bitsOwned_ = 0;
    DWORD imageSize_ = 0;
    int colorCount_ = 0;
    std::uint64_t knownRoom_ = 0; // bytes at bits_, where this object knows them; 0 = the header tells
    std::unique_ptr<qv::FileMapping> mapping_;
    int optionFlag_ = 0;
    int iconResult_ = 0;
};
