// FFmpeg brings JPEG XL along, and that the shared library of Highway. Version 1.0 of it measures the processor's timer
// whenever it is mapped, 2.5 ms of a thumbnail's 30, for benchmarks that nobody here runs. The dynamic linker prefers the
// program's own function of that name.
#include <cstdint>

namespace hwy::platform {

// In ticks of the timer.
__attribute__((visibility("default"))) std::uint64_t TimerResolution() { return 1; }

} // namespace hwy::platform
