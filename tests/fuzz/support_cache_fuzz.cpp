// Any bytes as the support-check cache; what is trusted can be written and read again.
#include "qvlibs/classify/SupportCache.h"
#include "tests/fuzz/ByPath.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    const qv::test::InputFile file(data, size);
    qv::SupportCache cache;
    cache.open(file.path());
    const size_t trusted = cache.size();
    if (trusted * 100 > size) __builtin_trap(); // an element has more than a hundred bytes
    return 0;
}
