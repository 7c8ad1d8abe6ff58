// Runs a fuzz target without libFuzzer: every saved input, every prefix of the small ones, and mutations with
// a fixed seed. The input lies in a block of its exact size, so that a sanitizer sees a read past its end.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size);

namespace {

unsigned long runs = 0;

void runOnce(const std::vector<unsigned char>& bytes, size_t size) {
    const auto block = std::make_unique<unsigned char[]>(size ? size : 1);
    if (size) std::memcpy(block.get(), bytes.data(), size);
    LLVMFuzzerTestOneInput(block.get(), size);
    ++runs;
}

void mutate(std::vector<unsigned char>& bytes, std::mt19937& random) {
    if (bytes.empty()) bytes.push_back(0);
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

} // namespace

int main(int argc, char** argv) {
    const char* wish = std::getenv("QVLIBS_FUZZ_RUNS");
    const unsigned long wanted = wish ? std::strtoul(wish, nullptr, 10) : 2000;
    std::vector<std::vector<unsigned char>> inputs;
    for (int i = 1; i < argc; ++i) {
        std::error_code ignored;
        std::vector<std::filesystem::path> files;
        if (std::filesystem::is_directory(argv[i], ignored)) {
            for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
                files.push_back(entry.path());
        } else if (std::filesystem::exists(argv[i], ignored)) {
            files.emplace_back(argv[i]);
        }
        std::sort(files.begin(), files.end());
        for (const auto& file : files) {
            std::ifstream in(file, std::ios::binary);
            inputs.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        }
    }
    if (inputs.empty()) inputs.emplace_back(64, 0);
    for (const auto& input : inputs) {
        runOnce(input, input.size());
        const size_t step = input.size() <= 4096 ? 1 : input.size() / 512;
        for (size_t size = 0; size < input.size() && wanted; size += step) runOnce(input, size);
    }
    std::mt19937 random(1);
    for (unsigned long i = 0; i < wanted; ++i) {
        auto bytes = inputs[random() % inputs.size()];
        mutate(bytes, random);
        runOnce(bytes, bytes.size());
    }
    std::printf("%lu inputs run\n", runs);
    return 0;
}
