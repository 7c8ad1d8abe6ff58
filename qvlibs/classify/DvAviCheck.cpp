// Whether a file is a DV AVI that the suite can use: its headers are read, no codec is asked.
#include "qvlibs/classify/CachedCheck.h"
#include "qvlibs/classify/MediaTypes.h"
#include "qvlibs/framework/File.h"
#include "qvlibs/platform/AviHeader.h"
#include "qvlibs/util/Bytes.h"

#include <cstring>

namespace qv {
namespace {

constexpr size_t kLongestPath = 199; // the probe's own limit, on purpose
constexpr DWORD kShortestMovie = 5;  // frames
constexpr size_t kPlainFormat = 16; // a wave format without the size of what follows, as many writers have it

bool isDv(DWORD handler) {
    return handler == makeFourCC('d', 'v', 's', 'd') || handler == makeFourCC('D', 'V', 'S', 'D');
}

bool isUsableSound(const AviStream& stream) {
    ByteReader in(stream.format);
    in.skip(2);
    const WORD channels = in.u16();
    const DWORD rate = in.u32();
    in.skip(6);
    const WORD bits = in.u16();
    if (stream.format.size() < kPlainFormat || in.failed()) return false;
    if (rate == 0) return true;
    return (rate == 48000 || rate == 44100 || rate == 32000) && channels == 2 && bits == 16;
}

} // namespace

int testDvAvi(const char* path, unsigned flags) {
    if (!QVTLCheckExtensionAVI(path) || std::strlen(path) > kLongestPath) return 0;
    CFile file;
    if (!file.Open(path, CFile::modeRead | CFile::shareDenyNone)) return 0;
    const auto header = readAviHeader(aviBytesOf(file.Descriptor()));
    if (!header) return 0;
    const int video = header->find(makeFourCC('v', 'i', 'd', 's'));
    const int audio = header->find(makeFourCC('a', 'u', 'd', 's'));
    if (video < 0 || !isDv(header->streams[static_cast<size_t>(video)].handler)) return 0;
    if (header->length(video) < kShortestMovie) return 0;
    if (audio >= 0 && !isUsableSound(header->streams[static_cast<size_t>(audio)])) return 0;
    return testFrameRate(path, flags);
}

} // namespace qv
