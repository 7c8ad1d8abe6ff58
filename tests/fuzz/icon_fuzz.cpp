// Any bytes as a Windows module with icons.
#include "qvlibs/image/QVDib.h"
#include "tests/fuzz/ByPath.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    const qv::test::InputFile file(data, size);
    CQVDIB icon;
    if (icon.GetIconFromBinary(file.path(), 16) && icon.GetBitCount() != 24) __builtin_trap();
    return 0;
}
