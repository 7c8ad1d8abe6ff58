#include "codecs/picture/PictureFormat.h"

#include <cstring>

namespace qv::codec {
namespace {
constexpr const char* kExtensions[] = {"png"};
}

const PictureFormat kPictureFormat = {"png.backend.so", kExtensions, 8,
                                      [](const unsigned char* head, size_t size) {
                                          return size >= 8 && memcmp(head, "\x89PNG\r\n\x1A\n", 8) == 0;
                                      }};

} // namespace qv::codec
