// The picture modules through their exports, judged by ImageMagick where it is installed.
#include "codecs/picture/PackedDib.h"
#include "qvlibs/image/MaxDecodeSize.h"
#include "qvlibs/plugins/plugin_api.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <sstream>

#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace fs = std::filesystem;
using qv::codec::GivenPicture;
using qv::test::makeFolder;
using qv::test::readFile;
using qv::test::run;
using qv::test::writeFile;

// The leak sanitizer asks for this: what video coders under libheif lose is not ours to find.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() { return "leak:libx265\nleak:libdav1d\n"; }

namespace {

const std::vector<std::string> kOptional{"webp", "heif"};

struct Module {
    explicit Module(const std::string& name)
        : handle(dlopen((qv::test::buildFolder() / "lib/qvlibs" / (name + ".pcp")).c_str(),
                        RTLD_NOW | RTLD_LOCAL)) {}
    template <class Function>
    Function* find(const char* name) const {
        return handle ? reinterpret_cast<Function*>(dlsym(handle, name)) : nullptr;
    }
    HGLOBAL decode(const fs::path& path) const {
        return static_cast<HGLOBAL>(find<void*(const char*)>("Decode")(path.c_str()));
    }
    uint32_t encode(HGLOBAL block, const fs::path& path, int option1 = 0, int option2 = 0) const {
        return find<uint32_t(void*, const char*, int32_t, int32_t)>("Encode")(block, path.c_str(), option1,
                                                                              option2);
    }
    bool isSupported(const fs::path& path) const {
        int answer = 0;
        find<uint32_t(const char*, int*)>("IsSupported")(path.c_str(), &answer);
        return answer != 0;
    }
    uint32_t info(const fs::path& path, QVPICTUREINFO& info) const {
        return find<uint32_t(const char*, QVPICTUREINFO*)>("GetStillImageInfo")(path.c_str(), &info);
    }
    void* handle;
};

// A packed 24-bit picture with smooth colours and some noise.
HGLOBAL makePicture(int width, int height, unsigned seed = 1) {
    qv::codec::NewPicture picture(width, height);
    std::mt19937 random(seed);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            uint8_t* pixel = picture.row(y) + 3 * x;
            pixel[0] = static_cast<uint8_t>(x * 255 / width);
            pixel[1] = static_cast<uint8_t>(y * 255 / height);
            pixel[2] = static_cast<uint8_t>((x + y + static_cast<int>(random() % 8)) % 256);
        }
    }
    picture.setResolution(2835, 5669);
    return picture.take();
}

std::string rgbOf(HGLOBAL block) {
    GivenPicture picture(block);
    std::string bytes(size_t{3} * static_cast<size_t>(picture.width() * picture.height()), '\0');
    for (int y = 0; y < picture.height(); ++y) {
        picture.rowRgb(
            y, reinterpret_cast<uint8_t*>(&bytes[size_t{3} * static_cast<size_t>(y * picture.width())]));
    }
    return bytes;
}

int largestDifference(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return 256;
    int largest = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        largest =
            std::max(largest, std::abs(static_cast<unsigned char>(a[i]) - static_cast<unsigned char>(b[i])));
    }
    return largest;
}

std::string magickRgb(const fs::path& path) {
    return run({"convert", path.string() + "[0]", "-background", "white", "-alpha", "remove", "-depth", "8",
                "rgb:-"})
        .out;
}

bool isBuilt(const std::string& name) {
    return fs::exists(qv::test::buildFolder() / "lib/qvlibs" / (name + ".pcp"));
}

// The last two only where their libraries are.
std::vector<std::string> modules() {
    std::vector<std::string> names{"jpeg", "png", "tiff", "gif"};
    std::copy_if(kOptional.begin(), kOptional.end(), std::back_inserter(names), isBuilt);
    return names;
}

std::string fileName(const std::string& stem, const std::string& module) {
    return stem + "." + (module == "heif" ? "heic" : module);
}

} // namespace

TEST(PictureCodecs, WhatIsWrittenReadsTheSameHereAndElsewhere) {
    const struct {
        std::string module;
        int option1, option2, tolerance;
    } rows[] = {{"png", 0, 0, 0},   {"png", 1, 0, 0},  {"png", 9, 0, 0},   {"tiff", 0, 0, 0},
                {"tiff", 1, 0, 0},  {"tiff", 2, 0, 0}, {"jpeg", 0, 0, 64}, {"jpeg", 100, 1, 6},
                {"gif", 0, 0, 96},  {"webp", 0, 1, 0}, {"webp", 0, 0, 96}, {"heif", 0, 0, 64},
                {"heif", 100, 1, 8}};
    const fs::path folder = makeFolder("out");
    for (const auto& row : rows) {
        for (const int width : {1, 2, 3, 5, 37, 160}) {
            if (std::count(kOptional.begin(), kOptional.end(), row.module) && !isBuilt(row.module)) continue;
            SCOPED_TRACE(row.module + " " + std::to_string(row.option1) + " " + std::to_string(width));
            const Module module(row.module);
            ASSERT_TRUE(module.handle);
            const HGLOBAL picture = makePicture(width, 41);
            const fs::path path = folder / fileName("a", row.module);
            EXPECT_TRUE(module.isSupported(path)) << "by its name, before it is written";
            ASSERT_EQ(module.encode(picture, path, row.option1, row.option2), 0u);
            EXPECT_TRUE(module.isSupported(path));
            const HGLOBAL back = module.decode(path);
            ASSERT_TRUE(back);
            EXPECT_LE(largestDifference(rgbOf(picture), rgbOf(back)), row.tolerance);
            if (row.module == "jpeg" || row.module == "png" || row.module == "tiff") {
                EXPECT_NEAR(GivenPicture(back).header().biXPelsPerMeter, 2835, 20);
                EXPECT_NEAR(GivenPicture(back).header().biYPelsPerMeter, 5669, 20);
            }
            QVPICTUREINFO info;
            ASSERT_EQ(module.info(path, info), 0u);
            EXPECT_EQ(info.width, width);
            EXPECT_EQ(info.height, 41);
            if (width == 37 && qv::test::hasProgram("convert")) {
                // Lossy formats leave the rounding, and how colours of half resolution are widened, to the reader.
                const int judged = row.tolerance == 0 || row.module == "gif" ? 0
                                   : row.module == "heif"                    ? 16
                                                                             : 3;
                EXPECT_LE(largestDifference(rgbOf(back), magickRgb(path)), judged);
            }
            GlobalFree(picture);
            GlobalFree(back);
            fs::remove(path);
        }
    }
    EXPECT_TRUE(fs::is_empty(folder));
}

TEST(PictureCodecs, SourcesOfEveryDepthAreEncoded) {
    const fs::path folder = makeFolder("depths");
    for (const int bits : {1, 4, 8, 16, 24, 32}) {
        const size_t entries = bits <= 8 ? size_t{1} << bits : bits == 24 ? 0 : 3;
        const size_t line = static_cast<size_t>((7 * bits + 31) / 32 * 4);
        const HGLOBAL block = GlobalAlloc(GHND, 40 + 4 * entries + line * 5);
        auto* bytes = static_cast<uint8_t*>(GlobalLock(block));
        BITMAPINFOHEADER header{40, 7, 5, 1, static_cast<WORD>(bits), 0, 0, 0, 0, 0, 0};
        if (bits == 16 || bits == 32) {
            header.biCompression = BI_BITFIELDS;
            const uint32_t masks[2][3] = {{0xF800, 0x07E0, 0x001F}, {0xFF0000, 0xFF00, 0xFF}};
            memcpy(bytes + 40, masks[bits == 32], 12);
        }
        memcpy(bytes, &header, 40);
        for (size_t i = 0; bits <= 8 && i < entries; ++i)
            bytes[40 + 4 * i + 1] = static_cast<uint8_t>(255 * i / (entries - 1));
        memset(bytes + 40 + 4 * entries, 0xFF, line * 5);
        for (const char* name : {"png", "tiff"}) {
            SCOPED_TRACE(std::string(name) + " " + std::to_string(bits));
            const Module module(name);
            const fs::path path = folder / (std::to_string(bits) + "." + name);
            ASSERT_EQ(module.encode(block, path), 0u);
            const HGLOBAL back = module.decode(path);
            ASSERT_TRUE(back);
            EXPECT_EQ(rgbOf(back), rgbOf(block));
            // All bits set: the last entry is pure green; 5-6-5 gives F8, FC, F8; true colours give white.
            const std::string first = rgbOf(back).substr(0, 3);
            EXPECT_EQ(first, bits <= 8    ? std::string("\0\xFF\0", 3)
                             : bits == 16 ? "\xF8\xFC\xF8"
                                          : "\xFF\xFF\xFF");
            GlobalFree(back);
        }
        // A block that is shorter than its header says is refused.
        const HGLOBAL cut = GlobalAlloc(GHND, 40 + 4 * entries + line * 5 - 1);
        memcpy(GlobalLock(cut), bytes, GlobalSize(cut));
        EXPECT_NE(Module("png").encode(cut, folder / "cut.png"), 0u);
        EXPECT_FALSE(fs::exists(folder / "cut.png"));
        GlobalFree(cut);
        GlobalFree(block);
    }
}

TEST(PictureCodecs, EveryTruncationIsReported) {
    const fs::path folder = makeFolder("cut");
    for (const std::string& name : modules()) {
        const Module module(name);
        const HGLOBAL picture = makePicture(40, 30);
        const fs::path whole = folder / fileName("whole", name);
        ASSERT_EQ(module.encode(picture, whole), 0u);
        GlobalFree(picture);
        const std::string bytes = readFile(whole);
        // JPEG ends in a two-byte marker without picture data, TIFF keeps its directory at the end.
        size_t passed = 0;
        for (size_t size = 0; size<bytes.size(); size += bytes.size()> 600 ? 7 : 1) {
            const fs::path path = folder / fileName("cut", name);
            writeFile(path, bytes.substr(0, size));
            if (const HGLOBAL back = module.decode(path)) {
                GlobalFree(back);
                ++passed;
            }
        }
        EXPECT_LE(passed, name == "gif" ? 2u : 0u) << name << ": GIF may lack its last byte, the trailer";
    }
}

TEST(PictureCodecs, HugeSizesInSmallFilesAreRefusedBeforeMemoryIsTaken) {
    using namespace std::string_literals;
    const struct {
        std::string module, before; // the size follows `skip` bytes after these
        size_t skip;
        std::string size;
    } rows[] = {{"jpeg", "\xFF\xC0"s, 3, "\xEA\x60\xEA\x60"s},
                {"png", "IHDR"s, 0, "\0\0\xEA\x60\0\0\xEA\x60"s},
                {"gif", "GIF"s, 3, "\xFF\xFF\xFF\xFF"s},
                {"webp", "VP8 "s, 10, "\xFF\x3F\xFF\x3F"s},
                {"heif", "ispe"s, 4, "\0\0\xEA\x60\0\0\xEA\x60"s}};
    const fs::path folder = makeFolder("huge");
    for (const auto& row : rows) {
        if (!isBuilt(row.module)) continue;
        SCOPED_TRACE(row.module);
        const Module module(row.module);
        const fs::path path = folder / fileName("huge", row.module);
        const HGLOBAL picture = makePicture(64, 64);
        ASSERT_EQ(module.encode(picture, path), 0u);
        GlobalFree(picture);
        std::string bytes = readFile(path);
        size_t at = bytes.find(row.before);
        ASSERT_NE(at, std::string::npos);
        for (; at != std::string::npos; at = bytes.find(row.before, at + 1))
            bytes.replace(at + row.before.size() + row.skip, row.size.size(), row.size);
        writeFile(path, bytes);
        EXPECT_EQ(module.decode(path), nullptr);
    }
    qv::codec::NewPicture tooLarge(60000, 60000);
    EXPECT_FALSE(tooLarge.isOpen());
    // The bytes of this header, its table and its rows are 2^64 + 40.
    const HGLOBAL wrapping = GlobalAlloc(GHND, 40);
    const BITMAPINFOHEADER header{40, INT32_MAX, INT32_MAX, 1, 32, BI_RGB, 0, 0, 0, UINT32_MAX, 0};
    memcpy(GlobalLock(wrapping), &header, 40);
    EXPECT_FALSE(GivenPicture(wrapping).isOpen());
    GlobalFree(wrapping);
}

TEST(PictureCodecs, OddPicturesAndNoPictures) {
    const fs::path folder = makeFolder("odd"), gif = folder / "a.gif", jpeg = folder / "a.jpg";
    qv::codec::NewPicture made(64, 48);
    memset(made.row(47), 0, 48 * made.lineBytes());
    made.setResolution(9e6, 10);
    const HGLOBAL picture = made.take();
    ASSERT_EQ(Module("jpeg").encode(picture, jpeg), 0u);
    const HGLOBAL back = Module("jpeg").decode(jpeg);
    EXPECT_NEAR(GivenPicture(back).header().biXPelsPerMeter, 65535 / 0.0254, 1)
        << "as fine as a JPEG can say";
    EXPECT_NEAR(GivenPicture(back).header().biYPelsPerMeter, 1 / 0.0254, 1);
    ASSERT_EQ(Module("gif").encode(picture, gif), 0u);
    std::string bytes = readFile(gif);
    writeFile(gif, bytes.replace(6, 4, 4, '\0')); // no canvas
    QVPICTUREINFO info;
    ASSERT_EQ(Module("gif").info(gif, info), 0u);
    EXPECT_EQ(info.width, 64);
    EXPECT_EQ(info.height, 48);
    ASSERT_EQ(mkfifo((folder / "pipe.png").c_str(), 0600), 0);
    EXPECT_FALSE(Module("png").isSupported(folder / "pipe.png")) << "it would be waited for";
    GlobalFree(back);
    GlobalFree(picture);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(PictureCodecs, WithoutMemoryAnEncodeFails) {
    const fs::path path = makeFolder("memory") / "a.gif";
    const HGLOBAL picture = makePicture(3000, 2000), small = makePicture(4, 4);
    const Module gif("gif");
    ASSERT_EQ(gif.encode(small, path), 0u); // maps the library
    const auto pages = static_cast<rlim_t>(std::stoul(readFile("/proc/self/statm")));
    const rlimit most{pages * 4096 + (8 << 20), RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &most), 0);
    EXPECT_NE(gif.encode(picture, path), 0u);
    GlobalFree(picture);
    GlobalFree(small);
}
#endif

TEST(PictureCodecs, AReducedDecodeStaysLargeEnough) {
    const Module module("jpeg");
    const fs::path path = makeFolder("reduced") / "a.jpg";
    const HGLOBAL picture = makePicture(800, 600);
    ASSERT_EQ(module.encode(picture, path), 0u);
    GlobalFree(picture);
    const auto atLeast = module.find<void*(const char*, int32_t, int32_t)>("DecodeAtLeast");
    const struct {
        int wanted, width;
    } rows[] = {{0, 800}, {50, 100}, {51, 200}, {200, 400}, {201, 800}, {5000, 800}};
    for (const auto& row : rows) {
        const auto block = static_cast<HGLOBAL>(atLeast(path.c_str(), row.wanted, row.wanted * 3 / 4));
        ASSERT_TRUE(block);
        EXPECT_EQ(GivenPicture(block).width(), row.width) << row.wanted;
        GlobalFree(block);
    }
}

// Four readers' MD5s of the rows lie beside the pictures: ours is one of them, where no transparency is
// involved.
TEST(PictureCodecs, OthersFilesReadAsOtherReadersReadThem) {
    QV_NEEDS_MEDIA(media);
    std::istringstream table(readFile(media / "pictures/expected_pictures.tsv"));
    const fs::path rows = makeFolder("rows") / "rgb";
    int compared = 0, refused = 0;
    std::string differences;
    for (std::string line; std::getline(table, line);) {
        std::vector<std::string> cells;
        std::istringstream words(line);
        for (std::string cell; std::getline(words, cell, '\t');) cells.push_back(cell);
        if (cells.size() < 25 || cells[24][0] < '3') continue; // fewer than three readers agree
        for (const char* name : {"png", "tiff", "gif"}) {
            const fs::path file = media / "pictures" / cells[0];
            const Module module(name);
            if (!module.isSupported(file) || cells[18].ends_with('A') || cells[16] == "refused" ||
                cells[0].find("bgwn6a08") != std::string::npos)
                continue;
            const HGLOBAL block = module.decode(file);
            if (!block) ++refused; // giflib stops at an unusual code table that others get over
            if (!block) continue;
            writeFile(rows, rgbOf(block));
            GlobalFree(block);
            const std::string md5 = run({"md5sum", rows.string()}).out.substr(0, 32);
            ++compared;
            if (std::find(cells.begin() + 15, cells.end(), md5) == cells.end()) differences += line + "\n";
        }
    }
    EXPECT_GT(compared, 40);
    EXPECT_LE(refused, 2);
    EXPECT_EQ(differences, "");
}

TEST(PictureCodecs, DamagedFilesEndInAResult) {
    QV_NEEDS_MEDIA(media);
    int read = 0;
    for (const char* set : {"pictures", "malformed", "exif"}) {
        for (const auto& entry : fs::recursive_directory_iterator(media / set)) {
            for (const std::string& name : modules()) {
                const Module module(name);
                if (!entry.is_regular_file() || !module.isSupported(entry.path())) continue;
                QVPICTUREINFO info;
                module.info(entry.path(), info);
                if (const HGLOBAL block = module.decode(entry.path())) {
                    EXPECT_TRUE(GivenPicture(block).isOpen());
                    GlobalFree(block);
                    ++read;
                }
            }
        }
    }
    EXPECT_GT(read, 80);
}
