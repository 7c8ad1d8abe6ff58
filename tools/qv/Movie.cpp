#include "tools/qv/Movie.h"

#include "qvlibs/framework/Messages.h"
#include "qvlibs/image/FitRectangle.h"
#include "qvlibs/media/Qvavitools.h"
#include "qvlibs/plugins/PluginInfo.h"
#include "tools/qv/TapeTexts.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <vector>

#include <sys/stat.h>

namespace qv::cli {
namespace {

// The second field is the upper one of each pair of lines: taken alone, it stands where the picture stood.
constexpr ULONG kUpperField = 0x20000000;
constexpr LONG kLargestSide = 16384;

// A file whose headers are cut away is taken by no module, but it was a movie.
bool startsLikeAvi(const std::string& path) {
    CFile file;
    char head[12] = {};
    if (!file.Open(path.c_str(), CFile::modeRead | CFile::shareDenyNone)) return false;
    try {
        file.Read(head, sizeof head);
    } catch (const CFileException&) {
        return false;
    }
    return std::memcmp(head, "RIFF", 4) == 0 && std::memcmp(head + 8, "AVI ", 4) == 0;
}

// Why a movie did not open: from the file system, from the plug-ins, or from inside the file.
int whyNot(const std::string& path, std::string& why) {
    const auto because = [&](Exit code, std::string text) {
        why = std::move(text);
        return static_cast<int>(code);
    };
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        const int reason = errno;
        return because(exitFor(reason), std::strerror(reason));
    }
    if (S_ISDIR(status.st_mode)) return because(NotSupported, "is a folder");
    if (status.st_size == 0 && S_ISREG(status.st_mode)) return because(Damaged, "is empty");
    const std::unique_ptr<CPluginInfo> plugin(LoadVideoCodecPlugIn(path.c_str()));
    if (plugin || startsLikeAvi(path)) return because(Damaged, "the movie is damaged or has no frames");
    CPluginEnumerator all;
    const std::unique_ptr<CPluginInfo> any(all.Next("*.vcp"));
    return because(NotSupported,
                   any ? "is no movie that a codec module reads" : "there are no codec modules for movies");
}

size_t lineBytes(LONG width) { return static_cast<size_t>(CQVDIB::GetLineBytes(width, 24)); }

LONG rounded(double value) { return std::max(1, static_cast<LONG>(std::lround(value))); }

} // namespace

Movie::Movie(std::string path, void* handle) : path_(std::move(path)), handle_(handle) {}

Movie::~Movie() { QVTLAVIFileClose(handle_); }

std::unique_ptr<Movie> Movie::open(const std::string& path, int& code) {
    std::string why;
    auto movie = open(path, code, why);
    if (!movie) error(static_cast<Exit>(code), path + ": " + why);
    return movie;
}

std::unique_ptr<Movie> Movie::open(const std::string& path, int& code, std::string& why) {
    void* const handle = QVTLAVIFileOpen(path.c_str(), 0);
    if (!handle) {
        code = whyNot(path, why);
        return nullptr;
    }
    std::unique_ptr<Movie> movie(new Movie(path, handle));
    BITMAPINFOHEADER format{};
    if (QVTLAVIGetVideoFormat(handle, &format) == QV_OK) movie->size_ = {format.biWidth, format.biHeight};
    const bool hasRate = QVTLAVIGetVideoRatio(handle, &movie->rate_.rate, &movie->rate_.scale) == QV_OK;
    if (!hasRate || movie->rate_.scale == 0) movie->rate_ = {};
    const SIZE size = movie->size_;
    if (size.cx > 0 && size.cy > 0 && std::max(size.cx, size.cy) <= kLargestSide) return movie;
    code = Damaged;
    why = "the movie has no picture";
    return nullptr;
}

LONG Movie::frames() const {
    if (frames_ < 0) frames_ = std::max(QVTLAVIGetTotalFrames(handle_), 0);
    return frames_;
}

bool Movie::isDv() const {
    ULONG code = 0;
    if (QVTLAVIGetFccHeader(handle_, &code) != QV_OK) return false;
    return code == makeFourCC('d', 'v', 's', 'd') || code == makeFourCC('D', 'V', 'S', 'D');
}

Movie::Tape Movie::tapeOf(LONG frame) const {
    if (!isDv()) return {};
    constexpr ULONG kCompressedBothFields = 0x40000001;
    std::vector<unsigned char> data(lineBytes(size_.cx) * static_cast<size_t>(size_.cy));
    const ULONG result = QVTLAVIGetNonCompressedStreamEx2(
        handle_, frame, data.data(), size_.cx, size_.cy, DIB_TYPE_AUTO, 0, MOVIE_DECODE_DEFAULT,
        RESIZE_METHOD_DEFAULT, kCompressedBothFields, nullptr, nullptr);
    if (result != QV_COMPRESSED) return {};
    const auto system = size_.cy == 576 ? DvSystem::Pal : DvSystem::Ntsc;
    const auto info = readDvFrame({data.data(), dvFrameBytes(system)});
    if (!info) return {};
    return {labelText(*info), recordedText(*info)};
}

DIB_TYPE Movie::typeOf(LONG frame) const {
    DIB_TYPE type = DIB_TYPE_AUTO;
    if (QVTLAVIGetDIBType(handle_, type, frame) != QV_OK) type = DIB_TYPE_AUTO;
    return resolveType(type, size_);
}

SIZE Movie::naturalSize(LONG frame) const {
    const auto shape = shapeOf(typeOf(frame), size_);
    if (!shape) return size_;
    return {rounded(size_.cx * shape->pixelAspect), rounded(size_.cy * shape->usedHeight)};
}

// The whole frame is asked for at the size at which its shown part fills its place, so that the codec module
// can decode at a reduced size and the picture is resampled once.
bool Movie::picture(LONG frame, const Layout& layout, CQVDIB& out) const {
    const auto fit =
        fitRectangles(size_, typeOf(frame), layout.size, resolveType(layout.type, layout.size), layout.fit);
    if (!fit) return false;
    const CRect from(fit->source);
    const CRect to(fit->destination);
    const double scaleX = static_cast<double>(to.Width()) / from.Width();
    const double scaleY = static_cast<double>(to.Height()) / from.Height();
    const LONG width = std::max(rounded(size_.cx * scaleX), to.Width());
    const LONG height = std::max(rounded(size_.cy * scaleY), to.Height());
    if (std::max(width, height) > kLargestSide) return false;

    std::vector<unsigned char> whole(lineBytes(width) * static_cast<size_t>(height));
    if (QVTLAVIGetNonCompressedStreamEx2(handle_, frame, whole.data(), width, height, DIB_TYPE_AUTO, 0,
                                         MOVIE_DECODE_DEFAULT, layout.method, kUpperField, nullptr,
                                         nullptr) != QV_OK)
        return false;

    const size_t line = lineBytes(layout.size.cx);
    auto pixels = std::make_unique<unsigned char[]>(line * static_cast<size_t>(layout.size.cy));
    const LONG left = std::min(rounded(from.left * scaleX + 1) - 1, width - to.Width());
    const LONG top = std::min(rounded(from.top * scaleY + 1) - 1, height - to.Height());
    for (LONG row = 0; row < to.Height(); ++row) {
        std::memcpy(
            pixels.get() + line * static_cast<size_t>(to.top + row) + 3 * static_cast<size_t>(to.left),
            whole.data() + lineBytes(width) * static_cast<size_t>(top + row) + 3 * static_cast<size_t>(left),
            3 * static_cast<size_t>(to.Width()));
    }
    return out.Init(CSize(layout.size), 24, pixels.release()) == QV_OK;
}

int Movie::whyNoFrame(LONG frame) const {
    if (frame >= 0 && frame < frames())
        return error(Damaged, path_ + ": frame " + std::to_string(frame) + " cannot be read");
    return error(NotFound, path_ + ": there is no frame " + std::to_string(frame) + " (0 to " +
                               std::to_string(frames() - 1) + ")");
}

} // namespace qv::cli
