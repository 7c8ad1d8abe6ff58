// Any bytes as an MTV side file.
#include "qvlibs/sidefiles/MtvFiles.h"
#include "tests/fuzz/ByPath.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    const qv::test::InputFile file(data, size);
    MtvAtrTag record;
    const int loaded = QVTLGetMtvAtr(file.path(), &record);
    if (loaded != (size == sizeof record)) __builtin_trap();
    if (QVTLGetMtvLinkMPGFilename(file.path()).GetLength() > 255) __builtin_trap();
    return 0;
}
