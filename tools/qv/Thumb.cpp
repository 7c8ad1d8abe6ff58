// qv thumb: one frame of a movie or a title, or a picture, as a picture of another size.
#include "tools/qv/Movie.h"
#include "tools/qv/Title.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace qv::cli {
namespace {

struct Options {
    std::string movie;
    std::string out;
    LONG frame = 0;
    std::string at;
    std::string size;
    int type = DIB_TYPE_AUTO;
    std::string fit = "fit";
    int method = RESIZE_METHOD_SCALER;
};

// The frame that the options name; -1, with a line that says why, when they name none.
LONG frameOf(const Options& options, const FrameRate& rate) {
    const LONG frame = options.at.empty() ? options.frame : rate.frameAt(options.at);
    if (frame < 0 && !options.at.empty())
        error(Usage, "\"" + options.at + "\" is no position HH:MM:SS:FF in it");
    return frame;
}

int ofMovie(const Options& options, Movie::Layout layout, LONG& frame, CQVDIB& picture) {
    int code = Done;
    const auto movie = Movie::open(options.movie, code);
    if (!movie) return code;
    frame = frameOf(options, movie->rate());
    if (frame < 0) return options.at.empty() ? movie->whyNoFrame(frame) : Usage;
    if (options.size.empty()) {
        layout.size = movie->naturalSize(frame);
        layout.type = DIB_TYPE_SQUARE;
    }
    return movie->picture(frame, layout, picture) ? Done : movie->whyNoFrame(frame);
}

int ofTitle(const Options& options, const Title& title, SIZE size, LONG& frame, CQVDIB& picture) {
    frame = frameOf(options, title.rate());
    if (frame < 0 && !options.at.empty()) return Usage;
    if (frame < 0 || frame >= title.frames())
        return error(NotFound, options.movie + ": there is no frame " + std::to_string(frame) + " (0 to " +
                                   std::to_string(title.frames() - 1) + ")");
    if (title.picture(frame, options.size.empty() ? title.size() : size, picture)) return Done;
    return error(Failed, options.movie + ": the title cannot be rendered");
}

int ofPicture(const Options& options, const Movie::Layout& layout, CQVDIB& picture) {
    if (options.frame != 0 || !options.at.empty())
        return error(NotFound, options.movie + ": is a picture, there is no other frame");
    if (const int code = loadPicture(options.movie, picture, layout.size); code != Done) return code;
    if (options.size.empty()) return Done;
    const auto type = layout.type == DIB_TYPE_AUTO ? DIB_TYPE_SQUARE : layout.type;
    if (picture.ResizeFilter(layout.size, nullptr, layout.fit, DIB_TYPE_SQUARE, type, layout.method) == 0)
        return Done;
    return error(Failed, options.movie + ": cannot be made that size, or of that shape");
}

int run(const Options& options, const Common& common) {
    Movie::Layout layout;
    if (!options.size.empty() && !parseSize(options.size, layout.size))
        return error(Usage, "\"" + options.size + "\" is no size such as 320x240");
    layout.type = static_cast<DIB_TYPE>(options.type);
    layout.fit = fitNamed(options.fit);
    layout.method = static_cast<RESIZE_METHOD>(options.method);
    LONG frame = 0;
    CQVDIB picture;
    const auto title = Title::open(options.movie);
    int code = title ? ofTitle(options, *title, layout.size, frame, picture)
               : CQVDIB::IsSupported(options.movie.c_str()) ? ofPicture(options, layout, picture)
                                                            : ofMovie(options, layout, frame, picture);
    if (code != Done) return code;
    code = savePicture(picture, options.out);
    if (code == Done && common.json) {
        printJson({{"movie", options.movie},
                   {"frame", frame},
                   {"picture", options.out},
                   {"width", picture.GetWidth()},
                   {"height", picture.GetHeight()}});
    }
    return code;
}

} // namespace

std::function<int()> setupThumb(CLI::App& app, const Common& common) {
    auto options = std::make_shared<Options>();
    app.add_option("MOVIE", options->movie, "The movie, a title, or a picture")->required();
    app.add_option("-o,--output", options->out, "The picture to write; its extension picks the format")
        ->required();
    auto* frame = app.add_option("--frame", options->frame, "Which frame, counted from 0");
    app.add_option("--at", options->at, "Which frame, as a position HH:MM:SS:FF from the start")
        ->excludes(frame);
    app.add_option(
        "--size", options->size,
        "Size of the picture; without it, the frame's own in square pixels. Titles are rendered at it");
    app.add_option(
           "--type", options->type,
           "Shape of the picture: 0 by its size (180x120 and other frame sizes count as 4:3, the rest has "
           "square pixels), 1 4:3, 2 16:9, 3 16:9 between bars in 4:3, 4 square pixels, 6 and 7 pixels of "
           "8:9 and 16:15")
        ->check(CLI::Range(0, 7));
    addFit(app, options->fit);
    app.add_option("--method", options->method,
                   "Of a movie's frame: 0, 1, 2 and 5 cubic, 3 and 4 smooth, 6 linear, 7 Lanczos, 8 triangle")
        ->check(CLI::Range(0, 8));
    return [options, &common] { return run(*options, common); };
}

} // namespace qv::cli
