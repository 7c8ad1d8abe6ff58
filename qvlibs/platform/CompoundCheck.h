// Looks through a whole compound file for what is not as the format says.
#pragma once

#include "qvlibs/platform/CompoundFile.h"

#include <string>
#include <vector>

namespace qv::compound {

struct CheckResult {
    std::vector<std::string> problems;  // content that cannot be had, or would be lost by changes
    std::vector<std::string> remarks;   // not by the book, without harm
    std::vector<EntryId> unsortedTrees; // storages whose elements form no valid red-black tree
    std::uint64_t unusedSectors = 0;    // not free, but of no use
    std::uint64_t elements = 0;
};

// What cannot be read is a problem too.
[[nodiscard]] CheckResult checkFile(File& file);

} // namespace qv::compound
