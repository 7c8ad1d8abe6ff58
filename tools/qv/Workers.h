// Describing many files, two at a time.
//
// The library serves one thread, and a codec may fall over a broken file: so each file is described in one of two
// processes of this program, which is started again when it ends. One file alone is described in this process.
#pragma once

#include "tools/qv/Info.h"

#include <functional>
#include <span>
#include <string>

namespace qv::cli {

// Describes the files, and hands each result over with its place in `paths`, in the order in which they become ready.
// False when interrupted() became true before the last one.
bool describeFiles(std::span<const std::string> paths,
                   const std::function<void(size_t, Description&&)>& ready);

// The other end: describes the files that standard input names, until it ends. Never returns.
[[noreturn]] void serveDescriptions();
// What this program is started with for that.
constexpr const char* kServeDescriptions = "serve-descriptions";

} // namespace qv::cli
