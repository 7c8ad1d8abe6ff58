// Loadable modules and the folders they lie in: loading by path, finding exports, listing a folder.
// All functions may be called from any thread.
#pragma once

#include "qvlibs/framework/Types.h"

#include <string>
#include <vector>

namespace qv {

// Loads a module by absolute path, all its symbols resolved and none of them visible to others. Null when
// the file is no module, or lacks a symbol. Loading the same file again adds a reference to it.
[[nodiscard]] HMODULE loadModule(const std::string& path);
// Takes one reference away; null is allowed.
void freeModule(HMODULE module);

// The address of an export that lies in the module itself, or null. An export of the same name in a library
// that the module depends on does not count: a codec library's own "Write" is not the module's.
[[nodiscard]] void* moduleExport(HMODULE module, const char* name);

// Whether a file name fits a pattern of literal bytes, "*" (any run) and "?" (one byte); ASCII case ignored.
[[nodiscard]] bool matchesPattern(std::string_view name, std::string_view pattern);

// Names (without the folder) of the regular files that fit the pattern, in one order everywhere: folded
// names by their bytes, ties by the bytes as they are. Names that start with a dot are left out. Empty when
// the folder cannot be read.
[[nodiscard]] std::vector<std::string> listFolder(const std::string& folder, std::string_view pattern);

// The folder that holds the library's own file, its links resolved; for a program that has the library
// linked in, the program's folder. Absolute, without a trailing separator; "" when it cannot be told.
[[nodiscard]] std::string libraryFolder();
// The folder of the running program's file.
[[nodiscard]] std::string programFolder();

} // namespace qv
