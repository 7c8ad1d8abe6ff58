// The geometry of the resizers: any sizes, types, options and rectangles, on buffers of exactly their size.
#include "qvlibs/image/Canvas.h"
#include "qvlibs/image/PixelLimit.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/util/Bytes.h"

#include <vector>

namespace {

struct Buffer {
    SIZE size;
    std::vector<unsigned char> bits;
    explicit Buffer(SIZE wanted)
        : size(wanted),
          bits(wanted.cx > 0 && wanted.cy > 0
                   ? static_cast<size_t>(CQVDIB::GetLineBytes(wanted.cx, 24)) * static_cast<size_t>(wanted.cy)
                   : 0) {}
};

// Mostly small, at times anything.
LONG length(qv::ByteReader& in) {
    const unsigned kind = in.u8();
    return kind < 250 ? static_cast<LONG>(kind) : kind < 253 ? in.u16() : in.i32();
}
SIZE size(qv::ByteReader& in) {
    const LONG width = length(in), height = length(in);
    return {width, height};
}
RECT rect(qv::ByteReader& in, SIZE inside) {
    if (in.u8() % 4 == 0) return {0, 0, inside.cx, inside.cy};
    return {length(in), length(in), length(in), length(in)};
}
bool isLarge(SIZE size) { return size.cx > 0 && size.cy > 0 && std::int64_t{size.cx} * size.cy > 65536; }

void members(qv::ByteReader& in) {
    constexpr int kBits[] = {8, 16, 24, 32, 24, 4};
    const int bits = kBits[in.u8() % std::size(kBits)];
    const SIZE from = size(in), to = size(in);
    if (isLarge(from) || from.cx < 0 || from.cy < 0 || from.cx > 65536) return;
    const std::int64_t bytes = std::int64_t{CQVDIB::GetLineBytes(from.cx, bits)} * from.cy;
    CQVDIB source, result, given;
    if (bytes > 1 << 20 || source.Init(from, bits, new unsigned char[static_cast<size_t>(bytes)]()) != 0)
        return;
    const int option = static_cast<signed char>(in.u8());
    const auto fromType = static_cast<DIB_TYPE>(in.u8() % 9), toType = static_cast<DIB_TYPE>(in.u8() % 9);
    source.ResizeFilter(to, &result, option, fromType, toType, static_cast<RESIZE_METHOD>(in.u8()));
    source.ResizeFilterLeadTool(to, &result, option, 0);
    const std::int64_t room = std::int64_t{CQVDIB::GetLineBytes(to.cx, bits)} * to.cy;
    if (to.cx < 0 || to.cy < 0 || to.cx > 65536 || room > 1 << 20) return;
    if (given.Init(to, bits, new unsigned char[static_cast<size_t>(room)]()) == 0)
        source.ResizeFilter2(&given, option);
    source.ResizeFilter(to, nullptr, option, fromType, toType, RESIZE_METHOD_DEFAULT);
}

void raw(qv::ByteReader& in) {
    const SIZE fromSize = size(in), toSize = size(in);
    if (isLarge(fromSize) || isLarge(toSize)) return;
    Buffer from(fromSize), to(toSize);
    const auto method = static_cast<RESIZE_METHOD>(in.u8() % 10);
    const RECT fromRect = rect(in, fromSize), toRect = rect(in, toSize);
    unsigned char* const target = in.u8() % 8 ? to.bits.data() : nullptr;
    CQVDIB::DirectResize(method, from.bits.data(), fromSize, fromRect, target, toSize, toRect, in.u8() % 2);
    const auto type = [&] { return static_cast<DIB_TYPE>(in.u8() % 5); };
    const auto display = [&] { return static_cast<DISP_TYPE>(in.u8() % 5); };
    const DIB_TYPE fromType = type(), toType = type();
    const DISP_TYPE fromDisplay = display(), toDisplay = display();
    const SIZE crop = size(in);
    const ULONG flags = in.u8();
    QVTLReCanvasSizeMovie(to.bits.data(), toSize, toType, from.bits.data(), fromSize, fromType, crop,
                          toDisplay, fromDisplay, method, flags);
    QVTLConvertInterace(to.bits.data(), toSize, toType, from.bits.data(), fromSize, fromType, crop, toDisplay,
                        fromDisplay, method, flags);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    qv::setPixelLimit(1 << 20);
    qv::ByteReader in(data, size);
    if (in.u8() % 2) {
        raw(in);
    } else {
        members(in);
    }
    return 0;
}
