// qv thumb: one frame of a movie as a picture.
#include "tools/qv/Movie.h"

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

int run(const Options& options, const Common& common) {
    Movie::Layout layout;
    if (!options.size.empty() && !parseSize(options.size, layout.size))
        return error(Usage, "\"" + options.size + "\" is no size such as 320x240");
    int code = Done;
    const auto movie = Movie::open(options.movie, code);
    if (!movie) return code;

    LONG frame = options.frame;
    if (!options.at.empty()) {
        frame = movie->frameAt(options.at);
        if (frame < 0) return error(Usage, "\"" + options.at + "\" is no position HH:MM:SS:FF in this movie");
    }
    layout.type = static_cast<DIB_TYPE>(options.type);
    layout.fit = fitNamed(options.fit);
    layout.method = static_cast<RESIZE_METHOD>(options.method);
    if (options.size.empty()) {
        layout.size = movie->naturalSize(frame);
        layout.type = DIB_TYPE_SQUARE;
    }
    CQVDIB picture;
    if (frame < 0 || !movie->picture(frame, layout, picture)) return movie->whyNoFrame(frame);
    code = savePicture(picture, options.out);
    if (code == Done && common.json) {
        printJson({{"movie", options.movie},
                   {"frame", frame},
                   {"picture", options.out},
                   {"width", layout.size.cx},
                   {"height", layout.size.cy}});
    }
    return code;
}

} // namespace

std::function<int()> setupThumb(CLI::App& app, const Common& common) {
    auto options = std::make_shared<Options>();
    app.add_option("MOVIE", options->movie, "The movie")->required();
    app.add_option("-o,--output", options->out, "The picture to write; its extension picks the format")
        ->required();
    auto* frame = app.add_option("--frame", options->frame, "Which frame, counted from 0");
    app.add_option("--at", options->at, "Which frame, as a position HH:MM:SS:FF from the start")
        ->excludes(frame);
    app.add_option("--size", options->size,
                   "Size of the picture; without it, the frame's own in square pixels");
    app.add_option(
           "--type", options->type,
           "Shape of the picture: 0 by its size (180x120 and other frame sizes count as 4:3, the rest has "
           "square pixels), 1 4:3, 2 16:9, 3 16:9 between bars in 4:3, 4 square pixels, 6 and 7 pixels of "
           "8:9 and 16:15")
        ->check(CLI::Range(0, 7));
    addFit(app, options->fit);
    app.add_option("--method", options->method,
                   "0 and 5 cubic, 1 and 2 cubic, 3 and 4 smooth, 6 linear, 7 Lanczos, 8 triangle")
        ->check(CLI::Range(0, 8));
    return [options, &common] { return run(*options, common); };
}

} // namespace qv::cli
