#include "qvlibs/media/DvBridge.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/DibTools.h"
#include "qvlibs/image/FrameTools.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/platform/Components.h"
#include "qvlibs/platform/Processor.h"
#include "qvlibs/plugins/dv_component.h"
#include "qvlibs/settings/CodecLoader.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/timecode/DvMetadata.h"

#include <algorithm>
#include <memory>
#include <new>

namespace {

constexpr const char* kShippedModule = "dvcodec.so";
constexpr LONG kEncodePitch = -2160;
static_assert(sizeof(QVDVBLOCK) == 52);

// What callers hold as a handle.
struct OpenCodec {
    QVDVCOMPONENT* component;
    ULONG option;
};

ULONG failure(LONG status) { return static_cast<ULONG>(status) | QV_COMPONENT_FAILED; }
ULONG resultOf(LONG status) { return status < 0 ? failure(status) : QV_OK; }

using Open = std::int32_t (*QVDVCOMPONENTTABLE::*)(QVDVCOMPONENT*, uint32_t);
using Close = std::int32_t (*QVDVCOMPONENTTABLE::*)(QVDVCOMPONENT*);

ULONG openCodec(ULONG option, void** handle, Open open) {
    if (!handle) return failure(QV_E_POINTER);
    *handle = nullptr;
    void* made = nullptr;
    LONG status = qv::createComponent(QV_DV_CLASS, QV_DV_INTERFACE, kShippedModule, &made);
    if (status < 0) return failure(status);
    auto* component = static_cast<QVDVCOMPONENT*>(made);
    status = (component->table->*open)(component, option);
    auto* codec = status < 0 ? nullptr : new (std::nothrow) OpenCodec{component, option};
    if (!codec) {
        component->table->release(component);
        return failure(status < 0 ? status : QV_E_OUTOFMEMORY);
    }
    *handle = codec;
    return QV_OK;
}

ULONG closeCodec(void* handle, Close close) {
    if (!handle) return QV_NO_MODULE;
    auto* codec = static_cast<OpenCodec*>(handle);
    (codec->component->table->*close)(codec->component);
    codec->component->table->release(codec->component);
    delete codec;
    return QV_OK;
}

ULONG openOption(ULONG kind) {
    return (QVTLIsMMX() ? QV_DV_FAST_CPU : 0) | (QVIsPal() ? QV_DV_PAL : QV_DV_NTSC) | kind;
}

// The colour range that the user has chosen, as a bit of the option word.
ULONG colourOption() { return QVGetProfileInt("Common", "ComplusionDR219RGB", 0); }

// By size option less 1, for full sizes of 480 lines; PAL has a fifth more.
constexpr struct {
    LONG width, height;
} kSizes[] = {{720, 480}, {360, 240}, {360, 240}, {180, 120}, {0, 0}, {0, 0}, {0, 0}, {88, 60}};

CSize decoderSize(ULONG option) {
    const ULONG index = (option & QV_DV_SIZE_MASK) - 1;
    if (index >= std::size(kSizes)) return {0, 0};
    const auto& size = kSizes[index];
    return {size.width, QVIsPal() ? size.height / 5 * 6 : size.height};
}

constexpr ULONG kSizeOptions[] = {1, 2, 4, 8};

ULONG smallestSizeFor(LONG width) {
    for (const ULONG option : {8u, 4u, 2u}) {
        if (width <= decoderSize(option).cx) return option;
    }
    return 1;
}

bool decodeInto(CQVDIB& picture, unsigned char* dif, ULONG option) {
    void* decoder = nullptr;
    if (DEDVOpenDVCDecoder(openOption(0), &decoder) != QV_OK) return false;
    const ULONG result = DEDVDVCDecode(decoder, option, -picture.GetWidth(), dif, picture.GetBitsAddress());
    DEDVCloseDVCDecoder(decoder);
    return result == QV_OK;
}

} // namespace

ULONG DEDVLoadCodec(const char* /*name*/) {
    QVTL_TRACE();
    return QV_OK;
}

ULONG DEDVUnloadCodec() {
    QVTL_TRACE();
    return QV_OK;
}

ULONG DEDVOpenDVCDecoder(ULONG option, void** handle) {
    QVTL_TRACE();
    return openCodec(option, handle, &QVDVCOMPONENTTABLE::openDecoder);
}

ULONG DEDVCloseDVCDecoder(void* handle) {
    QVTL_TRACE();
    return closeCodec(handle, &QVDVCOMPONENTTABLE::closeDecoder);
}

ULONG DEDVDVCDecode(void* handle, ULONG option, LONG width, unsigned char* dif, unsigned char* bits) {
    QVTL_TRACE();
    if (!handle) return QV_NO_MODULE;
    const auto* codec = static_cast<OpenCodec*>(handle);
    const QVDVBLOCK block{.pitch = static_cast<LONG>(std::int64_t{width} * 3), .reserved = {}};
    return resultOf(
        codec->component->table->decode(codec->component, dif, bits, codec->option | option, &block));
}

ULONG DEDVOpenDVCEncoder(ULONG option, void** handle) {
    QVTL_TRACE();
    return openCodec(option, handle, &QVDVCOMPONENTTABLE::openEncoder);
}

ULONG DEDVCloseDVCEncoder(void* handle) {
    QVTL_TRACE();
    return closeCodec(handle, &QVDVCOMPONENTTABLE::closeEncoder);
}

ULONG DEDVDVCEncode(void* handle, ULONG option, unsigned char* dif, unsigned char* bits) {
    QVTL_TRACE();
    if (!handle) return QV_NO_MODULE;
    const auto* codec = static_cast<OpenCodec*>(handle);
    const QVDVBLOCK block{.pitch = kEncodePitch, .reserved = {}};
    return resultOf(
        codec->component->table->encode(codec->component, bits, dif, codec->option | option, &block));
}

ULONG DEDVCodecProperty(char* /*a*/, char* /*b*/, char* /*c*/, char* /*d*/) {
    QVTL_TRACE();
    return QV_NO_EXPORT;
}

ULONG DEDVGetDecoderSize(ULONG option, ULONG* cx, ULONG* cy) {
    QVTL_TRACE();
    const CSize size = decoderSize(option);
    if (cx) *cx = static_cast<ULONG>(size.cx);
    if (cy) *cy = static_cast<ULONG>(size.cy);
    const ULONG index = (option & QV_DV_SIZE_MASK) - 1;
    return index < std::size(kSizes) ? QV_OK : QV_FAILED;
}

CSize DEDVGetDecoderSizeEx(ULONG option) {
    QVTL_TRACE();
    return decoderSize(option);
}

ULONG DEDVMakeDecoderOptionFromDIB(CQVDIB* dib) {
    QVTL_TRACE();
    if (!dib) return 0;
    ULONG format;
    switch (dib->GetBitCount()) {
    case 15: format = QV_DV_RGB555; break;
    case 16: format = QV_DV_RGB565; break;
    case 24: format = QV_DV_RGB24; break;
    default: return 0;
    }
    for (const ULONG size : kSizeOptions) {
        if (decoderSize(size).cx == dib->GetWidth()) return format | size;
    }
    return format;
}

CQVDIB* DEDVDIFtoDIB(unsigned char* dif, const CSize& wanted, int bits) {
    QVTL_TRACE();
    if (!dif) return nullptr;
    auto picture = std::make_unique<CQVDIB>(decoderSize(smallestSizeFor(wanted.cx)), bits);
    // The setting is OR-ed in before the test, on purpose: with it even a depth that cannot be decoded goes to
    // the component, which refuses it (DvBridge.DepthsThatCannotBeDecoded).
    const ULONG option = DEDVMakeDecoderOptionFromDIB(picture.get()) | colourOption();
    const auto lineBytes = static_cast<size_t>(std::max(picture->GetLineBytes(), 0));
    const auto memory = lineBytes * static_cast<size_t>(std::max(picture->GetHeight(), 0));
    auto* pixels = memory ? new (std::nothrow) unsigned char[memory]() : nullptr;
    if (!pixels || option == 0) {
        delete[] pixels;
        return nullptr;
    }
    picture->SetExternalDIB(pixels, nullptr, 0); // the picture frees them
    if (!decodeInto(*picture, dif, option)) return nullptr;
    if (picture->GetDimensions() == wanted) return picture.release();
    if (picture->ResizeFilter(wanted, nullptr, RESIZE_OPTION_FIT, DEDVGetAspect(dif), DIB_TYPE_SQUARE,
                              RESIZE_METHOD_DEFAULT) != QV_OK)
        return nullptr;
    return picture.release();
}

ULONG DEDVDIBtoDIF(CQVDIB* dib, unsigned char* dif) {
    QVTL_TRACE();
    const CSize frame = decoderSize(1);
    if (!dib || !dif || !dib->GetBitsAddress() || dib->GetBitCount() != 24 || dib->GetWidth() != frame.cx ||
        dib->GetHeight() < frame.cy)
        return QV_FAILED;
    void* encoder = nullptr;
    ULONG result = DEDVOpenDVCEncoder(openOption(QV_DV_ENCODER), &encoder);
    if (result != QV_OK) return result;
    result = DEDVDVCEncode(encoder, colourOption(), dif, dib->GetBitsAddress());
    DEDVCloseDVCEncoder(encoder);
    return result;
}

ULONG DEDVAddSubcodeInformation(unsigned char* /*dif*/, unsigned char* /*a*/, unsigned char* /*b*/) {
    QVTL_TRACE();
    return QV_OK;
}

ULONG DEDVInterToNoninter(CQVDIB* image, WORD mode) {
    QVTL_TRACE();
    return QVTLInterToNoninter(image, mode);
}

CQVDIB* DEDVResizeDIB(CQVDIB* source, CSize size, int option, DIB_TYPE srcType, DIB_TYPE dstType,
                      RESIZE_METHOD method) {
    QVTL_TRACE();
    return QVTLResizeDIBEx(source, size, option, srcType, dstType, method);
}

QVCODECLOADER qv::codecLoaderEntry() { return &DEDVLoadCodec; }
