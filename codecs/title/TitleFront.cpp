// The exports of title.tcp. Reading the text needs no library; the renderer is mapped for the first picture.
#include "codecs/common/BackEnd.h"
#include "codecs/common/Tickets.h"
#include "codecs/title/TitleRenderer.h"
#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/plugins/plugin_api.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include <strings.h>
#include <sys/stat.h>

using namespace qv::codec;

namespace {

constexpr const char* kExtensions[] = {"tte", "ass", "ssa", "srt"};

struct OpenTitle {
    TitleScript script;
    TitlePicture picture;
    std::unique_ptr<TitleRenderer> renderer{};

    TitleRate rate() const { return script.rate.rate ? script.rate : rateOfHeight(picture.height); }
    std::int64_t frames() const {
        const TitleRate r = rate();
        const std::int64_t own = (script.milliseconds * r.rate + 1000LL * r.scale - 1) / (1000LL * r.scale);
        return std::min<std::int64_t>(script.frames ? script.frames : own, INT32_MAX);
    }
};

// Ready when the module is loaded and gone when it is unloaded.
constinit qv::Tickets<OpenTitle> titles;

bool hasExtension(std::string_view path) {
    const auto dot = path.rfind('.');
    return dot != std::string_view::npos &&
           std::any_of(std::begin(kExtensions), std::end(kExtensions),
                       [&](auto known) { return strcasecmp(path.data() + dot + 1, known) == 0; });
}

std::optional<TitleScript> read(const char* path) {
    struct stat status;
    if (!path || !hasExtension(path) || stat(path, &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_size > static_cast<off_t>(kMaxTitleBytes))
        return std::nullopt;
    std::ifstream in(path, std::ios::binary);
    return readTitle(std::string(std::istreambuf_iterator<char>(in), {}));
}

const TitleBackEnd* backEnd() {
    static const auto* const table =
        static_cast<const TitleBackEnd*>(openBackEnd("title.backend.so", kTitleBackEndEntry));
    return table;
}

} // namespace

extern "C" {

QV_PLUGIN_EXPORT uint32_t GetNumOfSupportedExtentions(uint32_t* error) {
    if (error) *error = QV_PLUGIN_OK;
    return std::size(kExtensions);
}

QV_PLUGIN_EXPORT uint32_t GetSupportedExtention(uint32_t index, char* text) {
    if (!text || index >= std::size(kExtensions)) return QV_PLUGIN_FAILED;
    strcpy(text, kExtensions[index]);
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT uint32_t IsSupported(const char* path, int* supported) {
    if (!supported) return QV_PLUGIN_FAILED;
    *supported = read(path) ? 1 : 0;
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT QVSTREAM OpenR(const char* path, uint32_t) {
    auto script = read(path);
    if (!script) return 0;
    const TitlePicture own = {script->width, script->height, false};
    return titles.add(std::make_shared<OpenTitle>(OpenTitle{std::move(*script), own}));
}

QV_PLUGIN_EXPORT uint32_t CloseR(QVSTREAM stream) {
    return titles.remove(stream) ? QV_PLUGIN_OK : QV_PLUGIN_FAILED;
}

QV_PLUGIN_EXPORT uint32_t GetTotalFrames(QVSTREAM stream) {
    const auto title = titles.find(stream);
    return title ? static_cast<uint32_t>(title->frames()) : 0;
}

QV_PLUGIN_EXPORT uint32_t GetMiliseconds(QVSTREAM stream) {
    const auto title = titles.find(stream);
    return title ? static_cast<uint32_t>(std::min<std::int64_t>(title->script.milliseconds, INT32_MAX)) : 0;
}

QV_PLUGIN_EXPORT uint32_t GetVideoRate(QVSTREAM stream, uint32_t* rate, uint32_t* scale) {
    const auto title = titles.find(stream);
    if (!title || !rate || !scale) return QV_PLUGIN_FAILED;
    *rate = static_cast<uint32_t>(title->rate().rate);
    *scale = static_cast<uint32_t>(title->rate().scale);
    return QV_PLUGIN_OK;
}

// The title's own size until another is set.
QV_PLUGIN_EXPORT uint32_t GetVideoFormat(QVSTREAM stream, void* bitmapHeader) {
    const auto title = titles.find(stream);
    if (!title || !bitmapHeader) return QV_PLUGIN_FAILED;
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = title->picture.width;
    header.biHeight = title->picture.height;
    header.biPlanes = 1;
    header.biBitCount = title->picture.alpha ? 32 : 24;
    header.biSizeImage = static_cast<DWORD>(title->picture.pitch() * static_cast<size_t>(header.biHeight));
    memcpy(bitmapHeader, &header, sizeof header);
    return QV_PLUGIN_OK;
}

// A negative height asks for 32-bit rows with alpha.
QV_PLUGIN_EXPORT uint32_t SetDibSize(QVSTREAM stream, int32_t width, int32_t height) {
    const auto title = titles.find(stream);
    const bool alpha = height < 0;
    if (!title || width < 1 || width > kMaxTitleSide || height == 0 || height < -kMaxTitleSide ||
        height > kMaxTitleSide)
        return QV_PLUGIN_FAILED;
    title->picture = {width, alpha ? -height : height, alpha};
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT uint32_t GetDib(QVSTREAM stream, int32_t frame, void* bits) {
    const auto title = titles.find(stream);
    if (!title || !bits || frame < 0) return QV_PLUGIN_FAILED;
    if (!title->renderer && backEnd()) title->renderer = backEnd()->make(title->script);
    const TitleRate rate = title->rate();
    const std::int64_t time = static_cast<std::int64_t>(frame) * 1000 * rate.scale / rate.rate;
    return title->renderer && title->renderer->render(time, title->picture, static_cast<uint8_t*>(bits))
               ? QV_PLUGIN_OK
               : QV_PLUGIN_FAILED;
}

} // extern "C"
