// make_tape SEED OUT.dv            a tape with a mixture of what happens to tapes; says what on standard error
// make_tape SEED OUT.dv FRAMES     one steady recording of so many frames, 1 % of the packs damaged
#include "tests/support/TapeMaker.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    if (argc != 3 && argc != 4) {
        std::fprintf(stderr, "usage: make_tape SEED OUT.dv [FRAMES]\n");
        return 2;
    }
    const auto seed = static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10));
    const auto tape = argc == 4 ? qv::test::makeSteadyTape(seed, std::strtol(argv[3], nullptr, 10), 0.01)
                                : qv::test::makeMixedTape(seed);
    std::FILE* out = std::fopen(argv[2], "wb");
    if (!out) {
        std::perror(argv[2]);
        return 1;
    }
    std::mt19937 random(seed);
    std::vector<BYTE> bytes;
    bool written = true;
    for (const auto& frame : tape.frames) {
        qv::test::makeFrame(frame, random, bytes);
        written = written && std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size();
    }
    written = std::fclose(out) == 0 && written;
    std::fprintf(stderr, "%s%zu frames, %zu scenes\n", tape.story.c_str(), tape.frames.size(),
                 tape.breaks.size());
    return written ? 0 : 1;
}
