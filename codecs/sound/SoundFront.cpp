// The exports of every sound module. docs/sounds.md says what the numbers mean.
#include "codecs/common/BackEnd.h"
#include "codecs/common/Tickets.h"
#include "codecs/sound/Sound.h"
#include "codecs/sound/SoundStream.h"
#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/framework/OpenWithoutWaiting.h"
#include "qvlibs/plugins/plugin_api.h"

#include <algorithm>

#include <fcntl.h>
#include <unistd.h>

using namespace qv::codec;

namespace {

// Ready when the module is loaded and gone when it is unloaded.
constinit qv::Tickets<SoundStream> streams;

std::unique_ptr<SoundSource> open(const char* path) {
    static const auto* const table =
        static_cast<const SoundBackEnd*>(openBackEnd(kSoundFormat.backEnd, kSoundBackEndEntry));
    return table && path ? table->open(path) : nullptr;
}

std::string extensionOf(const std::string& path) {
    const auto dot = path.rfind('.');
    if (dot == std::string::npos || path.find('/', dot) != std::string::npos) return {};
    std::string extension = path.substr(dot + 1);
    for (char& c : extension) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return extension;
}

// Cheap, and without the codec library: every module is asked about every file.
bool mayBeMine(const char* path) {
    const int file = qv::openWithoutWaiting(path, O_RDONLY);
    if (file < 0) return false;
    unsigned char head[16];
    const ssize_t got = ::read(file, head, sizeof head);
    close(file);
    return got > 0 && kSoundFormat.mayBeMine({head, static_cast<size_t>(got)}, extensionOf(path));
}

} // namespace

extern "C" {

QV_PLUGIN_EXPORT uint32_t GetNumOfSupportedExtentions(uint32_t* error) {
    if (error) *error = QV_PLUGIN_OK;
    return static_cast<uint32_t>(kSoundFormat.extensions.size());
}

QV_PLUGIN_EXPORT uint32_t GetSupportedExtention(uint32_t index, char* text) {
    if (!text || index >= kSoundFormat.extensions.size()) return QV_PLUGIN_FAILED;
    strncpy(text, kSoundFormat.extensions[index], QV_EXTENSION_SIZE - 1);
    text[QV_EXTENSION_SIZE - 1] = '\0';
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT uint32_t IsSupported(const char* path, int* supported) {
    if (!path || !supported) return QV_PLUGIN_FAILED;
    *supported = mayBeMine(path) && open(path) ? 1 : 0;
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT QVSTREAM OpenR(const char* path, uint32_t) {
    auto source = open(path);
    if (!source) return 0;
    return streams.add(std::make_shared<SoundStream>(std::move(source), path));
}

QV_PLUGIN_EXPORT uint32_t CloseR(QVSTREAM stream) {
    return streams.remove(stream) ? QV_PLUGIN_OK : QV_PLUGIN_FAILED;
}

QV_PLUGIN_EXPORT uint32_t GetTotalSamples(QVSTREAM stream, int) {
    const auto sound = streams.find(stream);
    return sound ? clamp31(sound->length()) : 0;
}

QV_PLUGIN_EXPORT uint32_t GetMiliseconds(QVSTREAM stream) {
    const auto sound = streams.find(stream);
    return sound ? clamp31(sound->scaled(1000)) : 0;
}

QV_PLUGIN_EXPORT uint32_t GetAudioCompressionRate(QVSTREAM stream) {
    const auto sound = streams.find(stream);
    return sound ? sound->facts().bitRate : 0;
}

QV_PLUGIN_EXPORT uint32_t GetAudioFormat(QVSTREAM stream, void* waveFormat) {
    const auto sound = streams.find(stream);
    if (!sound || !waveFormat) return QV_PLUGIN_FAILED;
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = sound->facts().channels;
    format.nSamplesPerSec = sound->facts().rate;
    format.wBitsPerSample = 16;
    format.nBlockAlign = static_cast<WORD>(2 * format.nChannels);
    format.nAvgBytesPerSec = format.nSamplesPerSec * format.nBlockAlign;
    memcpy(waveFormat, &format, sizeof format);
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT uint32_t GetAudio(QVSTREAM stream, int32_t first, int32_t count, void* buffer,
                                   int32_t* length) {
    const auto sound = streams.find(stream);
    const int32_t room = length ? *length : 0;
    if (length) *length = 0;
    if (!sound || !buffer || first < 0 || count < 0 || room < 0) return QV_PLUGIN_FAILED;
    const int32_t block = 2 * sound->facts().channels;
    const int32_t wanted = std::min({count, room ? room / block : INT32_MAX, INT32_MAX / block});
    const size_t got = sound->read(first, static_cast<size_t>(wanted), static_cast<int16_t*>(buffer));
    if (length) *length = static_cast<int32_t>(got) * block;
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT uint32_t SetTotalSample(QVSTREAM stream, int64_t samples, int32_t) {
    const auto sound = streams.find(stream);
    return sound && sound->setLength(samples) ? QV_PLUGIN_OK : QV_PLUGIN_FAILED;
}

QV_PLUGIN_EXPORT uint32_t GetFileData(QVSTREAM stream, uint32_t code, void* data, uint32_t) {
    const auto sound = streams.find(stream);
    return sound ? sound->tell(code, data) : uint32_t{QV_PLUGIN_FAILED};
}

QV_PLUGIN_EXPORT uint32_t GetFileInfo(const char* path, uint32_t code, void* data) {
    auto source = open(path);
    return source ? SoundStream(std::move(source), path).tell(code, data) : uint32_t{QV_PLUGIN_FAILED};
}

} // extern "C"
