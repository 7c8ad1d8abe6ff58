#include "qvlibs/framework/Surface.h"

#include "qvlibs/framework/RunLength.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <unordered_map>
#include <utility>

namespace qv {
namespace {

constexpr std::uint64_t kMostBytes = 0x7FFFFFFF;
constexpr int kSystemColors = 256;

// A DIB with its own pixels, whose address never changes.
struct DeviceBitmap {
    BITMAPINFOHEADER header{};
    std::vector<RGBQUAD> table;
    std::unique_ptr<BYTE[]> bits;
    size_t size = 0;

    DibView view() const { return {&header, table, {bits.get(), size}}; }
    std::int64_t lineBytes() const { return dibLineBytes(header.biWidth, header.biBitCount); }
};

struct Palette {
    std::vector<PALETTEENTRY> entries;
};

DeviceBitmap* bitmapOf(HBITMAP handle) { return reinterpret_cast<DeviceBitmap*>(handle); }
HBITMAP handleOf(std::unique_ptr<DeviceBitmap> bitmap) { return reinterpret_cast<HBITMAP>(bitmap.release()); }
Palette* paletteOf(HPALETTE handle) { return reinterpret_cast<Palette*>(handle); }

std::unique_ptr<DeviceBitmap> makeBitmap(const BITMAPINFOHEADER& header, std::span<const RGBQUAD> table) {
    if (header.biWidth <= 0 || header.biHeight <= 0) return nullptr;
    const auto line = static_cast<std::uint64_t>(dibLineBytes(header.biWidth, header.biBitCount));
    if (line == 0 || line > kMostBytes || line * static_cast<std::uint64_t>(header.biHeight) > kMostBytes)
        return nullptr;
    auto bitmap = std::make_unique<DeviceBitmap>();
    bitmap->header = header;
    bitmap->table.assign(table.begin(), table.end());
    bitmap->size = static_cast<size_t>(line) * static_cast<size_t>(header.biHeight);
    bitmap->bits.reset(new (std::nothrow) BYTE[bitmap->size]());
    return bitmap->bits ? std::move(bitmap) : nullptr;
}

BITMAPINFOHEADER headerFor(LONG width, LONG height, int bitCount) {
    return {sizeof(BITMAPINFOHEADER), width, height, 1, static_cast<WORD>(bitCount), BI_RGB, 0, 0, 0, 0, 0};
}

// Six steps a channel, then gray.
std::vector<RGBQUAD> systemColors() {
    std::vector<RGBQUAD> colors;
    colors.reserve(kSystemColors);
    for (int i = 0; i < 216; ++i) {
        colors.push_back({static_cast<BYTE>(i % 6 * 51), static_cast<BYTE>(i / 6 % 6 * 51),
                          static_cast<BYTE>(i / 36 * 51), 0});
    }
    for (int i = 0; colors.size() < kSystemColors; ++i) {
        const BYTE level = static_cast<BYTE>(i * 255 / 41 + 3);
        colors.push_back({level, level, level, 0});
    }
    return colors;
}

unsigned nearest(std::span<const RGBQUAD> table, COLORREF color) {
    unsigned best = 0;
    int least = INT32_MAX;
    for (unsigned i = 0; i < table.size() && least > 0; ++i) {
        const int red = table[i].rgbRed - static_cast<int>(color & 0xFF);
        const int green = table[i].rgbGreen - static_cast<int>(color >> 8 & 0xFF);
        const int blue = table[i].rgbBlue - static_cast<int>(color >> 16 & 0xFF);
        const int distance = red * red + green * green + blue * blue;
        if (distance < least) {
            least = distance;
            best = i;
        }
    }
    return best;
}

// The low bits of each channel are cut; masks other than 5-6-5 count as 5-5-5, as in reading.
WORD wordOf(COLORREF color, bool green6) {
    const unsigned red = color & 0xFF, green = color >> 8 & 0xFF, blue = color >> 16 & 0xFF;
    if (green6) return static_cast<WORD>(red >> 3 << 11 | green >> 2 << 5 | blue >> 3);
    return static_cast<WORD>(red >> 3 << 10 | green >> 3 << 5 | blue >> 3);
}

void putBits(BYTE& byte, int shift, int bits, unsigned value) {
    const unsigned mask = ((1u << bits) - 1) << shift;
    byte = static_cast<BYTE>((byte & ~mask) | (value << shift & mask));
}

void storePixel(DeviceBitmap& bitmap, int x, int y, COLORREF color) {
    BYTE* const row = bitmap.bits.get() + (bitmap.header.biHeight - 1 - y) * bitmap.lineBytes();
    const int bits = bitmap.header.biBitCount;
    switch (bits) {
    case 1:
    case 4: {
        const int perByte = 8 / bits;
        putBits(row[x / perByte], (perByte - 1 - x % perByte) * bits, bits, nearest(bitmap.table, color));
        return;
    }
    case 8: row[x] = static_cast<BYTE>(nearest(bitmap.table, color)); return;
    case 16: {
        const bool masks = bitmap.header.biCompression == BI_BITFIELDS && bitmap.table.size() >= 3;
        const WORD word = wordOf(color, masks && maskOf(bitmap.table[1]) == 0x07E0);
        row[2 * x] = static_cast<BYTE>(word);
        row[2 * x + 1] = static_cast<BYTE>(word >> 8);
        return;
    }
    case 24:
    case 32: {
        BYTE* const pixel = row + std::int64_t{x} * (bits / 8);
        pixel[0] = static_cast<BYTE>(color >> 16);
        pixel[1] = static_cast<BYTE>(color >> 8);
        pixel[2] = static_cast<BYTE>(color);
        return;
    }
    default: return;
    }
}

bool isRunLength(const BITMAPINFOHEADER& header) {
    return (header.biCompression == BI_RLE8 && header.biBitCount == 8) ||
           (header.biCompression == BI_RLE4 && header.biBitCount == 4);
}

// A picture to draw from: as it is, or unpacked.
class Picture {
public:
    explicit Picture(const DibView& dib) : view_(dib) {
        if (!dib.header || !isRunLength(*dib.header)) return;
        unpacked_ = makeBitmap(*dib.header, dib.table);
        if (!unpacked_) {
            view_.header = nullptr;
            return;
        }
        unpacked_->header.biCompression = BI_RGB;
        decodeRunLength(dib.bits, {unpacked_->bits.get(), unpacked_->size},
                        static_cast<size_t>(unpacked_->lineBytes()), dib.header->biWidth,
                        dib.header->biHeight, dib.header->biBitCount);
        view_ = unpacked_->view();
    }
    bool isEmpty() const {
        return !view_.header || view_.bits.empty() || view_.header->biWidth <= 0 ||
               view_.header->biHeight <= 0;
    }
    int width() const { return view_.header->biWidth; }
    int height() const { return view_.header->biHeight; }
    COLORREF at(int x, int y) const { return dibPixel(view_, x, y); }

private:
    DibView view_;
    std::unique_ptr<DeviceBitmap> unpacked_;
};

// The picture as the nearest colours of the bitmap's table; each colour is looked for once.
void storeIndexed(DeviceBitmap& to, const Picture& picture) {
    std::unordered_map<COLORREF, unsigned> known;
    const int bits = to.header.biBitCount, perByte = 8 / bits;
    for (int y = 0; y < std::min(to.header.biHeight, picture.height()); ++y) {
        BYTE* const row = to.bits.get() + (to.header.biHeight - 1 - y) * to.lineBytes();
        for (int x = 0; x < std::min(to.header.biWidth, picture.width()); ++x) {
            const COLORREF color = picture.at(x, y);
            const auto [found, isNew] = known.try_emplace(color, 0u);
            if (isNew) found->second = nearest(to.table, color);
            putBits(row[x / perByte], (perByte - 1 - x % perByte) * bits, bits, found->second);
        }
    }
}

} // namespace

std::vector<BYTE> bitmapRows(HBITMAP handle, const BITMAPINFOHEADER& header, std::span<const RGBQUAD> table) {
    const auto to = handle ? makeBitmap(header, table) : nullptr;
    if (!to) return {};
    storeIndexed(*to, Picture(bitmapOf(handle)->view()));
    return {to->bits.get(), to->bits.get() + to->size};
}

} // namespace qv

using qv::bitmapOf;
using qv::paletteOf;

HPALETTE CreatePalette(const PALETTEENTRY* entries, int count) {
    if (!entries || count <= 0) return nullptr;
    return reinterpret_cast<HPALETTE>(new qv::Palette{{entries, entries + count}});
}
void DeleteObject(HPALETTE palette) { delete paletteOf(palette); }
void DeleteObject(HBITMAP bitmap) { delete bitmapOf(bitmap); }

int GetObject(HBITMAP handle, BITMAP* info) {
    const auto* const bitmap = bitmapOf(handle);
    if (!bitmap || !info) return 0;
    *info = {bitmap->header.biWidth, bitmap->header.biHeight, static_cast<LONG>(bitmap->lineBytes()),
             bitmap->header.biBitCount, bitmap->bits.get()};
    return 1;
}

HBITMAP CreateDIBSection(const BITMAPINFOHEADER& header, std::span<const RGBQUAD> table,
                         unsigned char** bits) {
    if (header.biCompression != BI_RGB && header.biCompression != BI_BITFIELDS) return nullptr;
    auto bitmap = qv::makeBitmap(header, table);
    if (bits) *bits = bitmap ? bitmap->bits.get() : nullptr;
    return qv::handleOf(std::move(bitmap));
}

HBITMAP CreateDIBitmap(const CDC& dc, const qv::DibView& dib) {
    const qv::Picture picture(dib);
    if (picture.isEmpty()) return nullptr;
    const bool paletted = dc.GetDeviceCaps(RASTERCAPS) & RC_PALETTE;
    std::vector<RGBQUAD> table;
    if (paletted) {
        std::vector<PALETTEENTRY> entries(qv::kSystemColors);
        entries.resize(dc.GetSystemPaletteEntries(0, qv::kSystemColors, entries.data()));
        for (const auto& entry : entries) table.push_back({entry.peBlue, entry.peGreen, entry.peRed, 0});
    }
    auto bitmap = qv::makeBitmap(qv::headerFor(picture.width(), picture.height(), paletted ? 8 : 32), table);
    if (bitmap && paletted) qv::storeIndexed(*bitmap, picture);
    for (int y = 0; bitmap && !paletted && y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) qv::storePixel(*bitmap, x, y, picture.at(x, y));
    }
    return qv::handleOf(std::move(bitmap));
}

void CBitmap::Attach(HBITMAP bitmap) {
    if (bitmap != handle_) DeleteObject(handle_);
    handle_ = bitmap;
}
HBITMAP CBitmap::Detach() { return std::exchange(handle_, nullptr); }

CDC::CDC(int width, int height, int bitCount) : bitCount_(bitCount == 8 || bitCount == 24 ? bitCount : 32) {
    const auto header = qv::headerFor(std::max(1, width), std::max(1, height), bitCount_);
    own_ = selected_ =
        qv::handleOf(qv::makeBitmap(header, bitCount_ == 8 ? qv::systemColors() : std::vector<RGBQUAD>()));
}
CDC::CDC(const CDC& compatible, HBITMAP selected) : bitCount_(compatible.bitCount_), selected_(selected) {}
CDC::~CDC() { DeleteObject(own_); }

int CDC::GetDeviceCaps(int index) const {
    if (index == RASTERCAPS) return bitCount_ == 8 ? RC_PALETTE : 0;
    if (index == SIZEPALETTE || index == NUMCOLORS) return bitCount_ == 8 ? qv::kSystemColors : 0;
    return 0;
}

unsigned CDC::GetSystemPaletteEntries(unsigned first, unsigned count, PALETTEENTRY* entries) const {
    const auto* const bitmap = bitmapOf(selected_);
    if (bitCount_ != 8 || !bitmap || !entries || first >= bitmap->table.size()) return 0;
    const unsigned copied = std::min(count, static_cast<unsigned>(bitmap->table.size()) - first);
    std::transform(bitmap->table.begin() + first, bitmap->table.begin() + first + copied, entries,
                   [](const RGBQUAD& color) {
                       return PALETTEENTRY{color.rgbRed, color.rgbGreen, color.rgbBlue, 0};
                   });
    return copied;
}

HPALETTE CDC::SelectPalette(HPALETTE palette, int background) {
    background_ = background != 0;
    return std::exchange(palette_, palette);
}

unsigned CDC::RealizePalette() {
    auto* const bitmap = bitmapOf(selected_);
    if (bitCount_ != 8 || !palette_ || background_ || !bitmap) return 0;
    unsigned changed = 0;
    const auto& entries = paletteOf(palette_)->entries;
    for (size_t i = 0; i < std::min(entries.size(), bitmap->table.size()); ++i) {
        const RGBQUAD color{entries[i].peBlue, entries[i].peGreen, entries[i].peRed, 0};
        if (qv::colorOf(bitmap->table[i]) == qv::colorOf(color)) continue;
        bitmap->table[i] = color;
        ++changed;
    }
    return changed;
}

int CDC::SetStretchBltMode(int mode) { return std::exchange(stretchMode_, mode); }

int CDC::GetWidth() const { return selected_ ? bitmapOf(selected_)->header.biWidth : 0; }
int CDC::GetHeight() const { return selected_ ? bitmapOf(selected_)->header.biHeight : 0; }

COLORREF CDC::GetPixel(int x, int y) const {
    if (x < 0 || y < 0 || x >= GetWidth() || y >= GetHeight()) return 0;
    return qv::dibPixel(bitmapOf(selected_)->view(), x, y);
}

void CDC::SetPixel(int x, int y, COLORREF color) {
    if (x < 0 || y < 0 || x >= GetWidth() || y >= GetHeight()) return;
    qv::storePixel(*bitmapOf(selected_), x, y, color);
}

void CDC::combine(int x, int y, COLORREF color, ULONG rop) {
    SetPixel(x, y, rop == SRCPAINT ? GetPixel(x, y) | color : color);
}

int CDC::StretchDIBits(int x, int y, int width, int height, const qv::DibView& dib, ULONG rop) {
    const qv::Picture picture(dib);
    if (picture.isEmpty() || (rop != SRCCOPY && rop != SRCPAINT)) return 0;
    const std::int64_t columns = std::abs(std::int64_t{width}), rows = std::abs(std::int64_t{height});
    // Only what lies on the surface is walked, however large the rectangle is.
    const auto position = [](int start, int length, int index) -> std::int64_t {
        return length < 0 ? std::int64_t{start} - index - 1 : std::int64_t{index} - start;
    };
    for (int row = 0; row < GetHeight(); ++row) {
        const std::int64_t v = position(y, height, row);
        if (v < 0 || v >= rows) continue;
        const int from = static_cast<int>(v * picture.height() / rows);
        for (int column = 0; column < GetWidth(); ++column) {
            const std::int64_t u = position(x, width, column);
            if (u < 0 || u >= columns) continue;
            combine(column, row, picture.at(static_cast<int>(u * picture.width() / columns), from), rop);
        }
    }
    return picture.height();
}

int CDC::SetDIBitsToDevice(int x, int y, const qv::DibView& picture) {
    if (!picture.header) return 0;
    return StretchDIBits(x, y, picture.header->biWidth, picture.header->biHeight, picture, SRCCOPY);
}

int CDC::BitBlt(int x, int y, int width, int height, const CDC& source, int sourceX, int sourceY, ULONG rop) {
    if (rop != SRCCOPY && rop != SRCPAINT) return 0;
    for (int row = 0; row < GetHeight(); ++row) {
        const std::int64_t v = std::int64_t{row} - y;
        if (v < 0 || v >= height || v + sourceY < 0 || v + sourceY >= source.GetHeight()) continue;
        for (int column = 0; column < GetWidth(); ++column) {
            const std::int64_t u = std::int64_t{column} - x;
            if (u < 0 || u >= width || u + sourceX < 0 || u + sourceX >= source.GetWidth()) continue;
            combine(column, row,
                    source.GetPixel(static_cast<int>(u + sourceX), static_cast<int>(v + sourceY)), rop);
        }
    }
    return 1;
}
