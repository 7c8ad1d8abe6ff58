// The extensions of the files that a module is for.
#pragma once

#include <algorithm>
#include <cstring>
#include <span>

#include <strings.h>

namespace qv::codec {

// Without the dot, in lower case. A module defines this and lists Extensions.cpp among its sources: the exports that
// tell its extensions are then there.
std::span<const char* const> extensions();

// Whether the path ends in one of these extensions, in any case.
inline bool hasExtension(const char* path, std::span<const char* const> known) {
    const char* dot = std::strrchr(path, '.');
    return dot && !std::strchr(dot, '/') &&
           std::any_of(known.begin(), known.end(),
                       [=](const char* extension) { return strcasecmp(dot + 1, extension) == 0; });
}

} // namespace qv::codec
