#include "codecs/picture/PictureFormat.h"

namespace qv::codec {
namespace {
constexpr const char* kExtensions[] = {"jpg", "jpeg", "jpe", "jfif"};
}

const PictureFormat kPictureFormat = {
    "jpeg.backend.so", kExtensions, 3, [](const unsigned char* head, size_t size) {
        return size >= 3 && head[0] == 0xFF && head[1] == 0xD8 && head[2] == 0xFF;
    }};

} // namespace qv::codec
