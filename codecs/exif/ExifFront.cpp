// exif.pbp: Exif properties of JPEG, TIFF, PNG and WebP pictures. This half knows the formats by their first
// bytes.
#include "codecs/common/BackEnd.h"
#include "codecs/common/Extensions.h"
#include "codecs/common/FileHead.h"
#include "codecs/exif/ExifBackEnd.h"

#include <string_view>

namespace {

constexpr int32_t kFailed = static_cast<int32_t>(0x80004005u);
constexpr int32_t kInvalidArgument = static_cast<int32_t>(0x80070057u);
constexpr const char* kExtensions[] = {"jpg", "jpeg", "jpe", "jfif", "tif", "tiff", "png", "webp"};

const qv::codec::ExifBackEnd* backEnd() {
    static const auto* const table = static_cast<const qv::codec::ExifBackEnd*>(
        qv::codec::openBackEnd("exif.backend.so", qv::codec::kExifBackEndEntry));
    return table;
}

bool isPicture(const char* path) {
    char bytes[16] = {};
    const ssize_t got = qv::codec::readHead(path, bytes, sizeof bytes);
    // The target of a copy that is to be made.
    if (got < 0) return errno == ENOENT && qv::codec::hasExtension(path, kExtensions);
    const std::string_view head(bytes, static_cast<size_t>(got));
    using namespace std::string_view_literals;
    if (head.starts_with("RIFF"sv)) return head.size() >= 12 && head.substr(8, 4) == "WEBP"sv;
    for (const auto start : {"\xFF\xD8\xFF"sv, "II*\0"sv, "MM\0*"sv, "\x89PNG\r\n\x1A\n"sv}) {
        if (head.starts_with(start)) return true;
    }
    return false;
}

} // namespace

extern "C" {

QV_PLUGIN_EXPORT uint32_t IsSupported(const char* path, int* supported) {
    if (!path || !supported) return QV_PLUGIN_FAILED;
    *supported = isPicture(path) ? 1 : 0;
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT int32_t IsExifFile(const char* path, int* isExif) {
    if (!path || !isExif) return kInvalidArgument;
    const auto* table = backEnd();
    return table ? table->isExif(path, isExif) : kFailed;
}

QV_PLUGIN_EXPORT int32_t GetOrientation(const char* path, int* orientation, int* second, int) {
    if (!path || !orientation) return kInvalidArgument;
    int degrees = 0;
    const auto* table = backEnd();
    const int32_t status = table ? table->getOrientation(path, orientation, &degrees) : kFailed;
    if (second) *second = degrees;
    return status;
}

QV_PLUGIN_EXPORT int32_t SetOrientation(const char* path, const char* target, uint16_t orientation, int) {
    if (!path || !target || orientation < 1 || orientation > 8) return kInvalidArgument;
    const auto* table = backEnd();
    return table ? table->setOrientation(path, target, orientation) : kFailed;
}

QV_PLUGIN_EXPORT int32_t SetDateTimeOriginal(const char* path, const QVDATETIME* time) {
    if (!path || !time) return kInvalidArgument;
    const auto* table = backEnd();
    return table ? table->setDateTime(path, time) : kFailed;
}

QV_PLUGIN_EXPORT int32_t GetDateTimeOriginal(const char* path, QVDATETIME* time) {
    if (!path || !time) return kInvalidArgument;
    const auto* table = backEnd();
    return table ? table->getDateTime(path, time) : kFailed;
}

QV_PLUGIN_EXPORT int32_t GetCamera(const char* path, char* text, int32_t size) {
    if (!path || !text || size < 1) return kInvalidArgument;
    const auto* table = backEnd();
    return table ? table->getCamera(path, text, size) : kFailed;
}

QV_PLUGIN_EXPORT int32_t GetMakerNoteValue(const char* path, QVMAKERNOTESINK* sink) {
    if (!path || !sink || sink->size < sizeof *sink) return kInvalidArgument;
    const auto* table = backEnd();
    return table ? table->getMakerNote(path, sink) : kFailed;
}

QV_PLUGIN_EXPORT int32_t CopyProperties(const char* from, const char* to, uint16_t orientation) {
    if (!from || !to || orientation > 8) return kInvalidArgument;
    const auto* table = backEnd();
    return table ? table->copyProperties(from, to, orientation) : kFailed;
}
}
