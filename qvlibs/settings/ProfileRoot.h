// What qvenv.ini says: read once, then the same for the life of the process.
#pragma once

#include "qvlibs/framework/Types.h"

#include <string>
#include <string_view>

namespace qv {

// The registry root of the store, at most 259 bytes.
[[nodiscard]] QVLIBS_API const std::string& profileRoot();
// The name of the value in "Common" whose bit 0 says PAL.
[[nodiscard]] QVLIBS_API const std::string& systemInfoName();
// The registry root under which the calling application keeps its own section "Settings".
[[nodiscard]] QVLIBS_API const std::string& applicationName();

// Where a section lies: root\section, or root\prefix\NNNN for a numbered record.
[[nodiscard]] QVLIBS_API std::string sectionPath(std::string_view root, std::string_view section);

} // namespace qv
