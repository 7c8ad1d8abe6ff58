// QVTLAVIGetNonCompressedStreamEx2: what is wanted is said to the plug-in, which says what it will deliver;
// the difference is made up here.
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/Canvas.h"
#include "qvlibs/media/AskPlugin.h"
#include "qvlibs/media/FieldRows.h"
#include "qvlibs/media/Qvavitools.h"

#include <vector>

namespace {

constexpr ULONG kNoValue = 0xFFFFFFFF;

struct Wish {
    LONG width;
    LONG height;
    DIB_TYPE dibType;
    MOVIE_DECODE_TYPE decodeType;
    RESIZE_METHOD method;
    ULONG flags;
    ULONG fieldMode;
};

ULONG fieldModeOf(ULONG flags) {
    if (flags & QV_FRAME_FIELD_MODE_1) return 1;
    return flags & QV_FRAME_FIELD_MODE_2 ? 2 : 0;
}

QVFRAMEREQUEST requestFor(const Wish& wish) {
    QVFRAMEREQUEST request{};
    request.size = sizeof request;
    request.version = 1;
    request.width = wish.width;
    request.height = wish.height;
    request.bitCount = 24;
    request.displayCx = wish.height; // on purpose: what plug-ins find there before they put their own size
    request.decodeType = static_cast<ULONG>(wish.decodeType);
    request.dibType = static_cast<ULONG>(wish.dibType);
    request.fieldMode = wish.fieldMode;
    request.flags = wish.flags;
    return request;
}

// Stores the stream's word with the caller; whether it is another one than the caller knew.
bool reportValue(QVFRAMEREQUEST& request, ULONG flags, ULONG* streamValue) {
    if (!streamValue) return false;
    bool changed = false;
    if (flags & QV_FRAME_REPORT_CHANGE) {
        if (request.streamValue == 0) request.streamValue = kNoValue;
        changed = *streamValue != request.streamValue && request.streamValue != kNoValue;
    }
    *streamValue = request.streamValue;
    return changed;
}

bool layoutsMatch(const QVFRAMEREQUEST& delivered, const Wish& wish) {
    const auto type = static_cast<DIB_TYPE>(delivered.dibType);
    const bool typesMatch = (type == DIB_TYPE_LETTERBOX && wish.dibType == DIB_TYPE_4_3) ||
                            type == wish.dibType || wish.dibType == DIB_TYPE_AUTO;
    return typesMatch && delivered.fieldMode == wish.fieldMode;
}

// The plug-in's picture as a copy that may be rearranged: the plug-in may want its own again.
std::vector<unsigned char> copyOf(const void* picture, const QVFRAMEREQUEST& delivered) {
    const auto* bits = static_cast<const unsigned char*>(picture);
    return {bits, bits + qv::fieldRowBytes(delivered.width) * static_cast<size_t>(delivered.height)};
}

ULONG fitToWish(const void* picture, QVFRAMEREQUEST& delivered, const Wish& wish, unsigned char* buffer) {
    const bool keepFields = wish.flags & QV_FRAME_INTERLACED;
    const bool hasFields = delivered.flags & QV_FRAME_INTERLACED;
    const bool pack = keepFields ? static_cast<std::int64_t>(wish.height) * 2 <= delivered.height : hasFields;
    auto* source = static_cast<unsigned char*>(const_cast<void*>(picture)); // read only, but when packed
    std::vector<unsigned char> copy;
    auto* resize = &QVTLReCanvasSizeMovie;
    if (pack) {
        copy = copyOf(picture, delivered);
        source = copy.data();
        // A picture of half the height that keeps its fields is made of the second one alone.
        const ULONG field = keepFields ? QV_FRAME_SECOND_FIELD : wish.flags;
        qv::packFieldRows(copy.data(), delivered.width, delivered.height, field);
        delivered.height /= 2;
    } else if (keepFields && hasFields) {
        resize = &QVTLConvertInterace;
    }
    const SIZE from{delivered.width, delivered.height};
    const SIZE display{delivered.displayCx, delivered.displayCy};
    return resize(buffer, {wish.width, wish.height}, wish.dibType, source, from,
                  static_cast<DIB_TYPE>(delivered.dibType), display, static_cast<DISP_TYPE>(wish.fieldMode),
                  static_cast<DISP_TYPE>(delivered.fieldMode), wish.method, wish.flags);
}

} // namespace

ULONG QVTLAVIGetNonCompressedStreamEx2(void* handle, LONG frame, unsigned char* buffer, LONG width,
                                       LONG height, DIB_TYPE dibType, ULONG /*reserved*/,
                                       MOVIE_DECODE_TYPE decodeType, RESIZE_METHOD method, ULONG flags,
                                       ULONG* streamValue, ULONG* streamValue2) {
    QVTL_TRACE();
    auto* const stream = qv::streamOf(handle);
    if (!stream) return QV_NO_MODULE;
    const Wish wish{width, height, dibType, decodeType, method, flags, fieldModeOf(flags)};
    CPluginInfo& plugin = *stream->plugin;
    QVFRAMEREQUEST request = requestFor(wish);
    const ULONG result = plugin.GetVideoParam(stream->stream, &request, frame);
    if (wish.fieldMode == 0) request.fieldMode = 0;
    const bool changed = reportValue(request, flags, streamValue);
    if (streamValue2) *streamValue2 = request.streamValue2;

    const bool match = layoutsMatch(request, wish);
    if (result == QV_PLUGIN_COMPRESSED) {
        if (match && !changed) {
            const void* data = qvGetCompressedData(&request);
            if (!data) return QV_FAILED;
            std::memcpy(buffer, data, request.compressedSize);
            return QV_COMPRESSED;
        }
    } else if (result != QV_OK) {
        return result;
    }

    const bool sameSize = request.width == width && request.height == height &&
                          request.decodeType == static_cast<ULONG>(decodeType);
    if (sameSize && match) {
        if (!plugin.GetDIBfromLastParam(stream->stream, &request, frame, buffer)) return QV_FAILED;
        if (request.flags & QV_FRAME_INTERLACED) qv::doubleFieldRows(buffer, width, height, flags);
        return QV_OK;
    }
    const void* picture = plugin.GetDIBfromLastParam(stream->stream, &request, frame, nullptr);
    if (!picture || request.width <= 0 || request.height <= 0) return QV_FAILED;
    if (wish.dibType == DIB_TYPE_AUTO) request.dibType = DIB_TYPE_AUTO;
    return fitToWish(picture, request, wish, buffer);
}
