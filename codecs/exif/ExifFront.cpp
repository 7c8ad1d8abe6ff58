// exif.pbp: Exif properties of JPEG, TIFF, PNG and WebP pictures. This half knows the formats by their first
// bytes.
#include "codecs/common/BackEnd.h"
#include "codecs/common/Extensions.h"
#include "codecs/common/FileHead.h"
#include "codecs/exif/ExifBackEnd.h"

#include <string_view>

using qv::codec::ExifBackEnd;
using qv::codec::kFailed;
using qv::codec::kInvalidArgument;

namespace {

constexpr const char* kExtensions[] = {"jpg", "jpeg", "jpe", "jfif", "tif", "tiff", "png", "webp"};

// Calls a function of the back end.
template <class... Parameters, class... Arguments>
int32_t ask(int32_t (*ExifBackEnd::*function)(Parameters...), Arguments... arguments) {
    static const auto* const backEnd = static_cast<const ExifBackEnd*>(
        qv::codec::openBackEnd("exif.backend.so", qv::codec::kExifBackEndEntry));
    return backEnd ? (backEnd->*function)(arguments...) : kFailed;
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
    return path && isExif ? ask(&ExifBackEnd::isExif, path, isExif) : kInvalidArgument;
}

QV_PLUGIN_EXPORT int32_t GetOrientation(const char* path, int* orientation, int* second, int) {
    int degrees = 0;
    if (!path || !orientation) return kInvalidArgument;
    return ask(&ExifBackEnd::getOrientation, path, orientation, second ? second : &degrees);
}

QV_PLUGIN_EXPORT int32_t SetOrientation(const char* path, const char* target, uint16_t orientation, int) {
    if (!path || !target || orientation < 1 || orientation > 8) return kInvalidArgument;
    return ask(&ExifBackEnd::setOrientation, path, target, orientation);
}

QV_PLUGIN_EXPORT int32_t SetDateTimeOriginal(const char* path, const QVDATETIME* time) {
    return path && time ? ask(&ExifBackEnd::setDateTime, path, time) : kInvalidArgument;
}

QV_PLUGIN_EXPORT int32_t GetDateTimeOriginal(const char* path, QVDATETIME* time) {
    return path && time ? ask(&ExifBackEnd::getDateTime, path, time) : kInvalidArgument;
}

QV_PLUGIN_EXPORT int32_t GetCamera(const char* path, char* text, int32_t size) {
    return path && text && size >= 1 ? ask(&ExifBackEnd::getCamera, path, text, size) : kInvalidArgument;
}

QV_PLUGIN_EXPORT int32_t GetMakerNoteValue(const char* path, QVMAKERNOTESINK* sink) {
    if (!path || !sink || sink->size < sizeof *sink) return kInvalidArgument;
    return ask(&ExifBackEnd::getMakerNote, path, sink);
}

QV_PLUGIN_EXPORT int32_t CopyProperties(const char* from, const char* to, uint16_t orientation) {
    if (!from || !to || orientation > 8) return kInvalidArgument;
    return ask(&ExifBackEnd::copyProperties, from, to, orientation);
}
}
