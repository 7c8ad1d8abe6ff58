// Icons out of Windows modules. A group resource lists the sizes and depths of one icon; each is a bitmap of
// its own with its colours first and, below them, a mask of one bit a pixel (set = nothing there). Their
// header counts the height of both together. Pictures stored as PNG files inside a module are passed over.
#include "qvlibs/framework/DibPixels.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/DibLayout.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/platform/PeResources.h"
#include "qvlibs/util/Bytes.h"

#include <algorithm>
#include <cstring>
#include <tuple>

namespace {

constexpr int kUsualSize = 32;

struct GroupEntry {
    int width;
    WORD bitCount;
    WORD id;
};

std::vector<GroupEntry> readGroup(std::span<const BYTE> group) {
    qv::ByteReader in(group);
    in.skip(4);
    const unsigned count = in.u16();
    std::vector<GroupEntry> entries;
    for (unsigned i = 0; i < count; ++i) {
        GroupEntry entry{};
        const BYTE width = in.u8();
        entry.width = width ? width : 256;
        in.skip(5);
        entry.bitCount = in.u16();
        in.skip(4);
        entry.id = in.u16();
        if (in.failed()) break;
        entries.push_back(entry);
    }
    return entries;
}

// Best first: large enough before too small, then near the size, then deep.
void sortByFitness(std::vector<GroupEntry>& entries, int size) {
    std::stable_sort(entries.begin(), entries.end(), [size](const GroupEntry& a, const GroupEntry& b) {
        const auto rank = [size](const GroupEntry& entry) {
            return std::tuple(entry.width < size, std::abs(entry.width - size), -entry.bitCount);
        };
        return rank(a) < rank(b);
    });
}

COLORREF overWhite(COLORREF color, unsigned alpha) {
    COLORREF blended = 0;
    for (int shift = 0; shift < 24; shift += 8) {
        const unsigned channel = color >> shift & 0xFF;
        blended |= (channel * alpha + 255 * (255 - alpha) + 127) / 255 << shift;
    }
    return blended;
}

} // namespace

bool CQVDIB::takeIcon(std::span<const BYTE> icon) {
    qv::ByteReader in(icon);
    BITMAPINFOHEADER header = qv::readBitmapHeader(in);
    const LONG width = header.biWidth, height = header.biHeight / 2;
    const int bits = header.biBitCount;
    const bool known = bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
    if (header.biSize != sizeof header || header.biCompression != BI_RGB || !known) return false;
    if (width < 1 || width > 1024 || height < 1 || height > 1024 || header.biClrUsed > 256) return false;
    const size_t colors = bits > 8 ? 0 : header.biClrUsed ? header.biClrUsed : size_t{1} << bits;
    const size_t before = sizeof header + colors * sizeof(RGBQUAD);
    const auto rows = static_cast<size_t>(height);
    const size_t line = static_cast<size_t>(qv::dibLineBytes(width, bits));
    const size_t maskLine = static_cast<size_t>(qv::dibLineBytes(width, 1));
    if (before + line * rows > icon.size()) return false;
    std::vector<RGBQUAD> table(colors);
    if (colors > 0) std::memcpy(table.data(), icon.data() + sizeof header, colors * sizeof(RGBQUAD));
    header.biHeight = height;
    const auto pixels = icon.subspan(before, line * rows);
    const auto mask = icon.subspan(before + line * rows);
    const bool masked = mask.size() >= maskLine * rows;
    if (!makePixels({width, height}, 24)) return false;
    std::memset(bits_, 0xFF, static_cast<size_t>(knownRoom_));
    // Icons of 32 bits carry transparency in the fourth byte, unless it is 0 everywhere.
    bool hasAlpha = false;
    for (size_t i = 3; bits == 32 && i < pixels.size(); i += 4) hasAlpha |= pixels[i] != 0;
    const qv::DibView view{&header, table, pixels};
    for (int y = 0; y < height; ++y) {
        const auto stored = static_cast<size_t>(height - 1 - y);
        for (int x = 0; x < width; ++x) {
            const auto column = static_cast<size_t>(x);
            const COLORREF color = qv::dibPixel(view, x, y);
            if (hasAlpha) {
                SetPixel(x, y, overWhite(color, pixels[line * stored + 4 * column + 3]));
            } else if (!masked || !(mask[maskLine * stored + column / 8] >> (7 - x % 8) & 1)) {
                SetPixel(x, y, color);
            }
        }
    }
    return true;
}

int CQVDIB::GetIconFromBinary(const char* modulePath, int request) {
    QV_TRACE("CQVDIB");
    const auto module = modulePath ? qv::PeResources::load(modulePath) : nullptr;
    if (!module) return 0;
    bool found = false;
    for (const auto group : module->all(qv::PeResources::kGroupIcon)) {
        auto entries = readGroup(group);
        sortByFitness(entries, request > 0 ? request : kUsualSize);
        for (const GroupEntry& entry : entries) {
            if (!found) found = takeIcon(module->find(qv::PeResources::kIcon, entry.id));
        }
        if (found) break;
    }
    optionFlag_ = request; // behind the last Empty, which clears both
    return SetIconRet(found ? 1 : 0);
}

ULONG CQVDIB::StoreIconData(HINSTANCE module, WORD id, unsigned char** data) {
    QV_TRACE("CQVDIB");
    const auto* resources = qv::moduleData(module);
    const auto icon = resources ? resources->find(qv::PeResources::kIcon, id) : std::span<const BYTE>();
    if (icon.empty() || !data) return 0;
    *data = new unsigned char[icon.size()];
    std::copy(icon.begin(), icon.end(), *data);
    return static_cast<ULONG>(icon.size());
}
