// qv convert: a picture file into another one: cut, turned, resized, cleaned up.
#include "tools/qv/Command.h"

#include "qvlibs/framework/Messages.h"
#include "qvlibs/framework/Surface.h"
#include "qvlibs/image/QVDib.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <array>
#include <cerrno>
#include <charconv>
#include <memory>
#include <optional>
#include <sstream>

namespace qv::cli {

namespace {

struct Options {
    std::string in, out;
    std::string trim, rotate, size;
    std::string fit = "fit";
    int fromType = DIB_TYPE_SQUARE;
    int toType = DIB_TYPE_AUTO;
    std::optional<int> still;
    std::optional<int> lighten;
    bool gray = false;
};

constexpr struct {
    const char* name;
    int option;
} kFits[] = {{"fit", RESIZE_OPTION_FIT}, {"fill", RESIZE_OPTION_FILL}, {"stretch", RESIZE_OPTION_STRETCH}};

constexpr struct {
    const char* name;
    int angle;
} kAngles[] = {{"90", 90}, {"180", 180}, {"270", 270}};

// Numbers of this pattern, and nothing else: numbers("640x480", 'x', 2).
std::optional<std::vector<int>> numbers(const std::string& text, char separator, size_t count) {
    std::vector<int> found;
    const char* at = text.data();
    const char* const end = at + text.size();
    while (found.size() < count) {
        int value = 0;
        const auto [next, problem] = std::from_chars(at, end, value);
        if (problem != std::errc() || value < 0) return {};
        found.push_back(value);
        at = next;
        if (found.size() < count && (at == end || *at++ != separator)) return {};
    }
    return at == end ? std::optional(found) : std::nullopt;
}

bool isBmp(const std::string& path) {
    return path.size() > 4 && equalNoCase(path.substr(path.size() - 4), ".bmp");
}

// What the library would show to a person becomes part of this program's own error line.
std::string& shownByLibrary() {
    static std::string text;
    return text;
}

// 24 bits a pixel, whatever the file has; otherwise the reason.
int load(const std::string& path, CQVDIB& picture) {
    if (!isBmp(path)) return error(NotSupported, path + ": no picture format that is known here");
    CFile file;
    CFileException reason;
    if (!file.Open(path.c_str(), CFile::modeRead | CFile::shareDenyWrite, &reason)) {
        return error(reason.osError == ENOENT ? NotFound : Failed, reason.what());
    }
    if (!picture.Read(&file) || picture.GetWidth() == 0 || picture.GetHeight() == 0) {
        return error(Damaged, path + ": no BMP picture, or larger than this program takes");
    }
    CDC surface(1, 1);
    const DWORD compression = picture.GetBitmapInfoAddress()->biCompression;
    if (compression == BI_RLE4 || compression == BI_RLE8) picture.Compress(&surface, 0);
    if (picture.RecolorFilter(24, nullptr) != 0) {
        return error(NotSupported, path + ": a kind of BMP picture that is not known here");
    }
    return Done;
}

// One step after the other, in the order in which they make sense on a still: fields, cut, turn, size, colors.
int work(const Options& options, CQVDIB& picture) {
    if (options.still && picture.StillFilter(static_cast<ULONG>(*options.still), nullptr) != 0) {
        return error(Usage, "--still knows the modes 0, 1, 2, 17, 18, 33 and 34");
    }
    if (!options.trim.empty()) {
        const auto edges = numbers(options.trim, ',', 4);
        const RECT rect = edges ? RECT{(*edges)[0], (*edges)[1], (*edges)[2], (*edges)[3]} : RECT{1, 1, 0, 0};
        if (picture.TrimmingFilter(rect, nullptr) != 0) {
            return error(Usage, "--trim takes LEFT,TOP,RIGHT,BOTTOM, all inside the picture of " +
                                    std::to_string(picture.GetWidth()) + "x" +
                                    std::to_string(picture.GetHeight()) + " and included");
        }
    }
    for (const auto& row : kAngles) {
        if (options.rotate != row.name) continue;
        if (picture.RotationFilter(row.angle, 0, nullptr) != 0) return error(Failed, "out of memory");
    }
    if (!options.size.empty()) {
        const auto size = numbers(options.size, 'x', 2);
        if (!size || (*size)[0] == 0 || (*size)[1] == 0) {
            return error(Usage, "--size takes WIDTHxHEIGHT, such as 720x480");
        }
        int option = RESIZE_OPTION_FIT;
        for (const auto& row : kFits) {
            if (options.fit == row.name) option = row.option;
        }
        if (picture.ResizeFilter({(*size)[0], (*size)[1]}, nullptr, option,
                                 static_cast<DIB_TYPE>(options.fromType),
                                 static_cast<DIB_TYPE>(options.toType), RESIZE_METHOD_DEFAULT) != 0) {
            return error(
                Failed,
                "the picture cannot be made that size: too large, or a shape that its type does not allow");
        }
    }
    if (options.gray) picture.GrayFilter();
    if (options.lighten) picture.DensityFilter(*options.lighten);
    return Done;
}

int convert(const Options& options, const Common& common) {
    if (!isBmp(options.out))
        return error(NotSupported, options.out + ": no picture format that can be written here");
    CQVDIB picture;
    if (const int code = load(options.in, picture); code != Done) return code;
    if (const int code = work(options, picture); code != Done) return code;
    shownByLibrary().clear();
    const MessageHandler before =
        setMessageHandler([](const char* text, const char*, MessageKind) { shownByLibrary() = text; });
    const bool saved = picture.Save(options.out.c_str()) != 0;
    setMessageHandler(before);
    if (!saved)
        return error(Failed, shownByLibrary().empty() ? options.out + ": writing failed" : shownByLibrary());
    if (common.json) {
        printJson({{"file", options.out}, {"width", picture.GetWidth()}, {"height", picture.GetHeight()}});
    } else {
        message(common, options.out + ": " + std::to_string(picture.GetWidth()) + "x" +
                            std::to_string(picture.GetHeight()));
    }
    return Done;
}

} // namespace

std::function<int()> setupConvert(CLI::App& app, const Common& common) {
    auto options = std::make_shared<Options>();
    app.add_option("IN", options->in, "The picture to read")->required();
    app.add_option("OUT", options->out, "The file to write; the same one is fine")->required();
    app.add_option(
           "--still", options->still,
           "Clean up a still from interlaced video: 1 keeps the odd lines, 2 the even ones, both filling in "
           "the others; 33 and 34 only double them")
        ->check(CLI::Range(0, 255));
    app.add_option("--trim", options->trim,
                   "Cut out LEFT,TOP,RIGHT,BOTTOM, edges included, rows from the top");
    app.add_option("--rotate", options->rotate, "Turn clockwise")->check(CLI::IsMember({"90", "180", "270"}));
    app.add_option("--size", options->size, "Resize to WIDTHxHEIGHT");
    app.add_option("--fit", options->fit, "fit: all of it, with bars; fill: no bars, cut; stretch")
        ->check(CLI::IsMember({"fit", "fill", "stretch"}))
        ->capture_default_str();
    const char* const types = "0 by its size, 1 frame shown as 4:3, 2 as 16:9, 3 letterbox, 4 square pixels";
    app.add_option("--from-type", options->fromType, std::string("Shape of the picture: ") + types)
        ->check(CLI::Range(0, 7))
        ->capture_default_str();
    app.add_option("--to-type", options->toType, std::string("Shape of the result: ") + types)
        ->check(CLI::Range(0, 7))
        ->capture_default_str();
    app.add_flag("--gray", options->gray, "Gray");
    app.add_option("--lighten", options->lighten, "Toward white, in percent")->check(CLI::Range(0, 100));
    return [options, &common] { return convert(*options, common); };
}

} // namespace qv::cli
