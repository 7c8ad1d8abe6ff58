// The texts that the library shows, by number. They are UTF-8 and stay for the life of the process.
#pragma once

#include "qvlibs/framework/Strings.h"

namespace qv {

// The text of a number, "" for one that has none.
const char* resourceText(int id);

// The text with its printf conversions filled in. The arguments must be what the conversions of that text take: `long`
// for %ld, double for %f, const char* for %s, int for %d.
CString formatResource(int id, ...);

} // namespace qv
