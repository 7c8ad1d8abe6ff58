// Any bytes as a picture of the codec whose back end is linked in.
#include "codecs/picture/PackedDib.h"
#include "codecs/picture/PictureBackEnd.h"
#include "tests/fuzz/ByPath.h"

// The leak sanitizer asks for this: libheif's AV1 decoder loses the pictures that end in an error.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() { return "leak:heif_image_create\nleak:libdav1d\n"; }

extern "C" const void* qvPictureBackEnd();

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    const auto& codec = *static_cast<const qv::codec::PictureBackEnd*>(qvPictureBackEnd());
    const qv::test::InputFile file(data, size);
    QVPICTUREINFO info{};
    codec.info(file.path(), &info);
    for (const auto wanted : {qv::codec::WantedSize{}, qv::codec::WantedSize{2, 2}}) {
        const auto block = static_cast<HGLOBAL>(codec.decode(file.path(), wanted));
        if (!block) continue;
        if (!qv::codec::GivenPicture(block).isOpen()) __builtin_trap(); // what is handed out makes sense
        GlobalFree(block);
    }
    return 0;
}
