// Any bytes as a picture with Exif.
#include "codecs/exif/ExifBackEnd.h"
#include "tests/fuzz/ByPath.h"

#include <filesystem>

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
    // What was written says so, and takes the properties once more.
    static const std::string target =
        std::filesystem::temp_directory_path() / ("exif_fuzz." + std::to_string(getpid()));
    if (exif.setOrientation(file.path(), target.c_str(), 6) == 0) {
        if (exif.getOrientation(target.c_str(), &first, &second) != 0 || first != 6) __builtin_trap();
        exif.copyProperties(file.path(), target.c_str(), 1);
        unlink(target.c_str());
    }
    return 0;
}
