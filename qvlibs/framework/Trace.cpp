#include "qvlibs/framework/Trace.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace qv {
namespace trace {

constinit std::atomic<TraceSink> sink{nullptr};

namespace {

constinit std::atomic<int> descriptor{-1};

void writeToDescriptor(std::string_view text) {
    // A trace that cannot be written is dropped: tracing never changes what a program does.
    [[maybe_unused]] const ssize_t put =
        ::write(descriptor.load(std::memory_order_relaxed), text.data(), text.size());
}

} // namespace

void setFromEnvironment() {
    const char* wish = std::getenv("QVLIBS_TRACE");
    if (!wish || !*wish) return;
    const bool standardError = std::strcmp(wish, "stderr") == 0;
    descriptor = standardError ? 2 : ::open(wish, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (descriptor.load() >= 0) sink = writeToDescriptor;
}

} // namespace trace

TraceSink setTraceSink(TraceSink wanted) { return trace::sink.exchange(wanted); }

} // namespace qv

void CCriticalTrace::enter(const char* name, const char* module, const char* file, int line) {
    const auto target = qv::trace::sink.load(std::memory_order_relaxed);
    if (!target) return;
    const char* slash = std::strrchr(file, '/');
    char text[512];
    const int size = std::snprintf(text, sizeof text, "enter %s::%s %s:%d\n", module, name,
                                   slash ? slash + 1 : file, line);
    target({text, static_cast<size_t>(size) < sizeof text ? static_cast<size_t>(size) : sizeof text - 1});
}
