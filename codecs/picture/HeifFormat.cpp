#include "codecs/picture/PictureFormat.h"

#include <cstring>

namespace qv::codec {
namespace {
constexpr const char* kExtensions[] = {"heic", "heif", "hif", "avif"};

// Movies begin with an "ftyp" box as well: the brand makes the difference.
bool isStill(const unsigned char* head, size_t size) {
    if (size < 12 || memcmp(head + 4, "ftyp", 4) != 0) return false;
    for (const char* brand : {"heic", "heix", "heim", "heis", "mif1", "avif"}) {
        if (memcmp(head + 8, brand, 4) == 0) return true;
    }
    return false;
}
} // namespace

const PictureFormat kPictureFormat = {"heif.backend.so", kExtensions, 12, isStill};

} // namespace qv::codec
