// For formats whose readers want a path: the input as a nameless file.
#pragma once

#include <cstddef>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

namespace qv::test {

class InputFile {
public:
    InputFile(const unsigned char* data, size_t size) : file_(memfd_create("input", MFD_CLOEXEC)) {
        if (file_ < 0 || write(file_, data, size) != static_cast<ssize_t>(size)) __builtin_trap();
        path_ = "/proc/self/fd/" + std::to_string(file_);
    }
    ~InputFile() { close(file_); }
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    const char* path() const { return path_.c_str(); }

private:
    int file_;
    std::string path_;
};

} // namespace qv::test
