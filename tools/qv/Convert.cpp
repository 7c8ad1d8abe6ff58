// qv convert: a picture file into another one: cut, turned, resized, cleaned up.
#include "tools/qv/Picture.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>
#include <optional>

#include <fcntl.h>
#include <unistd.h>

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
    int quality = 0;
    bool gray = false;
    bool strip = false;
};

constexpr struct {
    const char* name;
    int angle;
} kAngles[] = {{"90", 90}, {"180", 180}, {"270", 270}};

// "L,T,R,B" as a rectangle; one that fits nowhere when it is none.
RECT parseRect(const std::string& text) {
    int used = 0;
    RECT rect;
    const bool four = std::sscanf(text.c_str(), "%9d,%9d,%9d,%9d%n", &rect.left, &rect.top, &rect.right,
                                  &rect.bottom, &used) == 4;
    return four && static_cast<size_t>(used) == text.size() ? rect : RECT{1, 1, 0, 0};
}

// A file by a path that stays good while this object lives, whatever becomes of its name. Pipes are not waited for.
class OpenFile {
public:
    explicit OpenFile(const std::string& path) : descriptor_(open(path.c_str(), O_PATH | O_CLOEXEC)) {}
    ~OpenFile() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
    int descriptor_;
};

// One step after the other, in the order in which they make sense on a still: fields, cut, turn, size, colors.
int work(const Options& options, CQVDIB& picture) {
    if (options.still && picture.StillFilter(static_cast<ULONG>(*options.still), nullptr) != 0) {
        return error(Usage, "--still knows the modes 0, 1, 2, 17, 18, 33 and 34");
    }
    if (!options.trim.empty()) {
        if (picture.TrimmingFilter(parseRect(options.trim), nullptr) != 0) {
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
        SIZE size;
        if (!parseSize(options.size, size))
            return error(Usage, "\"" + options.size + "\" is no size such as 720x480");
        if (picture.ResizeFilter(size, nullptr, fitNamed(options.fit),
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
    if (!canSavePicture(options.out)) return NotSupported;
    const OpenFile original(options.in); // still there after it was replaced
    // A reduced decode serves only where every later step works on what it leaves.
    SIZE atLeast;
    const bool onlySized = !options.still && options.trim.empty();
    if (!onlySized || !parseSize(options.size, atLeast)) atLeast = {};
    CQVDIB picture;
    if (const int code = loadPicture(options.in, picture, atLeast); code != Done) return code;
    if (options.rotate == "exif" && !turnMirrored(picture, picture.GetOrientation()))
        return error(Failed, "out of memory");
    if (const int code = work(options, picture); code != Done) return code;
    if (const int code = savePicture(picture, options.out, options.quality); code != Done) return code;
    // Formats without room for what the picture says of itself simply do not take it.
    if (!options.strip) picture.CopyProperties(original.path().c_str(), options.out.c_str(), 0);
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
    app.add_option("--rotate", options->rotate,
                   "Turn clockwise; exif: mirrored pictures upright too (turned ones always are)")
        ->check(CLI::IsMember({"90", "180", "270", "exif"}));
    app.add_option("--quality", options->quality,
                   "JPEG and WebP 1 to 100 (90), HEIF 1 to 100 (80), PNG compression 1 to 9 (6), TIFF 1 "
                   "none, 2 Deflate, GIF "
                   "colours 2 to 256")
        ->check(CLI::Range(1, 256));
    app.add_flag("--strip", options->strip,
                 "Leave out date, camera and all else that the picture says of itself");
    app.add_option("--size", options->size, "Resize to WIDTHxHEIGHT");
    addFit(app, options->fit);
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
