// qv desktop: small pictures for file managers, kept where the desktop keeps them.
//
// The freedesktop.org thumbnail standard: one PNG a file in thumbnails/SIZE of the user's cache folder, named by the MD5
// sum of the file's URI, readable by its owner alone, with the URI and the time of the file in its text chunks. What
// cannot be shown has an empty picture in thumbnails/fail/qv-VERSION, so that nobody tries again before the file changes.
#include "qvlibs/framework/Status.h"
#include "qvlibs/library/Version.h"
#include "qvlibs/plugins/PluginInfo.h"
#include "qvlibs/util/AtomicFile.h"
#include "tools/qv/Movie.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>

#include <fcntl.h>
#include <md5.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

namespace qv::cli {
namespace {

namespace fs = std::filesystem;

struct Options {
    std::vector<std::string> files;
    std::string out;
    int size = 256;
};

constexpr struct {
    int pixels;
    const char* folder;
} kSizes[] = {{128, "normal"}, {256, "large"}, {512, "x-large"}, {1024, "xx-large"}};

constexpr double kSecondsIn = 5; // the first pictures of a tape are often black

// The absolute path as a URI; the characters that stay are those that desktops leave.
std::string uriOf(const fs::path& path) {
    std::string uri = "file://";
    for (const char c : path.native()) {
        const auto byte = static_cast<unsigned char>(c);
        const bool plain = byte < 0x80 && (std::isalnum(byte) || std::strchr("!$&'()*+,-./:=@_~", c));
        if (plain) {
            uri += c;
        } else {
            constexpr char digits[] = "0123456789ABCDEF";
            uri += {'%', digits[byte >> 4], digits[byte & 15]};
        }
    }
    return uri;
}

// A file with what its entry in the cache says of it.
struct Source {
    std::string path;
    std::string uri;
    std::string modified; // seconds since 1970
    std::string size;
};

fs::path cacheFolder() {
    const char* const cache = std::getenv("XDG_CACHE_HOME");
    if (cache && *cache == '/') return fs::path(cache) / "thumbnails";
    const char* const home = std::getenv("HOME");
    return fs::path(home ? home : "/") / ".cache/thumbnails";
}

std::string entryName(const std::string& uri) {
    char digits[MD5_DIGEST_STRING_LENGTH];
    MD5Data(reinterpret_cast<const std::uint8_t*>(uri.data()), uri.size(), digits);
    return std::string(digits) + ".png";
}

void appendNumber(std::string& bytes, unsigned long value) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
}

std::string textChunk(const std::string& key, const std::string& value) {
    const std::string body = "tEXt" + key + '\0' + value;
    std::string chunk;
    appendNumber(chunk, body.size() - 4);
    chunk += body;
    appendNumber(chunk,
                 crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size())));
    return chunk;
}

constexpr size_t kBehindHeader = 8 + 12 + 13; // the signature and the first chunk of a PNG

std::string withTexts(const std::string& png, const Source& source) {
    const std::string texts =
        textChunk("Thumb::URI", source.uri) + textChunk("Thumb::MTime", source.modified) +
        textChunk("Thumb::Size", source.size) + textChunk("Software", std::string("qv ") + libraryVersion());
    return png.substr(0, kBehindHeader) + texts + png.substr(kBehindHeader);
}

std::string bytesOf(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

// Whether the entry was made of the file as it is now, by whomever.
bool isFresh(const fs::path& entry, const Source& source) {
    const std::string png = bytesOf(entry);
    return png.find(textChunk("Thumb::URI", source.uri)) != std::string::npos &&
           png.find(textChunk("Thumb::MTime", source.modified)) != std::string::npos;
}

// Folders and files of the cache are their owner's alone.
bool store(const fs::path& entry, const std::string& png) {
    std::error_code wrong;
    const mode_t before = umask(077);
    fs::create_directories(entry.parent_path(), wrong);
    umask(before);
    AtomicFile file(entry.native());
    return file.isOpen() && fchmod(file.descriptor(), 0600) == 0 && file.write(png.data(), png.size()) &&
           file.commit();
}

// The largest size of this shape in a square of `pixels`, never larger than the picture.
SIZE inSquare(SIZE natural, int pixels) {
    const double scale = std::min(1.0, static_cast<double>(pixels) / std::max(natural.cx, natural.cy));
    return {std::max<LONG>(1, std::lround(natural.cx * scale)),
            std::max<LONG>(1, std::lround(natural.cy * scale))};
}

int showMovie(const std::string& path, int pixels, CQVDIB& picture) {
    int code = Done;
    const auto movie = Movie::open(path, code);
    if (!movie) return code;
    const double later = kSecondsIn * movie->rate().rate / movie->rate().scale;
    for (const LONG frame : {later < INT32_MAX ? static_cast<LONG>(later) : LONG{0}, LONG{0}}) {
        Movie::Layout layout;
        layout.type = DIB_TYPE_SQUARE;
        layout.size = inSquare(movie->naturalSize(frame), pixels);
        if (movie->picture(frame, layout, picture)) return Done;
    }
    return movie->whyNoFrame(0);
}

int showPicture(const std::string& path, int pixels, CQVDIB& picture) {
    if (const int code = loadPicture(path, picture, {pixels, pixels}); code != Done) return code;
    if (!turnMirrored(picture, picture.GetOrientation())) return error(Failed, "out of memory");
    const SIZE size = inSquare({picture.GetWidth(), picture.GetHeight()}, pixels);
    if (picture.ResizeFilter(size, nullptr, RESIZE_OPTION_STRETCH, DIB_TYPE_SQUARE, DIB_TYPE_SQUARE,
                             RESIZE_METHOD_DEFAULT) != 0)
        return error(Failed, path + ": cannot be made that small");
    return Done;
}

int pngOf(CQVDIB& picture, std::string& png) {
    std::string folder = (fs::temp_directory_path() / "qv-XXXXXX").native();
    if (!mkdtemp(folder.data())) return error(Failed, folder + ": " + std::strerror(errno));
    const std::string file = folder + "/picture.png";
    const int saved = savePicture(picture, file);
    png = bytesOf(file);
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    if (saved == Done && png.size() <= kBehindHeader) return error(Failed, file + ": is no PNG");
    return saved;
}

// The file's picture as a PNG.
int thumbnailOf(const std::string& path, int pixels, std::string& png) {
    const std::unique_ptr<CPluginInfo> plugin(LoadVideoCodecPlugIn(path.c_str()));
    CQVDIB picture;
    const int shown = plugin ? showMovie(path, pixels, picture) : showPicture(path, pixels, picture);
    return shown == Done ? pngOf(picture, png) : shown;
}

// What stands in the cache for a file that cannot be shown: a picture of one dot.
int nothingOf(std::string& png) {
    CQVDIB dot;
    if (dot.Init(CSize(1, 1), 24, new (std::nothrow) unsigned char[4]()) != QV_OK)
        return error(Failed, "out of memory");
    return pngOf(dot, png);
}

struct Entry {
    const char* state; // "fresh", "made" or "failed"
    fs::path path;
};

int cacheOne(const std::string& given, int pixels, std::optional<Entry>& entry) {
    struct stat status {};
    if (stat(given.c_str(), &status) != 0) return fileError(given, errno);
    const fs::path path = fs::absolute(given).lexically_normal();
    const fs::path cache = cacheFolder();
    if (path.native().starts_with(cache.native() + "/"))
        return error(NotSupported, given + ": lies in the cache of small pictures itself");
    const Source source = {given, uriOf(path), std::to_string(status.st_mtime),
                           std::to_string(status.st_size)};
    const std::string name = entryName(source.uri);
    const auto* const size =
        std::find_if(std::begin(kSizes), std::end(kSizes), [&](auto& row) { return row.pixels == pixels; });
    const fs::path made = cache / size->folder / name;
    const fs::path failed = cache / "fail" / (std::string("qv-") + libraryVersion()) / name;
    if (isFresh(made, source)) {
        entry = {"fresh", made};
        return Done;
    }
    if (isFresh(failed, source)) {
        entry = {"failed", failed};
        return error(NotSupported, given + ": could not be shown before, and has not changed since");
    }
    std::string png;
    const int code = thumbnailOf(given, pixels, png);
    const bool hopeless = code == NotSupported || code == Damaged;
    if (hopeless ? nothingOf(png) != Done : code != Done) return code;
    const fs::path& target = hopeless ? failed : made;
    if (!store(target, withTexts(png, source))) return error(Failed, target.native() + ": cannot be written");
    entry = {hopeless ? "failed" : "made", target};
    return code;
}

int runCache(const Options& options, const Common& common) {
    int code = Done;
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    Progress progress(common, "desktop");
    for (size_t i = 0; i < options.files.size() && !interrupted(); ++i) {
        progress.show(static_cast<double>(i) / static_cast<double>(options.files.size()), options.files[i]);
        std::optional<Entry> entry;
        const int one = cacheOne(options.files[i], options.size, entry);
        if (code == Done) code = one;
        if (!entry) continue;
        if (common.json) {
            all.push_back(
                {{"file", options.files[i]}, {"state", entry->state}, {"picture", entry->path.native()}});
        } else {
            progress.hide();
            message(common, options.files[i] + ": " + entry->state);
        }
    }
    if (common.json) printJson(all);
    return interrupted() ? Interrupted : code;
}

int run(const Options& options, const Common& common) {
    if (options.out.empty()) return runCache(options, common);
    if (options.files.size() != 1) return error(Usage, "--output takes one file");
    std::string png;
    if (const int code = thumbnailOf(options.files[0], options.size, png); code != Done) return code;
    if (const int code = writeFile(options.out, png); code != Done) return code;
    if (common.json) printJson({{{"file", options.files[0]}, {"state", "made"}, {"picture", options.out}}});
    return Done;
}

} // namespace

std::function<int()> setupDesktop(CLI::App& app, const Common& common) {
    auto options = std::make_shared<Options>();
    app.add_option("FILE", options->files, "Movies and pictures")->required();
    app.add_option("-o,--output", options->out,
                   "Write one file's picture here, a PNG, and not into the cache");
    app.add_option("--size", options->size, "Pixels on the longer side; small pictures are not enlarged")
        ->check(CLI::IsMember({128, 256, 512, 1024}))
        ->capture_default_str();
    return [options, &common] { return run(*options, common); };
}

} // namespace qv::cli
