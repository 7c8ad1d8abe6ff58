// Runs a fuzz target without libFuzzer: every saved input, every prefix of the small ones, and mutations:
// QVLIBS_FUZZ_RUNS of them (2000), from the seed QVLIBS_FUZZ_SEED (1). The input lies in a block of its exact size, so
// that a sanitizer sees a read past its end. An input that takes five seconds of the processor ends the program.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <vector>

#include <sys/resource.h>
#include <sys/time.h>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size);

namespace {

unsigned long runs = 0;
double slowest = 0; // milliseconds

void runOnce(const std::vector<unsigned char>& bytes, size_t size) {
    const auto block = std::make_unique<unsigned char[]>(size ? size : 1);
    if (size) std::memcpy(block.get(), bytes.data(), size);
    constexpr itimerval kLimit{{}, {5, 0}};
    setitimer(ITIMER_PROF, &kLimit, nullptr);
    const std::clock_t start = std::clock();
    LLVMFuzzerTestOneInput(block.get(), size);
    slowest = std::max(slowest, static_cast<double>(std::clock() - start) * 1000 / CLOCKS_PER_SEC);
    ++runs;
}

void mutate(std::vector<unsigned char>& bytes, std::mt19937& random) {
    if (bytes.empty()) bytes.assign(1, 0);
    for (unsigned i = 1 + random() % 6; i > 0; --i) {
        const size_t at = random() % bytes.size();
        switch (random() % 5) {
        case 0: bytes[at] ^= static_cast<unsigned char>(1u << (random() % 8)); break;
        case 1: bytes[at] = static_cast<unsigned char>(random()); break;
        case 2: bytes[at] = random() % 2 ? 0xFF : 0; break;
        case 3: bytes.resize(at + 1); break;
        default: {
            const uint32_t word = random() % 2 ? 0x7FFFFFFFu >> (random() % 31) : random();
            std::memcpy(&bytes[at], &word, std::min<size_t>(4, bytes.size() - at));
        }
        }
    }
}

unsigned long setting(const char* name, unsigned long usual) {
    const char* wish = std::getenv(name);
    return wish ? std::strtoul(wish, nullptr, 10) : usual;
}

std::vector<std::vector<unsigned char>> readInputs(char** arguments, int count) {
    std::vector<std::vector<unsigned char>> inputs;
    for (int i = 0; i < count; ++i) {
        std::error_code ignored;
        std::vector<std::filesystem::path> files;
        if (std::filesystem::is_directory(arguments[i], ignored)) {
            for (const auto& entry : std::filesystem::directory_iterator(arguments[i]))
                files.push_back(entry.path());
        } else if (std::filesystem::exists(arguments[i], ignored)) {
            files.emplace_back(arguments[i]);
        } else {
            std::fprintf(stderr, "there is no %s\n", arguments[i]);
            std::exit(2);
        }
        std::sort(files.begin(), files.end());
        for (const auto& file : files) {
            std::ifstream in(file, std::ios::binary);
            inputs.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        }
    }
    if (inputs.empty()) inputs.emplace_back(64, 0);
    return inputs;
}

} // namespace

int main(int argc, char** argv) {
    const unsigned long wanted = setting("QVLIBS_FUZZ_RUNS", 2000);
    const auto inputs = readInputs(argv + 1, argc - 1);
    for (const auto& input : inputs) {
        runOnce(input, input.size());
        const size_t step = input.size() <= 4096 ? 1 : input.size() / 512;
        for (size_t size = 0; size < input.size() && wanted; size += step) runOnce(input, size);
    }
    std::mt19937 random(static_cast<unsigned>(setting("QVLIBS_FUZZ_SEED", 1)));
    for (unsigned long i = 0; i < wanted; ++i) {
        auto bytes = inputs[random() % inputs.size()];
        mutate(bytes, random);
        runOnce(bytes, bytes.size());
    }
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    std::printf("%lu inputs run, slowest %.0f ms, at most %ld MiB\n", runs, slowest, used.ru_maxrss / 1024);
    return 0;
}
