// Pixel loops take their memory once a call, not once a row. Counted in malloc itself, so not under
// sanitizers, which have one of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

#include "qvlibs/image/OwnSampler.h"
#include "qvlibs/image/kernels/Resample.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {
unsigned long calls = 0, bytes = 0;
}

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_memalign(size_t alignment, size_t size);

// Of default visibility: what shared libraries take is counted too.
__attribute__((visibility("default"))) void* malloc(size_t size) {
    ++calls, bytes += size;
    return __libc_malloc(size);
}
__attribute__((visibility("default"))) void* aligned_alloc(size_t alignment, size_t size) {
    ++calls, bytes += size;
    return __libc_memalign(alignment, size);
}
}

namespace {

struct Taken {
    unsigned long calls, bytes;
};

template <class Work>
Taken taken(Work work) {
    const Taken before{calls, bytes};
    work();
    return {calls - before.calls, bytes - before.bytes};
}

} // namespace

TEST(Allocations, DoNotGrowWithTheRows) {
    constexpr int kWidth = 720, kTo = 160, kHigh = 9600, kHighTo = 2400;
    std::vector<BYTE> from(size_t{3} * kWidth * kHigh), to(size_t{3} * kTo * kHighTo);
    const auto resample = [&](qv::ResampleKernel kernel, int height, int toHeight) {
        return taken([&] {
            EXPECT_TRUE(qv::resample24(kernel, {from.data(), 3 * kWidth, kWidth, height},
                                       {0, 0, kWidth, height}, {to.data(), 3 * kTo, kTo, toHeight}));
        });
    };
    const auto sample = [&](int height, int toHeight) {
        return taken([&] {
            qv::sampleNearest(3, {from.data(), 3 * kWidth, kWidth, height},
                              {to.data(), 3 * kTo, kTo, toHeight}, {0, 0, kTo, toHeight});
        });
    };
    const auto check = [](const char* name, Taken few, Taken many) {
        EXPECT_GT(few.calls, 0u) << name << ": nothing is counted";
        EXPECT_LE(many.calls, few.calls + 5) << name; // tables of one entry a row may double a few times
        EXPECT_LT(few.bytes, 200000u) << name;
        printf("%lu allocations, %lu KiB for 480 to 120 rows, %lu for 9600 to 2400: %s\n", few.calls,
               few.bytes >> 10, many.calls, name);
    };
    resample(qv::ResampleKernel::Box, 480, 120); // finds out about the processor
    check("triangle", resample(qv::ResampleKernel::Triangle, 480, 120),
          resample(qv::ResampleKernel::Triangle, kHigh, kHighTo));
    check("Lanczos-3", resample(qv::ResampleKernel::Lanczos3, 480, 120),
          resample(qv::ResampleKernel::Lanczos3, kHigh, kHighTo));
    check("own sampler", sample(480, 120), sample(kHigh, kHighTo));
}

#endif
