#include "codecs/picture/PictureFormat.h"

#include <cstring>

namespace qv::codec {
namespace {
constexpr const char* kExtensions[] = {"tif", "tiff"};
}

// The classic form and the one with 64-bit offsets, in both byte orders.
const PictureFormat kPictureFormat = {
    "tiff.backend.so", kExtensions, 4, [](const unsigned char* head, size_t size) {
        return size >= 4 && (memcmp(head, "II*\0", 4) == 0 || memcmp(head, "MM\0*", 4) == 0 ||
                             memcmp(head, "II+\0", 4) == 0 || memcmp(head, "MM\0+", 4) == 0);
    }};

} // namespace qv::codec
