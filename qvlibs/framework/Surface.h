// Drawing surfaces: pixels with a few operations on them. There is no screen behind them; a program shows or
// keeps the pixels as it likes.
//
// A surface is true-colour (24 or 32 bits), or palette-based (8 bits): then colours are those of its system
// palette, 256 at first in an even spread, and drawing takes the nearest. Rows count from the top, colours
// are 0x00BBGGRR. What lies outside a surface is not drawn. One thread at a time per surface and its bitmaps.
#pragma once

#include "qvlibs/framework/DibPixels.h"
#include "qvlibs/framework/Geometry.h"

#include <memory>
#include <vector>

struct PALETTEENTRY {
    BYTE peRed;
    BYTE peGreen;
    BYTE peBlue;
    BYTE peFlags;
};

// What GetObject tells about a bitmap.
struct BITMAP {
    LONG bmWidth = 0;
    LONG bmHeight = 0;
    LONG bmWidthBytes = 0;
    WORD bmBitsPixel = 0;
    void* bmBits = nullptr; // the lowest row
};

// Raster operations: the source replaces the destination, or is OR-ed into it bit by bit.
constexpr ULONG SRCCOPY = 0x00CC0020;
constexpr ULONG SRCPAINT = 0x00EE0086;

constexpr int BLACKONWHITE = 1; // the stretch mode of a new surface; none changes the result here
constexpr int COLORONCOLOR = 3;

// Questions to GetDeviceCaps.
constexpr int NUMCOLORS = 24;
constexpr int RASTERCAPS = 38; // RC_PALETTE is set for palette-based surfaces
constexpr int SIZEPALETTE = 104;
constexpr int RC_PALETTE = 0x0100;

class CDC;

// Palettes and bitmaps are the caller's until DeleteObject. Deleting null does nothing.
QVLIBS_API HPALETTE CreatePalette(const PALETTEENTRY* entries, int count);
QVLIBS_API void DeleteObject(HPALETTE palette);
// A bitmap of the surface's kind with the picture's colours; run-length pictures are unpacked. Null without
// picture or memory.
QVLIBS_API HBITMAP CreateDIBitmap(const CDC& dc, const qv::DibView& picture);
// A bitmap with the layout of this header (not run-length), its pixels black; `bits` receives their address.
// What either side draws the other sees. Null for sizes that make no sense.
QVLIBS_API HBITMAP CreateDIBSection(const BITMAPINFOHEADER& header, std::span<const RGBQUAD> table,
                                    unsigned char** bits);
QVLIBS_API void DeleteObject(HBITMAP bitmap);
QVLIBS_API int GetObject(HBITMAP bitmap, BITMAP* info); // 1, or 0 for null

// Owns a bitmap.
class QVLIBS_API CBitmap {
public:
    CBitmap() = default;
    ~CBitmap() { DeleteObject(handle_); }
    CBitmap(const CBitmap&) = delete;
    CBitmap& operator=(const CBitmap&) = delete;

    void Attach(HBITMAP bitmap);
    HBITMAP Detach();
    HBITMAP GetSafeHandle() const { return handle_; }

private:
    HBITMAP handle_ = nullptr;
};

class QVLIBS_API CDC {
public:
    // A surface with black pixels; bitCount 8, 24 or 32, others count as 32. Sizes below 1 count as 1.
    CDC(int width, int height, int bitCount = 32);
    // A memory surface of the same kind over a bitmap, which stays the caller's and must live as long.
    CDC(const CDC& compatible, HBITMAP selected);
    virtual ~CDC();
    CDC(const CDC&) = delete;
    CDC& operator=(const CDC&) = delete;

    HDC GetSafeHdc() const { return reinterpret_cast<HDC>(const_cast<CDC*>(this)); }

    virtual int GetDeviceCaps(int index) const;
    // Entries copied; 0 where there is no palette.
    virtual unsigned GetSystemPaletteEntries(unsigned first, unsigned count, PALETTEENTRY* entries) const;

    // The palette that was selected before, or null. What is selected stays the caller's and must live as long.
    HPALETTE SelectPalette(HPALETTE palette, int background);
    // Puts the selected palette's colours into the system palette unless it was selected for the background.
    // How many entries changed; 0 on true-colour surfaces.
    unsigned RealizePalette();
    int SetStretchBltMode(int mode); // the mode before

    int GetWidth() const;
    int GetHeight() const;
    COLORREF GetPixel(int x, int y) const; // black outside
    void SetPixel(int x, int y, COLORREF color);

    // The picture stretched over a rectangle, without interpolation; a width or height below 0 mirrors.
    // Stored rows drawn; 0 without picture.
    int StretchDIBits(int x, int y, int width, int height, const qv::DibView& picture, ULONG rop);
    // The picture in its own size.
    int SetDIBitsToDevice(int x, int y, const qv::DibView& picture);
    // A part of another surface. 1, or 0 for raster operations other than SRCCOPY and SRCPAINT.
    int BitBlt(int x, int y, int width, int height, const CDC& source, int sourceX, int sourceY, ULONG rop);

private:
    void combine(int x, int y, COLORREF color, ULONG rop);

    int bitCount_;
    HBITMAP own_ = nullptr;
    HBITMAP selected_ = nullptr;
    HPALETTE palette_ = nullptr;
    bool background_ = false;
    int stretchMode_ = BLACKONWHITE;
};

// A memory surface compatible with another, with a bitmap in it for the object's life.
class QVLIBS_API CMemDCB : public CDC {
public:
    CMemDCB(CDC* dc, CBitmap* bitmap) : CDC(*dc, bitmap->GetSafeHandle()) {}
};

// A window, as far as pictures need one: a surface to draw on, which stays the window's. There are none here;
// a program may derive its own.
class QVLIBS_API CWnd {
public:
    virtual ~CWnd() = default;
    virtual CDC* GetDC() { return nullptr; }
};

namespace qv {
// The bitmap's colours as stored rows of this header (4 or 8 bits), each the nearest colour of the table.
[[nodiscard]] QVLIBS_API std::vector<BYTE> bitmapRows(HBITMAP bitmap, const BITMAPINFOHEADER& header,
                                                      std::span<const RGBQUAD> table);
} // namespace qv
