#include "codecs/common/BackEnd.h"

#include <string>

#include <dlfcn.h>

namespace qv::codec {

void* exportBeside(const char* fileName, const char* name) {
    Dl_info own{};
    if (!dladdr(reinterpret_cast<const void*>(&exportBeside), &own) || !own.dli_fname) return nullptr;
    const std::string path = own.dli_fname;
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    void* handle = dlopen((folder + fileName).c_str(), RTLD_LAZY | RTLD_LOCAL);
    return handle ? dlsym(handle, name) : nullptr;
}

const void* openBackEnd(const char* fileName, const char* entry) {
    const auto function = reinterpret_cast<const void* (*)()>(exportBeside(fileName, entry));
    return function ? function() : nullptr;
}

} // namespace qv::codec
