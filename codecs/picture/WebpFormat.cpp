#include "codecs/picture/PictureFormat.h"

#include <cstring>

namespace qv::codec {
namespace {
constexpr const char* kExtensions[] = {"webp"};
}

const PictureFormat kPictureFormat = {
    "webp.backend.so", kExtensions, 12, [](const unsigned char* head, size_t size) {
        return size >= 12 && memcmp(head, "RIFF", 4) == 0 && memcmp(head + 8, "WEBP", 4) == 0;
    }};

} // namespace qv::codec
