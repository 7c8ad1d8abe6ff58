// Any bytes as a title: read, and one small picture of each kind rendered in a block of its exact size.
#include "codecs/title/TitleRenderer.h"

#include <vector>

extern "C" const void* qvTitleBackEnd();

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    const auto title = qv::codec::readTitle({reinterpret_cast<const char*>(data), size});
    if (!title) return 0;
    if (title->width < 1 || title->height < 1 || title->milliseconds < 0) __builtin_trap();
    const auto* backEnd = static_cast<const qv::codec::TitleBackEnd*>(qvTitleBackEnd());
    const auto renderer = backEnd->make(*title);
    for (const bool alpha : {false, true}) {
        const qv::codec::TitlePicture picture = {45, 30, alpha};
        std::vector<std::uint8_t> bits(picture.pitch() * 30);
        if (renderer) renderer->render(title->milliseconds / 2, picture, bits.data());
    }
    return 0;
}
