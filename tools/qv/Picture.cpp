#include "tools/qv/Picture.h"

#include "qvlibs/framework/Messages.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Surface.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include <unistd.h>

namespace qv::cli {
namespace {

constexpr struct {
    const char* name;
    RESIZE_OPTION option;
} kFits[] = {{"fit", RESIZE_OPTION_FIT}, {"fill", RESIZE_OPTION_FILL}, {"stretch", RESIZE_OPTION_STRETCH}};

std::string extensionOf(const std::string& path) {
    const size_t dot = path.rfind('.');
    const bool named = dot != std::string::npos && path.find('/', dot) == std::string::npos;
    return named ? toLower(std::string_view(path).substr(dot + 1)) : "";
}

bool isBmp(const std::string& path) { return extensionOf(path) == "bmp"; }

// What the library would show becomes this program's own error line.
class TakenMessages {
public:
    TakenMessages()
        : before_(setMessageHandler([](const char* text, const char*, MessageKind) { last() = text; })) {
        last().clear();
    }
    ~TakenMessages() { setMessageHandler(before_); }
    static std::string& last() {
        static std::string text;
        return text;
    }

private:
    MessageHandler before_;
};

int whyNotLoaded(const std::string& path, ULONG status) {
    if (access(path.c_str(), R_OK) != 0) return fileError(path, errno);
    if (status == QV_NO_EXPORT) return error(NotSupported, path + ": no picture of a kind that is installed");
    return error(Damaged, path + ": no whole picture, or one that is too large");
}

} // namespace

bool parseSize(const std::string& text, SIZE& size) {
    int used = 0;
    unsigned width = 0;
    unsigned height = 0;
    if (std::sscanf(text.c_str(), "%5ux%5u%n", &width, &height, &used) != 2) return false;
    constexpr unsigned kMost = 16384;
    size = {static_cast<LONG>(width), static_cast<LONG>(height)};
    const bool sane = width > 0 && height > 0 && width <= kMost && height <= kMost;
    return sane && static_cast<size_t>(used) == text.size();
}

CLI::Option* addFit(CLI::App& app, std::string& name) {
    return app.add_option("--fit", name, "fit: all of it, bars around it; fill: cropped; stretch")
        ->check(CLI::IsMember({"fit", "fill", "stretch"}));
}

RESIZE_OPTION fitNamed(const std::string& name) {
    for (const auto& row : kFits) {
        if (name == row.name) return row.option;
    }
    return RESIZE_OPTION_FIT;
}

int loadPicture(const std::string& path, CQVDIB& picture, SIZE atLeast) {
    const TakenMessages taken;
    const bool reduced = atLeast.cx > 0 && atLeast.cy > 0;
    const ULONG status =
        reduced ? picture.LoadAtLeast(path.c_str(), atLeast, 0) : picture.Load(path.c_str(), 0);
    if (status != QV_OK || picture.GetWidth() == 0 || picture.GetHeight() == 0)
        return whyNotLoaded(path, status);
    const DWORD compression = picture.GetBitmapInfoAddress()->biCompression;
    CDC surface(1, 1);
    if (compression == BI_RLE4 || compression == BI_RLE8) picture.Compress(&surface, 0);
    if (picture.RecolorFilter(24, nullptr) != 0)
        return error(NotSupported, path + ": an unusual kind of picture");
    return Done;
}

bool canSavePicture(const std::string& path) {
    CQVDIB picture;
    CStringList known;
    picture.GetAllAvailableExtentions(known);
    const std::string extension = extensionOf(path);
    std::string names;
    for (POSITION at = known.GetHeadPosition(); at;) {
        const std::string name = known.GetNext(at).str();
        if (name == "dib") continue; // read by nobody, only listed
        if (name == extension) return true;
        names += " ." + name;
    }
    error(NotSupported, path + ": pictures are written as" + names);
    return false;
}

int savePicture(CQVDIB& picture, const std::string& path, int option1, int option2) {
    if (!canSavePicture(path)) return NotSupported;
    const TakenMessages taken;
    const bool saved = isBmp(path)
                           ? picture.Save(path.c_str()) == 1
                           : picture.Save(path.c_str(), option1, option2) == QV_OK && taken.last().empty();
    if (saved) return Done;
    return error(Failed, taken.last().empty() ? path + ": cannot be written" : taken.last());
}

void mirrorPicture(CQVDIB& picture) {
    const auto width = static_cast<size_t>(picture.GetWidth());
    unsigned char* row = picture.GetBitsAddress();
    for (int y = 0; y < picture.GetHeight(); ++y, row += picture.GetLineBytes()) {
        for (size_t left = 0, right = width - 1; left < right; ++left, --right) {
            std::swap_ranges(row + 3 * left, row + 3 * left + 3, row + 3 * right);
        }
    }
}

bool turnMirrored(CQVDIB& picture, int orientation) {
    constexpr struct { int orientation, angle; } rows[] = {{2, 0}, {4, 180}, {5, 270}, {7, 90}};
    for (const auto& row : rows) {
        if (row.orientation != orientation) continue;
        mirrorPicture(picture);
        return row.angle == 0 || picture.RotationFilter(row.angle, 0, nullptr) == 0;
    }
    return true;
}

} // namespace qv::cli
