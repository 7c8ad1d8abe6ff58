// The platform's search for a file by name.
#pragma once

#include <string>

namespace qv {

// Looks for `name` and returns its absolute path, or "" when there is no such regular file. `extension` (with
// its dot) is added when the name has none. The library's own file is found under its classic names
// "qvlibs.dll" and "QVLIBS.dll" (in any case) too.
//
// Where: an absolute name only there. Otherwise the folders of `folders` (separated by ":") when it is given;
// else the library's folder, the program's folder, the current directory, and the folders of PATH, in this
// order. Links are not resolved.
[[nodiscard]] std::string searchPath(const char* folders, const char* name, const char* extension);

} // namespace qv
