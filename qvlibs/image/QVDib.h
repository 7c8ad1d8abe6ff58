// CQVDIB: a picture in memory.
//
// Layout   a 40-byte header, directly behind it the colour table (4 bytes a colour), and the pixel rows,
//          lowest row first, each padded to 4 bytes. Members that take a row count it from the top.
// Colours  0x00BBGGRR: red in the low byte. In 24-bit rows they lie as B, G, R.
// Memory   blocks that an object owns, made or given, come from `new unsigned char[]`, the header with its
//          table in one block; so do blocks that Detach leaves to the caller.
// Sizes    every member that takes memory refuses negative sizes and more pixels than qv::pixelLimit().
// Results  each member says its own sense. No member throws.
// Threads  one at a time per object.
#pragma once

#include "qvlibs/framework/File.h"
#include "qvlibs/framework/Geometry.h"
#include "qvlibs/framework/Lists.h"
#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/framework/Object.h"
#include "qvlibs/framework/Time.h"
#include "qvlibs/image/DibTypes.h"
#include "qvlibs/platform/GlobalMemory.h"

#include <memory>
#include <span>

class CArchive;
class CDC;
class CWnd;
class IStorage;
class IStream;

namespace qv {
struct DibView;
struct PixelView;
class FileMapping;
class PicturePlugIns;
} // namespace qv

// A record of picture properties as plug-ins hand it out; made with `new`.
struct PICTINFO {
    CString name;
    CString value;
};

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
    // and nobody may cut it. 1 done; 0 when it is no such file, or, the image then being empty, when its end lies
    // inside the picture: pixels are taken to follow the table, wherever the file says that they are.
    int AttachMapFile(const char* path, int share);
    // Writes the image to a new BMP file and lives in it from then on: changes of pixels reach the file. 1
    // done; 0, the image as it was, when the file cannot be made or is the one that this image is mapped
    // from.
    int CopyToMapFile(const char* path);

    CSize GetDimensions() const;
    int GetWidth() const;
    int GetHeight() const;
    int GetBitCount() const;
    ULONG GetSizeImage() const { return imageSize_; } // bytes of pixels
    ULONG GetSizeHeader() const;                      // with the table
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

    // A logical palette of the table's colours, kept until the image is emptied. 1 done; 0 without table, and
    // for pictures with masks.
    int MakePalette();
    // The palette of a palette-based surface, for images without a table. 1 done, 0 otherwise.
    int SetSystemPalette(CDC* dc);
    // Selects the palette into the surface and realizes it: how many colours changed, 0 without palette.
    unsigned UsePalette(CDC* dc, int background);

    // Pixels that this image and a bitmap share. For an image without pixels, else null; the bitmap stays
    // this image's until it is emptied.
    HBITMAP CreateSection(HDC dc);
    HBITMAP CreateSection(CDC* dc);
    HBITMAP CreateSection(CWnd* window);
    // A bitmap of the surface's kind; the caller's, to delete. Null without pixels.
    HBITMAP CreateBitmap(CDC* dc);
    // Makes a 4- or 8-bit image run-length compressed, or plain again. 1 done; 0 for other depths and for images
    // with a section, without pixels or without a table, which stay as they are.
    int Compress(CDC* dc, int compress);

    // Onto a surface, stretched or in the image's own size. 1 done; 0 without header, or (unstretched)
    // without pixels.
    int Draw(CDC* dc, CPoint pos, CSize size);
    int Draw(CDC* dc, int x, int y, int cx, int cy);
    int Draw(CDC* dc, CPoint pos);
    int Draw(CDC* dc, int x, int y);
    // A bitmap, which stays the caller's, at the rectangle's corner, or centred: then as if the rectangle
    // began at (0, 0). 1 done, 0 for null.
    static int Draw(CDC* dc, CRect rect, HBITMAP bmp, ULONG rop, int centre);
    // Two bitmaps, centred, each OR-ed into what is there. 0 as soon as one fails.
    static int DrawBitmap(CDC* dc, CRect rect, HBITMAP first, HBITMAP second);
    // A picture file in the same way. 0 when it cannot be loaded.
    static int DrawFile(CDC* dc, CRect rect, const char* path);

    // Resizes to `size` with the shape and fit that types and option ask for (0 stretch, -1 fill, all others
    // fit); the depth stays. Without `dst` the image itself becomes the result. `method` is not looked at:
    // this is always the smooth engine, or the own sampler for depths other than 24. 0 done, or nothing asked
    // with a size of (0, 0); 1 without header or pixels, for run-length pictures, depths below 8 bits and sizes
    // that do not fit their types, a given `dst` then being empty.
    ULONG ResizeFilter(CSize size, CQVDIB* dst, int option, DIB_TYPE srcType, DIB_TYPE dstType,
                       RESIZE_METHOD method);
    // Resizes into the pixels that `dst` has, by the own sampler; where to is a table for video sizes.
    // Options: 0 stretch, 1 and 10 up fit, 2 to 9 fit as one of the shapes of video. The depths must be
    // equal. 0 done, 1 otherwise, and when a row of `dst` is padded.
    ULONG ResizeFilter2(CQVDIB* dst, int option);
    // The same places with the smooth engine. The result lies in a memory block; this image is moved into
    // one. `flag` is not used.
    ULONG ResizeFilterLeadTool2(CQVDIB* dst, int option, int flag);
    // The same to a size; without `dst` the image itself becomes the result.
    ULONG ResizeFilterLeadTool(CSize size, CQVDIB* dst, int option, int flag);

    // Raw resizers of 24-bit rows (padded to 4 bytes, lowest row first): the source's rectangle onto the
    // destination's. Each has its own way with the destination's rectangle:
    //   LeadTool     rows from the lowest; nothing outside is touched; flag not used
    //   IPPI24       rows from the top; the rest is cleared; flag 0 cubic, else linear. Without a destination
    //                the result replaces the source, whose buffer must be as large. Where rows are padded a
    //                part near the end of the buffer may stay at its start.
    //   Mainconcept  rows from the lowest; the rest is cleared; flag 0 Lanczos, else linear
    // 0 done, 1 for missing buffers, rectangles that are not inside and sides above 262,144 pixels. Methods 3 and 4 are LeadTool, 7 and 8
    // Mainconcept, all others IPPI24. The buffers must not overlap.
    static ULONG DirectResize(RESIZE_METHOD method, unsigned char* src, SIZE srcSize, RECT srcRect,
                              unsigned char* dst, SIZE dstSize, RECT dstRect, int flag);
    static ULONG DirectResizeLeadTool(unsigned char* src, SIZE srcSize, RECT srcRect, unsigned char* dst,
                                      SIZE dstSize, RECT dstRect, int flag);
    static ULONG DirectResizeIPPI24(unsigned char* src, SIZE srcSize, RECT srcRect, unsigned char* dst,
                                    SIZE dstSize, RECT dstRect, int flag);
    static ULONG DirectResizeMainconcept(unsigned char* src, SIZE srcSize, RECT srcRect, unsigned char* dst,
                                         SIZE dstSize, RECT dstRect, int flag);

    // Filters work on the image itself when `dst` is null (or this image), else the result goes to `dst` and
    // the image stays as it is, but for StillFilter.

    // To 24 bits, the only depth that is taken. 0 done, also where a 24-bit image is its own result; 1 for other
    // depths, run-length pictures, no header or pixels.
    ULONG RecolorFilter(int bitCount, CQVDIB* dst);
    // Cuts out a rectangle, right and bottom included, rows from the top; the result has 24 bits. 0 done,
    // 0x80070057 for a rectangle that is not inside, 0x81000003 without header, 0x80004005 without pixels.
    // A `dst` that has the right size and depth keeps its memory.
    LONG TrimmingFilter(RECT rect, CQVDIB* dst);
    // Turns clockwise by 0, 90, 180, 270 or -90 degrees; the result has 24 bits unless the angle is refused.
    // `flag` is not used. 0 done, 0x80070057 for other angles, 0x80004005 without header or pixels.
    LONG RotationFilter(int angle, ULONG flag, CQVDIB* dst);
    // Shows a picture of this Exif orientation upright: 3, 6 and 8 are turned, 1 gives 1 and does nothing,
    // others 0x80070057.
    LONG RotationFilter2(int orientation, CQVDIB* dst);
    // 24-bit pictures only, others stay as they are; always 0. Gray is the floor of the channels' mean;
    // `level` is percent toward white, rounded toward zero, and of levels outside 0 to 100 the low 8 bits
    // stay.
    ULONG GrayFilter();
    ULONG DensityFilter(int level);
    // A still without the comb of two fields. Low four bits of `mode`: 0 nothing; 1 keeps the odd stored
    // lines, 2 the even ones, each standing in for its neighbour. Modes 1, 2, 17 and 18 then fill every other
    // line of 24-bit pictures with the mean of its neighbours. With `dst` both images end up filtered. 0
    // done, 1 otherwise.
    ULONG StillFilter(ULONG mode, CQVDIB* dst);

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

    // Pictures in compound files (platform/Storage.h): an element is a storage under `root` that holds the
    // picture with the time and size of the file that it stands for. 0 done, 1 failed.

    // Takes effect whole and at once, or not at all; other changes that are open under the root take effect
    // with it. An element of that name is an error unless `replace` says otherwise. `info` is not used.
    ULONG WriteToStg(IStorage* root, const char* name, LONG time, LONG sizeLow, LONG sizeHigh, LONG info,
                     int replace);
    // A failure leaves the image as it was when there is no such picture, and empty when it is damaged. An
    // element whose format value is 1 holds no picture: 0, and the image stays as it was.
    ULONG ReadFromStg(IStorage* root, const char* name);
    static ULONG DestroyElementStorage(IStorage* root, const char* name);
    // Bytes that are missing count as 0. Sizes: an element without the lower half leaves that value alone.
    static ULONG ReadFileTimeFromStg(IStorage* root, const char* name, LONG* time);
    static ULONG ReadFileSizeFromStg(IStorage* root, const char* name, LONG& sizeLow, LONG& sizeHigh);
    // Shows what a status means through the message handler. Always 0.
    static ULONG ErrorMessageBox(LONG status);

    // Becomes a movie's frame at the given size, fitted by its shape: 1 done; 0 when the movie cannot be
    // opened, the frame cannot be read (nor the next one), or the size is refused or does not fit the shape.
    int ReadDIB(const char* moviePath, LONG frame, CSize size);
    // Picture files of every kind that is installed. ".bmp" is built in (any case; ".dib" is not); for all
    // other names the first codec plug-in that says the file is its kind decides, and no other is tried when
    // it fails. ULONG results: 0 done, 1 failed, 9 no plug-in for the file. A BMP that cannot be opened gives
    // the system's number of the reason in 0x8407xxxx.
    // Pictures whose Exif orientation is 3, 6 or 8 are turned upright; mirrored ones are left as they are.
    // `showWait` shows the wait cursor meanwhile. When only the turning fails the picture stays, unturned,
    // and the result is 1.
    ULONG Load(const char* path, int showWait);
    // The same for a picture that will be shown smaller: a codec with a cheap reduced decode may deliver any
    // smaller size that has at least `wanted` in both directions, whichever way the picture is turned.
    ULONG LoadAtLeast(const char* path, CSize wanted, int showWait);
    // What the options mean is the plug-in's own; 0 is always the usual. Of the shipped ones:
    //             option1                          option2
    //   JPEG      quality 1..100 (90)              1: colour at full resolution (4:4:4) instead of half
    //   PNG       compression 1..9 (6)             -
    //   TIFF      0 LZW, 1 none, 2 Deflate         -
    //   GIF       colours 2..256 (256)             -
    //   WebP      quality 1..100 (90)              1: lossless
    //   HEIF      quality 1..100 (80)              1: colour at full resolution
    // The result says only that a plug-in was there, or that the BMP could be created: on purpose it is 0
    // even when encoding failed; that is reported through the message handler, and the old file stays. The
    // image moves into a global memory block.
    ULONG Save(const char* path, int option1, int option2);
    int Investigate(const char* path);              // 1 when the file is supported and decodes
    static int IsLocalSupported(const char* path);  // 1 for a ".bmp" file without compression or masks
    static int IsPluginSupported(const char* path); // 1 when a codec plug-in takes the file
    static int IsSupported(const char* path);       // one of the two
    // Size, depth and a text such as "JPEG colour" without decoding. `extra` (may be null) is a word of the
    // plug-in.
    ULONG GetInfo(const char* path, BITMAPINFOHEADER* info, CString& description);
    ULONG GetInfo(const char* path, BITMAPINFOHEADER* info, CString& description, int* extra);
    // Extensions without the dot, appended. Index 0 is "bmp", "dib"; index n the n-th plug-in; beyond:
    // nothing. 0.
    ULONG GetAllAvailableExtentions(CStringList& list);
    ULONG GetAvailableExtentions(int index, CStringList& list);
    ULONG GetCopyrigth(int index, const char* text); // loads the plug-ins; always 0
    int GetNumOfPlugin();                            // codec plug-ins + 1
    // Which kinds of codec this object asks, before it first asks one: bit 0 pictures (the default, 1), bits
    // 1 and 2 movies. Always 0.
    ULONG SetPluginLevel(int level);
    // List the plug-ins now; every member that needs them does so by itself.
    void LoadPlugIns();
    void LoadPlugInsPb();
    // Adds the picture-property plug-ins whose extension is the last three characters of the pattern, any
    // case.
    void LoadPlugInsPb2(const char* pattern);
    // As the last Load found them: whether the file has Exif data, and its orientation.
    int GetExifFlag() const { return exifFlag_; }
    int GetOrientation() const { return orientation_; }

    // Exif of a file, through the picture-property plug-ins. Statuses: 0 done, negative = failure
    // (0x80004005 when no plug-in supports the file).
    LONG IsExif(const char* path, int* isExif);
    // The orientation, 0 when there is none; `status` (may be null) tells success.
    int GetOrientationInfo(const char* path, LONG* status, int option);
    // value1: the orientation; value2: the clockwise turn in degrees that shows the picture upright. 0 on
    // failure.
    LONG GetOrientationInfoEx(const char* path, int* value1, int* value2, int option);
    // Writes `target` as a copy of `path` with that orientation; both may be one file.
    LONG SetOrientation(const char* path, const char* target, WORD orientation, int option);
    LONG SetDateTimeOriginal(const char* path, SYSTEMTIME time);
    LONG GetDateTimeOriginal(const char* path, SYSTEMTIME* time);
    // Maker and model of the camera, such as "Canon PowerShot S40"; "" when the picture says none.
    LONG GetCamera(const char* path, CString& text);
    // text: "name: value" lines; words and dwords: the 16- and 32-bit values, in file order.
    LONG GetMakerNoteValue(const char* path, CString& text, CWordArray& words, CDWordArray& dwords);
    // Gives `to` what `from` says about itself, but for size and thumbnail; `orientation` 0 writes none.
    LONG CopyProperties(const char* from, const char* to, WORD orientation);
    static LONG DeletePCINFO(PICTINFO* info); // deletes the record; 0
    static LONG DeleteInfo(void* list); // a CList<PICTINFO*, PICTINFO*>: deletes and removes every record; 0

    // An icon of a Windows module (nothing of it runs): from its first icon group, the smallest picture that
    // is at least `request` pixels wide (0 = 32), else the largest; the deepest where several are. Nothing
    // shows as white. Returns the icon result: 1 when the image holds the icon, else 0.
    int GetIconFromBinary(const char* modulePath, int request);
    // A copy of icon resource `id` of a module loaded with qv::loadModuleData, freed with delete[]. The byte
    // count, 0 when there is none.
    static ULONG StoreIconData(HINSTANCE module, WORD id, unsigned char** data);

private:
    enum class BmpSaved { notCreated, notWritten, done };
    enum class Pixels { AllThere, MissingAreBlack };
    enum HeaderOwner : int { kHeaderBorrowed = 0, kHeaderOwned = 1, kHeaderGlobal = 2 };

    void DetachMapFile();
    [[nodiscard]] bool allocateHeader(std::uint64_t size);
    [[nodiscard]] bool allocatePixels(); // for the header's rows, not filled
    bool adopt(void* packedDib, std::uint64_t size);
    bool readFrom(CFile& file, Pixels pixels = Pixels::MissingAreBlack);
    bool readStored(IStream* stream); // these two take over the reference
    bool writeStored(IStream* stream);
    // A new image of this size with pixels that are not filled; false, and empty, when it cannot be made.
    [[nodiscard]] bool makePixels(CSize size, int bitCount);
    // Becomes the picture that `from` was; its pixels must be its own or in its block.
    void takeOver(CQVDIB& from);
    // Table and compression of a picture of the same depth.
    void copyFormat(const CQVDIB& source);
    ULONG ResizeFilterSR(CSize size, CQVDIB* dst, DIB_TYPE srcType, DIB_TYPE dstType, RESIZE_OPTION option,
                         RESIZE_METHOD method);
    ULONG ResizeFilterSR2(CQVDIB* dst, DIB_TYPE srcType, DIB_TYPE dstType, RESIZE_OPTION option,
                          RESIZE_METHOD method);
    ULONG ResizeFilter2Core(CQVDIB* dst, RECT part) const;
    ULONG ResizeFilterLeadTool2Core(CQVDIB* dst, RECT part);
    LONG RotationFilterCore(int angle, ULONG flag, CQVDIB* dst);
    template <class RowFilter>
    void filterRows(RowFilter filter);
    bool compressThrough(CDC& dc, bool compress);
    // Bytes that may be touched at the pixels' address; whether all rows of the header lie in them, each where
    // its number says.
    std::uint64_t pixelRoom() const;
    bool hasAllRows() const;
    friend QVLIBS_API ULONG QVTLInterToNoninter(CQVDIB* image, WORD mode);
    qv::DibView view() const;
    qv::PixelView pixelsFromTop() const; // of a picture with bits
    qv::PicturePlugIns& plugIns() const;
    [[nodiscard]] bool takeDecoded(HGLOBAL block);
    ULONG turnUpright(const char* path);
    [[nodiscard]] BmpSaved saveBmp(const char* path, CFileException& error);
    [[nodiscard]] bool takeIcon(std::span<const BYTE> icon);

    RGBQUAD* colorTable_ = nullptr;
    HBITMAP section_ = nullptr;
    unsigned char* bits_ = nullptr;
    BITMAPINFOHEADER* header_ = nullptr;
    HGLOBAL globalHandle_ = nullptr;
    int headerOwner_ = kHeaderBorrowed;
    int bitsOwned_ = 0;
    DWORD imageSize_ = 0;
    int colorCount_ = 0;
    std::uint64_t knownRoom_ = 0; // bytes at bits_, where this object knows them; 0 = the header tells
    std::unique_ptr<qv::FileMapping> mapping_;
    HPALETTE palette_ = nullptr;
    int optionFlag_ = 0;
    int iconResult_ = 0;
    mutable std::unique_ptr<qv::PicturePlugIns> plugIns_; // made on first use
    int exifFlag_ = 0;
    int orientation_ = 0;
};
