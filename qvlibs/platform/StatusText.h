// What a status means, in words.
#pragma once

#include "qvlibs/framework/Strings.h"

namespace qv {

// One sentence for the statuses that the library gives; the number for others.
QVLIBS_API CString statusText(HRESULT status);

} // namespace qv
