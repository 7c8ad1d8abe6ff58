// qv sheet: a page of small pictures out of a movie or a title, evenly spaced, each with its timecode.
#include "tools/qv/Frames.h"
#include "tools/qv/SmallFont.h"

#include "qvlibs/framework/Status.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace qv::cli {
namespace {

struct Options {
    std::string movie;
    std::string out;
    int columns = 5;
    int rows = 5;
    std::string tile;
};

constexpr int kGap = 4;            // pixels around each tile
constexpr LONG kTileWidth = 180;   // where no size is given
constexpr LONG kScaledWidth = 240; // tiles of this width and more have letters of twice the size

struct Sheet {
    SIZE tile;
    int scale;      // of the letters
    int labelLines; // timecode, and for DV the recording date
    SIZE size;

    LONG labelHeight() const { return labelLines * (kLetterHeight + 2) * scale + scale; }
    LONG left(int column) const { return kGap + column * (tile.cx + kGap); }
    LONG top(int row) const { return kGap + row * (tile.cy + labelHeight() + kGap); }
};

Sheet layOut(const Frames& frames, const Options& options, SIZE tile) {
    if (tile.cx == 0) {
        const SIZE shown = frames.naturalSize();
        tile.cx = kTileWidth;
        tile.cy =
            std::clamp(static_cast<LONG>(std::lround(static_cast<double>(kTileWidth) * shown.cy / shown.cx)),
                       8, 4 * kTileWidth);
    }
    Sheet sheet{tile, tile.cx >= kScaledWidth ? 2 : 1, frames.areDated() ? 2 : 1, {}};
    sheet.size = {sheet.left(options.columns), sheet.top(options.rows)};
    return sheet;
}

// The middle frame of each of `count` equal parts.
LONG frameOf(const Frames& frames, int index, int count) {
    return static_cast<LONG>((2 * std::int64_t{index} + 1) * frames.count() / (2 * std::int64_t{count}));
}

void paste(const CQVDIB& tile, CQVDIB& page, LONG left, LONG top) {
    for (LONG row = 0; row < tile.GetHeight(); ++row) {
        const auto from =
            static_cast<size_t>(tile.GetHeight() - 1 - row) * static_cast<size_t>(tile.GetLineBytes());
        const auto to =
            static_cast<size_t>(page.GetHeight() - 1 - top - row) * static_cast<size_t>(page.GetLineBytes());
        std::memcpy(page.GetBitsAddress() + to + 3 * static_cast<size_t>(left), tile.GetBitsAddress() + from,
                    3 * static_cast<size_t>(tile.GetWidth()));
    }
}

// One tile with its label; what was put there, for the JSON result.
nlohmann::ordered_json addTile(const Frames& frames, const Sheet& sheet, LONG frame, LONG left, LONG top,
                               CQVDIB& page) {
    Frames::Label label = frames.labelOf(frame);
    if (label.position.empty()) label.position = "#" + std::to_string(frame);
    CQVDIB tile;
    const bool shown = frames.picture(frame, sheet.tile, tile);
    if (shown) paste(tile, page, left, top);
    const LONG text = top + sheet.tile.cy + 2 * sheet.scale;
    drawText(page, left, text, sheet.scale, label.position);
    drawText(page, left, text + (kLetterHeight + 2) * sheet.scale, sheet.scale, label.recorded);
    nlohmann::ordered_json entry = {{"frame", frame}, {"label", label.position}, {"shown", shown}};
    if (!label.recorded.empty()) entry["recorded"] = label.recorded;
    return entry;
}

int run(const Options& options, const Common& common) {
    SIZE tile{};
    if (!options.tile.empty() && !parseSize(options.tile, tile))
        return error(Usage, "\"" + options.tile + "\" is no size such as 180x135");
    if (!canSavePicture(options.out)) return NotSupported;
    int code = Done;
    const auto frames = Frames::open(options.movie, code);
    if (!frames) return code;
    if (frames->count() <= 0) return error(Damaged, options.movie + ": there are no frames");
    const Sheet sheet = layOut(*frames, options, tile);

    CQVDIB page;
    const size_t line = static_cast<size_t>(CQVDIB::GetLineBytes(sheet.size.cx, 24));
    const bool fits = std::max(sheet.size.cx, sheet.size.cy) <= 32767;
    auto* const pixels =
        fits ? new (std::nothrow) unsigned char[line * static_cast<size_t>(sheet.size.cy)]() : nullptr;
    if (!pixels || page.Init(CSize(sheet.size), 24, pixels) != QV_OK)
        return error(Usage, "the sheet would be too large");

    const int count = options.columns * options.rows;
    nlohmann::ordered_json tiles = nlohmann::ordered_json::array();
    int missing = 0;
    Progress progress(common, "sheet");
    for (int i = 0; i < count; ++i) {
        if (interrupted()) return Interrupted;
        progress.show(static_cast<double>(i) / count);
        tiles.push_back(addTile(*frames, sheet, frameOf(*frames, i, count), sheet.left(i % options.columns),
                                sheet.top(i / options.columns), page));
        if (!tiles.back()["shown"]) ++missing;
    }
    if (missing == count) return error(Damaged, options.movie + ": no frame can be read");
    if (missing > 0)
        message(common, options.movie + ": " + std::to_string(missing) + " frames cannot be read");
    code = savePicture(page, options.out);
    if (code == Done && common.json) {
        printJson({{"movie", options.movie},
                   {"picture", options.out},
                   {"width", sheet.size.cx},
                   {"height", sheet.size.cy},
                   {"tiles", tiles}});
    }
    return code;
}

} // namespace

std::function<int()> setupSheet(CLI::App& app, const Common& common) {
    auto options = std::make_shared<Options>();
    app.add_option("MOVIE", options->movie, "The movie, or a title")->required();
    app.add_option("-o,--output", options->out, "The picture to write; its extension picks the format")
        ->required();
    app.add_option("--columns", options->columns, "Tiles side by side")->check(CLI::Range(1, 100));
    app.add_option("--rows", options->rows, "Tiles below each other")->check(CLI::Range(1, 100));
    app.add_option("--tile", options->tile, "Size of a tile; without it, 180 wide in the movie's shape");
    return [options, &common] { return run(*options, common); };
}

} // namespace qv::cli
