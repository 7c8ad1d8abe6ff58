// The exports of every sound module. docs/sounds.md says what the numbers mean.
#include "codecs/common/BackEnd.h"
#include "codecs/common/FileHead.h"
#include "codecs/common/Tickets.h"
#include "codecs/sound/Sound.h"
#include "codecs/sound/SoundStream.h"
#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/plugins/plugin_api.h"

using namespace qv::codec;

namespace {

// Ready when the module is loaded and gone when it is unloaded.
constinit qv::Tickets<SoundStream> streams;

std::unique_ptr<SoundSource> open(const char* path) {
    static const auto* const table =
        static_cast<const SoundBackEnd*>(openBackEnd(kSoundFormat.backEnd, kSoundBackEndEntry));
    return table && path ? table->open(path) : nullptr;
}

// Cheap, and without the codec library.
bool mayBeMine(const char* path) {
    char head[16];
    const ssize_t got = readHead(path, head, sizeof head);
    return got > 0 && kSoundFormat.mayBeMine({head, static_cast<size_t>(got)}, path);
}

uint32_t statusOf(bool done) { return done ? QV_PLUGIN_OK : QV_PLUGIN_FAILED; }

} // namespace

extern "C" {

QV_PLUGIN_EXPORT uint32_t IsSupported(const char* path, int* supported) {
    if (!path || !supported) return QV_PLUGIN_FAILED;
    *supported = qv::guarded(false, [=] { return mayBeMine(path) && open(path); }) ? 1 : 0;
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT QVSTREAM OpenR(const char* path, uint32_t) {
    return qv::guarded(0u, [=] {
        auto source = open(path);
        return source ? streams.add(std::make_shared<SoundStream>(std::move(source), path)) : 0u;
    });
}

QV_PLUGIN_EXPORT uint32_t CloseR(QVSTREAM stream) { return statusOf(streams.remove(stream) != nullptr); }

QV_PLUGIN_EXPORT uint32_t GetTotalSamples(QVSTREAM stream, int) {
    return streams.with(stream, 0u, [](SoundStream& sound) { return clamp31(sound.length()); });
}

QV_PLUGIN_EXPORT uint32_t GetMiliseconds(QVSTREAM stream) {
    return streams.with(stream, 0u, [](SoundStream& sound) { return clamp31(sound.scaled(1000)); });
}

QV_PLUGIN_EXPORT uint32_t GetAudioCompressionRate(QVSTREAM stream) {
    return streams.with(stream, 0u, [](SoundStream& sound) { return sound.facts().bitRate; });
}

QV_PLUGIN_EXPORT uint32_t GetAudioFormat(QVSTREAM stream, void* waveFormat) {
    return statusOf(streams.with(stream, false, [=](SoundStream& sound) {
        if (!waveFormat) return false;
        WAVEFORMATEX format{};
        format.wFormatTag = WAVE_FORMAT_PCM;
        format.nChannels = sound.facts().channels;
        format.nSamplesPerSec = sound.facts().rate;
        format.wBitsPerSample = 16;
        format.nBlockAlign = static_cast<WORD>(2 * format.nChannels);
        format.nAvgBytesPerSec = format.nSamplesPerSec * format.nBlockAlign;
        memcpy(waveFormat, &format, sizeof format);
        return true;
    }));
}

QV_PLUGIN_EXPORT uint32_t GetAudio(QVSTREAM stream, int32_t first, int32_t count, void* buffer,
                                   int32_t* length) {
    const int32_t room = length ? *length : 0;
    if (length) *length = 0;
    if (!buffer || first < 0 || count < 0 || room < 0) return QV_PLUGIN_FAILED;
    return statusOf(streams.with(stream, false, [=](SoundStream& sound) {
        const int32_t block = 2 * sound.facts().channels;
        const int32_t wanted = std::min({count, room ? room / block : INT32_MAX, INT32_MAX / block});
        const size_t got = sound.read(first, static_cast<size_t>(wanted), static_cast<int16_t*>(buffer));
        if (length) *length = static_cast<int32_t>(got) * block;
        return true;
    }));
}

QV_PLUGIN_EXPORT uint32_t SetTotalSample(QVSTREAM stream, int64_t samples, int32_t) {
    return statusOf(
        streams.with(stream, false, [=](SoundStream& sound) { return sound.setLength(samples); }));
}

QV_PLUGIN_EXPORT uint32_t GetFileData(QVSTREAM stream, uint32_t code, void* data, uint32_t) {
    return statusOf(streams.with(stream, false, [=](SoundStream& sound) { return sound.tell(code, data); }));
}

QV_PLUGIN_EXPORT uint32_t GetFileInfo(const char* path, uint32_t code, void* data) {
    return statusOf(qv::guarded(false, [=] {
        auto source = open(path);
        return source && SoundStream(std::move(source), path).tell(code, data);
    }));
}

} // extern "C"
