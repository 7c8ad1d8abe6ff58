// The exports of title.tcp. Reading the text needs no library; the renderer is mapped for the first picture.
#include "codecs/common/BackEnd.h"
#include "codecs/common/Extensions.h"
#include "codecs/common/Tickets.h"
#include "codecs/title/TitleRenderer.h"
#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/plugins/plugin_api.h"

#include <fstream>
#include <iterator>

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

std::optional<TitleScript> read(const char* path) {
    struct stat status {};
    if (!path || !hasExtension(path, kExtensions) || stat(path, &status) != 0 || !S_ISREG(status.st_mode) ||
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

uint32_t statusOf(bool done) { return done ? QV_PLUGIN_OK : QV_PLUGIN_FAILED; }

} // namespace

std::span<const char* const> qv::codec::extensions() { return kExtensions; }

extern "C" {

QV_PLUGIN_EXPORT uint32_t IsSupported(const char* path, int* supported) {
    if (!supported) return QV_PLUGIN_FAILED;
    *supported = qv::guarded(false, [=] { return read(path).has_value(); }) ? 1 : 0;
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT QVSTREAM OpenR(const char* path, uint32_t) {
    return qv::guarded(0u, [=] {
        auto script = read(path);
        if (!script) return 0u;
        const TitlePicture own = {script->width, script->height, false};
        return titles.add(std::make_shared<OpenTitle>(OpenTitle{std::move(*script), own}));
    });
}

QV_PLUGIN_EXPORT uint32_t CloseR(QVSTREAM stream) { return statusOf(titles.remove(stream) != nullptr); }

QV_PLUGIN_EXPORT uint32_t GetTotalFrames(QVSTREAM stream) {
    return titles.with(stream, 0u, [](OpenTitle& title) { return static_cast<uint32_t>(title.frames()); });
}

QV_PLUGIN_EXPORT uint32_t GetMiliseconds(QVSTREAM stream) {
    return titles.with(stream, 0u, [](OpenTitle& title) {
        return static_cast<uint32_t>(std::min<std::int64_t>(title.script.milliseconds, INT32_MAX));
    });
}

QV_PLUGIN_EXPORT uint32_t GetVideoRate(QVSTREAM stream, uint32_t* rate, uint32_t* scale) {
    return statusOf(titles.with(stream, false, [=](OpenTitle& title) {
        if (!rate || !scale) return false;
        *rate = static_cast<uint32_t>(title.rate().rate);
        *scale = static_cast<uint32_t>(title.rate().scale);
        return true;
    }));
}

// The title's own size until another is set.
QV_PLUGIN_EXPORT uint32_t GetVideoFormat(QVSTREAM stream, void* bitmapHeader) {
    return statusOf(titles.with(stream, false, [=](OpenTitle& title) {
        if (!bitmapHeader) return false;
        BITMAPINFOHEADER header{};
        header.biSize = sizeof header;
        header.biWidth = title.picture.width;
        header.biHeight = title.picture.height;
        header.biPlanes = 1;
        header.biBitCount = title.picture.alpha ? 32 : 24;
        header.biSizeImage = static_cast<DWORD>(title.picture.pitch() * static_cast<size_t>(header.biHeight));
        memcpy(bitmapHeader, &header, sizeof header);
        return true;
    }));
}

// A negative height asks for 32-bit rows with alpha.
QV_PLUGIN_EXPORT uint32_t SetDibSize(QVSTREAM stream, int32_t width, int32_t height) {
    return statusOf(titles.with(stream, false, [=](OpenTitle& title) {
        if (width < 1 || width > kMaxTitleSide || height == 0 || height < -kMaxTitleSide ||
            height > kMaxTitleSide)
            return false;
        title.picture = {width, std::abs(height), height < 0};
        return true;
    }));
}

QV_PLUGIN_EXPORT uint32_t GetDib(QVSTREAM stream, int32_t frame, void* bits) {
    return statusOf(titles.with(stream, false, [=](OpenTitle& title) {
        if (!bits || frame < 0) return false;
        if (!title.renderer && backEnd()) title.renderer = backEnd()->make(title.script);
        if (!title.renderer) return false;
        const TitleRate rate = title.rate();
        const std::int64_t time = static_cast<std::int64_t>(frame) * 1000 * rate.scale / rate.rate;
        title.renderer->render(time, title.picture, static_cast<uint8_t*>(bits));
        return true;
    }));
}

} // extern "C"
