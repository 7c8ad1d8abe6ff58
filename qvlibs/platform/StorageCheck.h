// Looks through a whole compound file for what is not as the format says.
#pragma once

#include "qvlibs/framework/Lists.h"
#include "qvlibs/framework/Strings.h"

#include <cstdint>

namespace qv {

struct StorageReport {
    CStringList problems;        // what cannot be had, or would be lost by changes; the first hundred
    CStringList remarks;         // what is not by the book, without harm; the first hundred
    std::uint64_t elements = 0;  // storages and streams beneath the root
    std::uint64_t lostBytes = 0; // neither free nor used by anything
};

// S_OK when the file could be looked through, whatever the report says; else the status of opening it.
QVLIBS_API HRESULT checkStorageFile(const char* path, StorageReport& report);

} // namespace qv
