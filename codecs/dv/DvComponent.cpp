#include "codecs/dv/DvComponent.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include "qvlibs/framework/Status.h"

namespace qv::dv {
namespace {

constexpr std::size_t kFrameBytes[2] = {120000, 144000}; // NTSC, PAL

std::optional<bool> readSystem(std::uint32_t option) {
    switch (option & (QV_DV_NTSC | QV_DV_PAL)) {
    case QV_DV_NTSC: return false;
    case QV_DV_PAL: return true;
    default: return std::nullopt;
    }
}

RgbRange rangeOf(std::uint32_t option) {
    return option & QV_DV_STUDIO_RGB ? RgbRange::Studio : RgbRange::Full;
}

struct Component {
    QVDVCOMPONENT interface;
    std::atomic<std::uint32_t> references;
    std::unique_ptr<Codec> codec;
    bool decoderOpen;
    bool encoderOpen;
};

// The interface is the first member, so that the pointer callers hold is the object's.
static_assert(offsetof(Component, interface) == 0);
Component& self(QVDVCOMPONENT* interface) { return *reinterpret_cast<Component*>(interface); }

// No exception may cross the table; the only ones left are those of memory.
template <class Work>
std::int32_t guarded(Work&& work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return QV_E_OUTOFMEMORY;
    } catch (...) {
        return QV_E_FAIL;
    }
}

std::uint32_t addRef(QVDVCOMPONENT* component) { return ++self(component).references; }

std::uint32_t release(QVDVCOMPONENT* component) {
    const std::uint32_t left = --self(component).references;
    if (left == 0) delete &self(component);
    return left;
}

std::int32_t query(QVDVCOMPONENT* component, const char* interfaceId, void** out) {
    if (!out) return QV_E_POINTER;
    *out = nullptr;
    if (!interfaceId || std::strcmp(interfaceId, QV_DV_INTERFACE) != 0) return QV_E_NOINTERFACE;
    addRef(component);
    *out = component;
    return 0;
}

std::int32_t openDecoder(QVDVCOMPONENT* component, std::uint32_t option) {
    if (!readSystem(option) || option & QV_DV_ENCODER) return QV_E_INVALIDARG;
    self(component).decoderOpen = true;
    return 0;
}

std::int32_t decode(QVDVCOMPONENT* component, const void* dif, void* bits, std::uint32_t option,
                    const QVDVBLOCK* block) {
    if (!self(component).decoderOpen) return QV_E_FAIL;
    if (!dif || !bits || !block) return QV_E_POINTER;
    const auto request = readDecodeOption(option);
    if (!request) return QV_E_INVALIDARG;
    // The word counts three bytes a pixel whatever the format, as every caller forms it; rows of 16-bit
    // pixels follow each other without that third byte.
    const std::int64_t pitch = block->pitch;
    const bool is24 = request->format == PixelFormat::Bgr24;
    const PictureTarget target{.bits = bits,
                               .pitch = static_cast<std::ptrdiff_t>(is24 ? pitch : pitch / 3 * 2),
                               .format = request->format,
                               .range = request->range};
    const PictureSize size = pictureSize(request->pal, request->reduction);
    if (std::abs(pitch) < std::int64_t{3} * size.width) return QV_E_INVALIDARG;
    const std::span frame(static_cast<const std::uint8_t*>(dif), kFrameBytes[request->pal]);
    // The buffers are as large as the system in the option says, so a frame of the other one is refused.
    const auto layout = identifyFrame(frame);
    if (!layout || layout->pal() != request->pal) return QV_E_FAIL;
    return guarded([&] { return self(component).codec->decode(frame, *request, target) ? 0 : QV_E_FAIL; });
}

std::int32_t closeDecoder(QVDVCOMPONENT* component) {
    if (!self(component).decoderOpen) return QV_E_FAIL;
    self(component).decoderOpen = false;
    return 0;
}

std::int32_t openEncoder(QVDVCOMPONENT* component, std::uint32_t option) {
    if (!readSystem(option) || !(option & QV_DV_ENCODER)) return QV_E_INVALIDARG;
    self(component).encoderOpen = true;
    return 0;
}

std::int32_t encode(QVDVCOMPONENT* component, const void* bits, void* dif, std::uint32_t option,
                    const QVDVBLOCK* block) {
    if (!self(component).encoderOpen) return QV_E_FAIL;
    if (!dif || !bits || !block) return QV_E_POINTER;
    const auto pal = readSystem(option);
    if (!pal || std::abs(std::int64_t{block->pitch}) < 3 * kPictureWidth) return QV_E_INVALIDARG;
    const PictureTarget source{.bits = const_cast<void*>(bits), // only read
                               .pitch = block->pitch,
                               .format = PixelFormat::Bgr24,
                               .range = rangeOf(option)};
    const std::span frame(static_cast<std::uint8_t*>(dif), kFrameBytes[*pal]);
    return guarded([&] { return self(component).codec->encode(source, *pal, frame) ? 0 : QV_E_FAIL; });
}

std::int32_t closeEncoder(QVDVCOMPONENT* component) {
    if (!self(component).encoderOpen) return QV_E_FAIL;
    self(component).encoderOpen = false;
    return 0;
}

constexpr QVDVCOMPONENTTABLE kTable = {
    .query = query,
    .addRef = addRef,
    .release = release,
    .reserved = {},
    .openDecoder = openDecoder,
    .decode = decode,
    .closeDecoder = closeDecoder,
    .openEncoder = openEncoder,
    .encode = encode,
    .closeEncoder = closeEncoder,
};

} // namespace

std::optional<DecodeOption> readDecodeOption(std::uint32_t option) {
    constexpr struct {
        std::uint32_t word;
        Reduction reduction;
    } kSizes[] = {{1, Reduction::Full},
                  {2, Reduction::Half},
                  {3, Reduction::Half},
                  {4, Reduction::Quarter},
                  {8, Reduction::Eighth}};
    constexpr struct {
        std::uint32_t word;
        PixelFormat format;
    } kFormats[] = {{QV_DV_RGB24, PixelFormat::Bgr24},
                    {QV_DV_RGB565, PixelFormat::Rgb565},
                    {QV_DV_RGB555, PixelFormat::Rgb555}};
    constexpr std::uint32_t kFormatMask = QV_DV_RGB24 | QV_DV_RGB565 | QV_DV_RGB555;
    const auto pal = readSystem(option);
    if (!pal) return std::nullopt;
    for (const auto& size : kSizes) {
        if (size.word != (option & QV_DV_SIZE_MASK)) continue;
        for (const auto& format : kFormats) {
            if (format.word == (option & kFormatMask)) {
                return DecodeOption{*pal, size.reduction, format.format, rangeOf(option)};
            }
        }
    }
    return std::nullopt;
}

} // namespace qv::dv

extern "C" __attribute__((visibility("default"))) std::int32_t
QVCreateComponent(const char* classId, const char* interfaceId, void** out) {
    using namespace qv::dv;
    if (!out) return QV_E_POINTER;
    *out = nullptr;
    if (!classId || std::strcmp(classId, QV_DV_CLASS) != 0) return QV_E_CLASSNOTREG;
    if (!interfaceId || std::strcmp(interfaceId, QV_DV_INTERFACE) != 0) return QV_E_NOINTERFACE;
    return guarded([&] {
        *out = new Component{{&kTable}, 1, makeCodec(), false, false};
        return 0;
    });
}
