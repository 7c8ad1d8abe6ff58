// dv.vcp: DV movies, raw and in AVI. Links nothing but the library; no codec library is ever mapped.
//
// Investigate answers the code "dvsd" and these attributes:
//     1  625 lines (PAL)            2  picture and sound in one stream (AVI type 1)
//     4  raw DIF frames, no AVI     8  the movie has sound
#include "codecs/common/Extensions.h"
#include "codecs/common/Tickets.h"
#include "codecs/dv/DvStream.h"

#include <cerrno>
#include <unistd.h>

namespace {

enum Attribute : int { kPal = 1, kType1 = 2, kRaw = 4, kHasSound = 8 };

constexpr const char* kExtensions[] = {"avi", "dv", "dif"};

// A name under which a movie can be written.
bool isFreeAviName(const char* path) {
    constexpr const char* kWritten[] = {"avi"};
    return qv::codec::hasExtension(path, kWritten) && access(path, F_OK) != 0 && errno == ENOENT;
}

} // namespace

namespace qv::codec {

std::span<const char* const> extensions() { return kExtensions; }

std::unique_ptr<MovieStream> openMovie(const char* path, std::uint32_t /*mode*/) {
    auto file = DvFile::open(path);
    return file ? std::make_unique<DvStream>(std::move(file)) : nullptr;
}

} // namespace qv::codec

extern "C" {

QV_PLUGIN_EXPORT uint32_t IsSupported(const char* path, int* supported) {
    return qv::guarded(uint32_t{QV_PLUGIN_FAILED}, [=] {
        if (qv::sniffDvFile(path) || isFreeAviName(path)) *supported = 1;
        return uint32_t{QV_PLUGIN_OK};
    });
}

QV_PLUGIN_EXPORT uint32_t Investigate(const char* path, int* attributes, uint32_t* type) {
    return qv::guarded(uint32_t{QV_PLUGIN_FAILED}, [=] {
        if (type) *type = 0;
        auto file = qv::DvFile::open(path);
        if (!file) return uint32_t{QV_PLUGIN_FAILED};
        int found = file->isPal() ? kPal : 0;
        if (file->container() == qv::DvContainer::AviType1) found |= kType1;
        if (file->container() == qv::DvContainer::Raw) found |= kRaw;
        qv::DvStream stream(std::move(file));
        WAVEFORMATEX sound{};
        if (stream.audioFormat(sound)) found |= kHasSound;
        if (attributes) *attributes = found;
        if (type) *type = makeFourCC('d', 'v', 's', 'd');
        return uint32_t{QV_PLUGIN_OK};
    });
}

} // extern "C"
