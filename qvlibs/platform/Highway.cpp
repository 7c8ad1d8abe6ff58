// The few functions behind Highway's headers that dispatch needs.
//
// They stand here because the shared library that comes with Highway 1.0 measures the processor's timer for some
// three milliseconds when it is loaded, which every program that loads ours would pay.
#include <hwy/aligned_allocator.h>
#include <hwy/targets.h>

#if HWY_ARCH_X86
#include <cpuid.h>
#endif
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace hwy {

namespace {

constinit std::int64_t forTests = 0; // 0: the processor's own
constinit std::int64_t disabled = 0;

#if HWY_ARCH_X86
// What not every compiler's __builtin_cpu_supports knows by name: one bit of the answer in ECX.
bool hasBit(unsigned leaf, int bit) {
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    return __get_cpuid_count(leaf, 0, &eax, &ebx, &ecx, &edx) && (ecx >> bit & 1);
}
#endif

std::int64_t detected() {
    std::int64_t sets = HWY_EMU128 | HWY_SCALAR;
#if HWY_ARCH_X86
    __builtin_cpu_init();
    const bool ssse3 = __builtin_cpu_supports("ssse3");
    const bool sse4 = ssse3 && __builtin_cpu_supports("sse4.1") && __builtin_cpu_supports("sse4.2") &&
                      __builtin_cpu_supports("aes") && __builtin_cpu_supports("pclmul");
    const bool avx2 = sse4 && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
                      __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") &&
                      hasBit(1, 29 /* F16C */) && hasBit(0x80000001, 5 /* LZCNT */);
    const bool avx3 = avx2 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                      __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw") &&
                      __builtin_cpu_supports("avx512cd");
    const bool avx3More = avx3 && __builtin_cpu_supports("avx512vnni") &&
                          __builtin_cpu_supports("vpclmulqdq") && __builtin_cpu_supports("avx512vbmi") &&
                          __builtin_cpu_supports("avx512vbmi2") && hasBit(7, 9 /* VAES */) &&
                          __builtin_cpu_supports("avx512vpopcntdq") && __builtin_cpu_supports("avx512bitalg");
    if (ssse3) sets |= HWY_SSSE3;
    if (sse4) sets |= HWY_SSE4;
    if (avx2) sets |= HWY_AVX2;
    if (avx3) sets |= HWY_AVX3;
    if (avx3More) sets |= HWY_AVX3_DL;
#else
    sets |= HWY_STATIC_TARGET; // what the compiler may use everywhere
#endif
    return sets;
}

} // namespace

std::int64_t SupportedTargets() {
    const std::int64_t sets = (forTests ? forTests : detected()) & ~disabled;
    return sets ? sets : HWY_STATIC_TARGET;
}

void SetSupportedTargetsForTest(std::int64_t targets) { forTests = targets; }

void DisableTargets(std::int64_t targets) { disabled = targets; }

ChosenTarget& GetChosenTarget() {
    static ChosenTarget chosen;
    return chosen;
}

void* AllocateAlignedBytes(size_t payload_size, AllocPtr alloc_ptr, void* opaque_ptr) {
    if (alloc_ptr) return alloc_ptr(opaque_ptr, payload_size);
    constexpr size_t kAlignment = HWY_ALIGNMENT;
    if (payload_size > SIZE_MAX - kAlignment) return nullptr;
    return std::aligned_alloc(kAlignment, (payload_size / kAlignment + 1) * kAlignment);
}

void FreeAlignedBytes(const void* aligned_pointer, FreePtr free_ptr, void* opaque_ptr) {
    void* memory = const_cast<void*>(aligned_pointer);
    if (free_ptr)
        free_ptr(opaque_ptr, memory);
    else
        std::free(memory);
}

void Abort(const char* file, int line, const char* format, ...) {
    std::fprintf(stderr, "%s:%d: ", file, line);
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    std::abort();
}

} // namespace hwy
