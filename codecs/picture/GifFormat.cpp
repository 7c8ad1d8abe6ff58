#include "codecs/picture/PictureFormat.h"

#include <cstring>

namespace qv::codec {
namespace {
constexpr const char* kExtensions[] = {"gif"};
}

const PictureFormat kPictureFormat = {
    "gif.backend.so", kExtensions, 6, [](const unsigned char* head, size_t size) {
        return size >= 6 && (memcmp(head, "GIF87a", 6) == 0 || memcmp(head, "GIF89a", 6) == 0);
    }};

} // namespace qv::codec
