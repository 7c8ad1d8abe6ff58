// Any bytes as a picture with Exif.
#include "codecs/exif/ExifBackEnd.h"
#include "tests/fuzz/ByPath.h"

extern "C" const void* qvExifBackEnd();

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    const auto& exif = *static_cast<const qv::codec::ExifBackEnd*>(qvExifBackEnd());
    const qv::test::InputFile file(data, size);
    int first = 0, second = 0;
    exif.isExif(file.path(), &first);
    if (exif.getOrientation(file.path(), &first, &second) == 0 && (first < 0 || first > 8)) __builtin_trap();
    QVDATETIME time;
    if (exif.getDateTime(file.path(), &time) == 0 && (time.month < 1 || time.month > 12)) __builtin_trap();
    QVMAKERNOTESINK sink = {sizeof sink, nullptr, [](void*, const char*) {}, [](void*, uint16_t) {},
                            [](void*, uint32_t) {}};
    exif.getMakerNote(file.path(), &sink);
    return 0;
}
