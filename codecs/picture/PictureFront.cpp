// The exports of every picture module. A file is the module's when its first bytes say so; a name whose file
// does not exist yet is the module's when its extension is, because it is then about to be written.
#include "codecs/common/BackEnd.h"
#include "codecs/common/Extensions.h"
#include "codecs/common/FileHead.h"
#include "codecs/common/Tickets.h"
#include "codecs/picture/PictureBackEnd.h"
#include "codecs/picture/PictureFormat.h"
#include "qvlibs/plugins/plugin_api.h"

#include <cstring>

using qv::codec::kPictureFormat;

namespace {

// Answers work(back end).
template <class Result, class Work>
Result withBackEnd(Result failure, Work work) {
    static const auto* const backEnd = static_cast<const qv::codec::PictureBackEnd*>(
        qv::codec::openBackEnd(kPictureFormat.backEnd, qv::codec::kPictureBackEndEntry));
    return backEnd ? qv::guarded(failure, [&] { return work(*backEnd); }) : failure;
}

void* decode(const char* path, qv::codec::WantedSize wanted) {
    if (!path) return nullptr;
    return withBackEnd(static_cast<void*>(nullptr),
                       [=](const auto& backEnd) { return backEnd.decode(path, wanted); });
}

bool isMine(const char* path) {
    unsigned char head[64];
    const ssize_t got = qv::codec::readHead(path, head, kPictureFormat.headBytes);
    if (got > 0) return kPictureFormat.isMine(head, static_cast<size_t>(got));
    // Not there yet, or made empty by a writer that is about to fill it.
    return (got == 0 || errno == ENOENT) && qv::codec::hasExtension(path, kPictureFormat.extensions);
}

} // namespace

std::span<const char* const> qv::codec::extensions() { return kPictureFormat.extensions; }

extern "C" {

QV_PLUGIN_EXPORT uint32_t IsSupported(const char* path, int* supported) {
    if (!path || !supported) return QV_PLUGIN_FAILED;
    *supported = isMine(path) ? 1 : 0;
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT void* Decode(const char* path) { return decode(path, {}); }

QV_PLUGIN_EXPORT void* DecodeAtLeast(const char* path, int32_t width, int32_t height) {
    return decode(path, {width, height});
}

QV_PLUGIN_EXPORT uint32_t GetStillImageInfo(const char* path, QVPICTUREINFO* info) {
    if (!path || !info) return QV_PLUGIN_FAILED;
    memset(info, 0, sizeof *info);
    return withBackEnd(uint32_t{QV_PLUGIN_FAILED},
                       [=](const auto& backEnd) { return backEnd.info(path, info); });
}

QV_PLUGIN_EXPORT uint32_t Encode(void* picture, const char* path, int32_t option1, int32_t option2) {
    if (!path || !picture) return QV_PLUGIN_FAILED;
    return withBackEnd(uint32_t{QV_PLUGIN_FAILED},
                       [=](const auto& backEnd) { return backEnd.encode(picture, path, option1, option2); });
}
}
