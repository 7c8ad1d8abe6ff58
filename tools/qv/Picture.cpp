#include "tools/qv/Picture.h"

#include "qvlibs/framework/Messages.h"
#include "qvlibs/framework/Surface.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>

namespace qv::cli {
namespace {

constexpr struct {
    const char* name;
    RESIZE_OPTION option;
} kFits[] = {{"fit", RESIZE_OPTION_FIT}, {"fill", RESIZE_OPTION_FILL}, {"stretch", RESIZE_OPTION_STRETCH}};

bool isBmp(const std::string& path) {
    return path.size() > 4 && equalNoCase(std::string_view(path).substr(path.size() - 4), ".bmp");
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

int loadPicture(const std::string& path, CQVDIB& picture) {
    if (!isBmp(path)) return error(NotSupported, path + ": pictures are read from .bmp");
    CFile file;
    CFileException reason;
    if (!file.Open(path.c_str(), CFile::modeRead | CFile::shareDenyWrite, &reason)) {
        return error(reason.osError == ENOENT ? NotFound : Failed, reason.what());
    }
    if (!picture.Read(&file) || picture.GetWidth() == 0 || picture.GetHeight() == 0) {
        return error(Damaged, path + ": no BMP picture, or one that is too large");
    }
    const DWORD compression = picture.GetBitmapInfoAddress()->biCompression;
    CDC surface(1, 1);
    if (compression == BI_RLE4 || compression == BI_RLE8) picture.Compress(&surface, 0);
    if (picture.RecolorFilter(24, nullptr) != 0)
        return error(NotSupported, path + ": an unusual kind of BMP picture");
    return Done;
}

bool canSavePicture(const std::string& path) {
    if (isBmp(path)) return true;
    error(NotSupported, path + ": pictures are written as .bmp");
    return false;
}

int savePicture(CQVDIB& picture, const std::string& path) {
    if (!canSavePicture(path)) return NotSupported;
    static std::string reason; // what the library would show becomes this program's own error line
    reason.clear();
    const auto before = setMessageHandler([](const char* text, const char*, MessageKind) { reason = text; });
    const bool saved = picture.Save(path.c_str()) == 1;
    setMessageHandler(before);
    if (saved) return Done;
    return error(Failed, reason.empty() ? path + ": cannot be written" : reason);
}

} // namespace qv::cli
