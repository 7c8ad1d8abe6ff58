// Picture files through CQVDIB beside the codec libraries' own calls: load, save, and what GetInfo says of many files.
// Files lie in memory (/dev/shm). Every answer is checked once before anything is measured. A peer gets what the codec
// library needs at least: memory that was taken before, and for JPEG a file that was read before.
#include "qvlibs/framework/Status.h"
#include "qvlibs/image/QVDib.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <png.h>
#include <tiffio.h>
#include <turbojpeg.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

struct Size {
    int width, height;
    std::string name() const { return std::to_string(width) + "x" + std::to_string(height); }
    size_t line() const { return size_t{3} * static_cast<size_t>(width); } // widths here are multiples of 4
    size_t bytes() const { return line() * static_cast<size_t>(height); }
};
constexpr Size kPhotos[] = {{4000, 3000}, {6000, 4000}};
constexpr Size kFrame = {1920, 1080};
constexpr int kManyFiles = 1000;

using Bytes = std::vector<unsigned char>;

void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "wrong answer: %s\n", what);
    std::exit(1);
}

// Soft colours with edges and a little noise, which compress as photographs do; rows from the top.
Bytes makePhoto(Size size) {
    Bytes bytes(size.bytes());
    std::mt19937 random(1);
    std::vector<double> wave(static_cast<size_t>(size.width));
    for (size_t x = 0; x < wave.size(); ++x) wave[x] = 50 * std::sin(static_cast<double>(x) / 37);
    size_t at = 0;
    for (int y = 0; y < size.height; ++y) {
        const double row = 60 * std::sin(y / 53.0);
        for (size_t x = 0; x < wave.size(); ++x) {
            const auto noise = static_cast<int>(random() % 9) - 4;
            const int edge = (x / 97 + static_cast<size_t>(y) / 61) % 5 == 0 ? 40 : 0;
            const int level = 128 + static_cast<int>(wave[x] + row) - edge + noise;
            for (const int tint : {-10, 0, 12})
                bytes[at++] = static_cast<unsigned char>(std::clamp(level + tint, 0, 255));
        }
    }
    return bytes;
}

Bytes readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void fill(CQVDIB& dib, Size size) {
    const Bytes photo = makePhoto(size);
    auto* pixels = new unsigned char[size.bytes()];
    for (size_t y = 0, rows = static_cast<size_t>(size.height); y < rows; ++y)
        std::memcpy(pixels + (rows - 1 - y) * size.line(), &photo[y * size.line()], size.line());
    dib.Init({size.width, size.height}, 24, pixels);
}

bool sameRows(CQVDIB& dib, const Bytes& bgr, Size size) {
    if (dib.GetWidth() != size.width || dib.GetHeight() != size.height) return false;
    const auto rows = static_cast<size_t>(size.height);
    for (size_t y = 0; y < rows; ++y) {
        if (std::memcmp(dib.GetBitsAddress() + (rows - 1 - y) * size.line(), &bgr[y * size.line()],
                        size.line()) != 0)
            return false;
    }
    return true;
}

// One kind of file: how the codec library itself reads it to BGR rows from the top, and writes such rows.
struct Kind {
    const char* name;
    const char* extension;
    int option1; // the same setting for CQVDIB::Save
    std::function<void(const fs::path&, Bytes&, Size)> load;
    std::function<void(const fs::path&, Bytes&, Size)> save;
};

void decodeJpeg(const Bytes& file, Bytes& rows, Size size) {
    const tjhandle codec = tjInitDecompress();
    require(tjDecompress2(codec, file.data(), file.size(), rows.data(), size.width, 0, size.height, TJPF_BGR,
                          0) == 0,
            "turbojpeg");
    tjDestroy(codec);
}

void loadPng(const fs::path& path, Bytes& rows, Size size) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop facts = png_create_info_struct(png);
    png_init_io(png, file);
    png_read_info(png, facts);
    png_set_bgr(png);
    for (int y = 0; y < size.height; ++y)
        png_read_row(png, &rows[static_cast<size_t>(y) * size.line()], nullptr);
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &facts, nullptr);
    std::fclose(file);
}

void savePng(const fs::path& path, Bytes& rows, Size size) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop facts = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_compression_level(png, 6);
    png_set_IHDR(png, facts, static_cast<png_uint_32>(size.width), static_cast<png_uint_32>(size.height), 8,
                 PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, facts);
    png_set_bgr(png);
    for (int y = 0; y < size.height; ++y) png_write_row(png, &rows[static_cast<size_t>(y) * size.line()]);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &facts);
    std::fclose(file);
}

// libtiff has no BGR: the caller of its own calls has to swap, here in the plainest way.
void swapRedBlue(unsigned char* line, size_t bytes) {
    for (size_t i = 0; i < bytes; i += 3) std::swap(line[i], line[i + 2]);
}

void loadTiff(const fs::path& path, Bytes& rows, Size size) {
    TIFF* tiff = TIFFOpen(path.c_str(), "r");
    for (int y = 0; y < size.height; ++y) {
        unsigned char* row = &rows[static_cast<size_t>(y) * size.line()];
        TIFFReadScanline(tiff, row, static_cast<uint32_t>(y), 0);
        swapRedBlue(row, size.line());
    }
    TIFFClose(tiff);
}

void saveTiff(const fs::path& path, Bytes& rows, Size size, uint16_t compression) {
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(size.width));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(size.height));
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    if (compression != COMPRESSION_NONE) TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 65536u / static_cast<uint32_t>(size.line()));
    Bytes line(size.line());
    for (int y = 0; y < size.height; ++y) {
        std::memcpy(line.data(), &rows[static_cast<size_t>(y) * size.line()], line.size());
        swapRedBlue(line.data(), line.size());
        TIFFWriteScanline(tiff, line.data(), static_cast<uint32_t>(y), 0);
    }
    TIFFClose(tiff);
}

const Kind kKinds[] = {
    {"png", "png", 0, loadPng, savePng},
    {"tiff-lzw", "tif", 0, loadTiff,
     [](const fs::path& path, Bytes& rows, Size size) { saveTiff(path, rows, size, COMPRESSION_LZW); }},
    {"tiff-none", "tif", 1, loadTiff,
     [](const fs::path& path, Bytes& rows, Size size) { saveTiff(path, rows, size, COMPRESSION_NONE); }},
};

void makeJpeg(const fs::path& path, Size size) {
    const Bytes photo = makePhoto(size);
    unsigned char* file = nullptr;
    unsigned long length = 0;
    const tjhandle codec = tjInitCompress();
    require(tjCompress2(codec, photo.data(), size.width, 0, size.height, TJPF_BGR, &file, &length, TJSAMP_420,
                        90, 0) == 0,
            "making a JPEG");
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<char*>(file), static_cast<std::streamsize>(length));
    tjFree(file);
    tjDestroy(codec);
}

void loadJpegOurs(benchmark::State& state, const fs::path& path, Size size) {
    Bytes rows(size.bytes());
    decodeJpeg(readFile(path), rows, size);
    CQVDIB dib;
    require(dib.Load(path.c_str(), 0) == QV_OK && sameRows(dib, rows, size), "JPEG load");
    for (auto _ : state) {
        CQVDIB picture;
        benchmark::DoNotOptimize(picture.Load(path.c_str(), 0));
    }
}

void loadJpegPeer(benchmark::State& state, const fs::path& path, Size size) {
    Bytes rows(size.bytes());
    const Bytes file = readFile(path);
    for (auto _ : state) decodeJpeg(file, rows, size);
}

void loadOurs(benchmark::State& state, const Kind& kind, const fs::path& path) {
    Bytes rows = makePhoto(kFrame);
    kind.save(path, rows, kFrame);
    CQVDIB dib;
    require(dib.Load(path.c_str(), 0) == QV_OK && sameRows(dib, rows, kFrame), kind.name);
    for (auto _ : state) {
        CQVDIB picture;
        benchmark::DoNotOptimize(picture.Load(path.c_str(), 0));
    }
}

void loadPeer(benchmark::State& state, const Kind& kind, const fs::path& path) {
    Bytes rows = makePhoto(kFrame);
    kind.save(path, rows, kFrame);
    for (auto _ : state) kind.load(path, rows, kFrame);
}

void saveOurs(benchmark::State& state, const Kind& kind, const fs::path& path) {
    CQVDIB dib;
    fill(dib, kFrame);
    Bytes rows(kFrame.bytes());
    require(dib.Save(path.c_str(), kind.option1, 0) == QV_OK, kind.name);
    kind.load(path, rows, kFrame);
    require(sameRows(dib, rows, kFrame), kind.name);
    for (auto _ : state) {
        fs::remove(path); // as for the peer: a new file
        benchmark::DoNotOptimize(dib.Save(path.c_str(), kind.option1, 0));
    }
}

void savePeer(benchmark::State& state, const Kind& kind, const fs::path& path) {
    Bytes rows = makePhoto(kFrame);
    for (auto _ : state) {
        fs::remove(path);
        kind.save(path, rows, kFrame);
    }
}

// Time of one iteration: a file.
void getInfo(benchmark::State& state, const fs::path& folder) {
    std::vector<std::string> paths;
    makeJpeg(folder / "info", {640, 480});
    for (int i = 0; i < kManyFiles; ++i) {
        paths.push_back(folder / ("info" + std::to_string(i) + ".jpg"));
        fs::copy_file(folder / "info", paths.back(), fs::copy_options::overwrite_existing);
    }
    CQVDIB dib;
    BITMAPINFOHEADER header{};
    CString text;
    size_t at = 0;
    for (auto _ : state) {
        require(dib.GetInfo(paths[at].c_str(), &header, text) == QV_OK && header.biWidth == 640, "GetInfo");
        at = (at + 1) % paths.size();
    }
}

template <class Function, class... Arguments>
void add(const std::string& name, benchmark::TimeUnit unit, Function function, Arguments... arguments) {
    benchmark::RegisterBenchmark(name.c_str(),
                                 [=](benchmark::State& state) { function(state, arguments...); })
        ->Unit(unit)
        ->UseRealTime();
}

} // namespace

int main(int argc, char** argv) {
    const fs::path folder = "/dev/shm/picture_bench." + std::to_string(::getpid());
    fs::create_directory(folder);
    for (const Size& size : kPhotos) {
        const fs::path path = folder / (size.name() + ".jpg");
        makeJpeg(path, size);
        add("load/own/jpeg-" + size.name(), benchmark::kMillisecond, loadJpegOurs, path, size);
        add("load/library/jpeg-" + size.name(), benchmark::kMillisecond, loadJpegPeer, path, size);
    }
    for (const Kind& kind : kKinds) {
        const fs::path path = folder / (std::string("frame.") + kind.extension);
        const std::string what = std::string(kind.name) + "-" + kFrame.name();
        add("load/own/" + what, benchmark::kMillisecond, loadOurs, kind, path);
        add("load/library/" + what, benchmark::kMillisecond, loadPeer, kind, path);
        add("save/own/" + what, benchmark::kMillisecond, saveOurs, kind, path);
        add("save/library/" + what, benchmark::kMillisecond, savePeer, kind, path);
    }
    add("info/own/jpeg-640x480", benchmark::kMicrosecond, getInfo, folder);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    fs::remove_all(folder);
}
