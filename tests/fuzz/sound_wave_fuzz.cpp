// Any bytes as a sound file, through the back end of sound.acp: read in order, then in places.
#include "codecs/sound/Sound.h"
#include "tests/fuzz/ByPath.h"

#include <vector>

extern "C" const void* qvSoundBackEnd();

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    const qv::test::InputFile file(data, size);
    const auto* backEnd = static_cast<const qv::codec::SoundBackEnd*>(qvSoundBackEnd());
    if (const auto source = backEnd->open(file.path())) {
        if (source->facts.channels < 1 || source->facts.channels > 2 || source->facts.rate < 1)
            __builtin_trap();
        const std::int64_t all = source->facts.samples;
        for (const std::int64_t first : {std::int64_t{0}, all / 2, all - 10, std::int64_t{1}}) {
            std::vector<std::int16_t> values(size_t{1000} *
                                             source->facts.channels); // exactly the room there is
            if (first >= 0 && source->read(first, 1000, values.data()) > 1000) __builtin_trap();
        }
    }
    return 0;
}
