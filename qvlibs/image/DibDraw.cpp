// Palettes, sections and drawing.
#include "qvlibs/framework/DibPixels.h"
#include "qvlibs/framework/RunLength.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Surface.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/DibLayout.h"
#include "qvlibs/image/QVDib.h"

#include <algorithm>
#include <cstring>
#include <vector>

int CQVDIB::MakePalette() {
    if (!header_ || header_->biCompression == BI_BITFIELDS || colorCount_ == 0) return 0;
    std::vector<PALETTEENTRY> entries;
    for (const RGBQUAD& color : view().table)
        entries.push_back({color.rgbRed, color.rgbGreen, color.rgbBlue, 0});
    if (entries.empty()) return 0;
    DeleteObject(palette_);
    palette_ = CreatePalette(entries.data(), static_cast<int>(entries.size()));
    return 1;
}

int CQVDIB::SetSystemPalette(CDC* dc) {
    if (!dc || !header_ || colorCount_ != 0 || header_->biCompression == BI_BITFIELDS) return 0;
    if (!(dc->GetDeviceCaps(RASTERCAPS) & RC_PALETTE)) return 0;
    int count = dc->GetDeviceCaps(SIZEPALETTE);
    if (count == 0) count = dc->GetDeviceCaps(NUMCOLORS);
    if (count <= 0) return 0;
    std::vector<PALETTEENTRY> entries(static_cast<size_t>(count));
    dc->GetSystemPaletteEntries(0, static_cast<unsigned>(count), entries.data());
    DeleteObject(palette_);
    palette_ = CreatePalette(entries.data(), count);
    return 1;
}

unsigned CQVDIB::UsePalette(CDC* dc, int background) {
    if (!palette_ || !dc) return 0;
    dc->SelectPalette(palette_, background);
    return dc->RealizePalette();
}

HBITMAP CQVDIB::CreateSection(HDC) {
    QV_TRACE("CQVDIB");
    if (!header_ || bits_) return nullptr;
    const auto rows = qv::pixelBytes(header_->biWidth, header_->biHeight, header_->biBitCount);
    if (!rows) return nullptr;
    section_ = CreateDIBSection(*header_, view().table, &bits_);
    if (section_) knownRoom_ = *rows;
    return section_;
}
HBITMAP CQVDIB::CreateSection(CDC* dc) { return dc ? CreateSection(dc->GetSafeHdc()) : nullptr; }
// The window's surface is not given back, on purpose: it stays the window's.
HBITMAP CQVDIB::CreateSection(CWnd* window) { return window ? CreateSection(window->GetDC()) : nullptr; }

HBITMAP CQVDIB::CreateBitmap(CDC* dc) {
    QV_TRACE("CQVDIB");
    return dc && imageSize_ != 0 ? CreateDIBitmap(*dc, view()) : nullptr;
}

int CQVDIB::Draw(CDC* dc, CPoint pos, CSize size) { return Draw(dc, pos.x, pos.y, size.cx, size.cy); }

int CQVDIB::Draw(CDC* dc, int x, int y, int cx, int cy) {
    QV_TRACE("CQVDIB");
    if (!dc || !header_) return 0;
    UsePalette(dc, 1);
    const int before = dc->SetStretchBltMode(COLORONCOLOR);
    dc->StretchDIBits(x, y, cx, cy, view(), SRCCOPY);
    dc->SetStretchBltMode(before);
    return 1;
}

int CQVDIB::Draw(CDC* dc, CPoint pos) { return Draw(dc, pos.x, pos.y); }

int CQVDIB::Draw(CDC* dc, int x, int y) {
    QV_TRACE("CQVDIB");
    if (!dc || !header_) return 0;
    UsePalette(dc, 1);
    return dc->SetDIBitsToDevice(x, y, view()) != 0 ? 1 : 0;
}

int CQVDIB::Draw(CDC* dc, CRect rect, HBITMAP bmp, ULONG rop, int centre) {
    QV_TRACE("CQVDIB");
    BITMAP info;
    if (!dc || !GetObject(bmp, &info)) return 0;
    CBitmap bitmap;
    bitmap.Attach(bmp);
    {
        const CMemDCB memory(dc, &bitmap);
        // Centred, the rectangle's own left and top do not count, on purpose
        // (DibDraw.CentringForgetsTheCorner).
        const CPoint at = centre ? CPoint((rect.right - info.bmWidth - rect.left) / 2,
                                          (rect.bottom - rect.top - info.bmHeight) / 2)
                                 : CPoint(rect.left, rect.top);
        dc->BitBlt(at.x, at.y, info.bmWidth, info.bmHeight, memory, 0, 0, rop);
    }
    bitmap.Detach(); // the caller's
    return 1;
}

int CQVDIB::DrawBitmap(CDC* dc, CRect rect, HBITMAP first, HBITMAP second) {
    return Draw(dc, rect, first, SRCPAINT, 1) ? Draw(dc, rect, second, SRCPAINT, 1) : 0;
}

int CQVDIB::DrawFile(CDC* dc, CRect rect, const char* path) {
    QV_TRACE("CQVDIB");
    CQVDIB dib;
    CBitmap bitmap;
    if (!path || dib.Load(path, 0) != QV_OK) return 0;
    bitmap.Attach(dib.CreateBitmap(dc));
    return DrawBitmap(dc, rect, bitmap.GetSafeHandle(), bitmap.GetSafeHandle());
}

int CQVDIB::Compress(CDC* dc, int compress) {
    QV_TRACE("CQVDIB");
    const int bits = GetBitCount();
    if (!dc || (bits != 4 && bits != 8) || section_) return 0;
    const HPALETTE before = dc->SelectPalette(palette_, 0);
    dc->RealizePalette();
    const bool done = compressThrough(*dc, compress != 0);
    if (done) MakePalette();
    dc->SelectPalette(before, 0);
    return done ? 1 : 0;
}

// The pixels go through the surface: on a palette-based one they come back in the colours that it can show.
bool CQVDIB::compressThrough(CDC& dc, bool compress) {
    CBitmap bitmap;
    bitmap.Attach(CreateBitmap(&dc));
    CQVDIB made;
    const DWORD colors = qv::colorCount(header_->biClrUsed, GetBitCount());
    if (!bitmap.GetSafeHandle() || view().table.size() < colors) return false;
    const auto table = view().table.first(colors);
    if (!made.allocateHeader(sizeof *header_ + table.size_bytes())) return false;
    *made.header_ = *header_;
    made.ComputePaletteSize(GetBitCount());
    made.ComputeMetrics();
    std::copy(table.begin(), table.end(), made.colorTable_);
    std::vector<BYTE> pixels = qv::bitmapRows(bitmap.GetSafeHandle(), *header_, table);
    if (compress) {
        pixels = qv::encodeRunLength(pixels, static_cast<size_t>(GetLineBytes()), GetWidth(), GetHeight(),
                                     GetBitCount());
    }
    made.header_->biCompression = !compress ? BI_RGB : GetBitCount() == 4 ? BI_RLE4 : BI_RLE8;
    made.header_->biSizeImage = static_cast<DWORD>(pixels.size());
    made.ComputeMetrics();
    if (pixels.empty() || !made.allocatePixels()) return false;
    std::memset(made.bits_, 0, static_cast<size_t>(made.knownRoom_));
    std::copy(pixels.begin(), pixels.end(), made.bits_);
    takeOver(made);
    return true;
}
