#include "qvlibs/util/PathSearch.h"

#include "qvlibs/framework/Strings.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/platform/PathSearch.h"
#include "qvlibs/util/Qvfiletools.h"

#include <cstring>

namespace {

// The platform's contract: a failed search leaves *filePart as it was.
ULONG platformSearch(const std::string& found, ULONG bufferLength, char* buffer, char** filePart) {
    const auto size = static_cast<ULONG>(found.size());
    if (!size) return 0;
    if (!buffer || bufferLength <= size) return size + 1;
    std::memcpy(buffer, found.c_str(), size + 1);
    if (filePart) *filePart = std::strrchr(buffer, '/') + 1;
    return size;
}

} // namespace

ULONG SearchPathLocal(const char* callerFile, int callerLine, const char* path, const char* fileName,
                      const char* extension, ULONG bufferLength, char* buffer, char** filePart) {
    if (buffer && bufferLength) buffer[0] = 0;
    const ULONG result =
        platformSearch(qv::searchPath(path, fileName, extension), bufferLength, buffer, filePart);
    if (!filePart) return result;
    const CString folder = buffer && bufferLength ? QVTLGetDirectory(buffer) : CString();
    char* const remembered = *filePart;
    *filePart = folder.IsEmpty() ? nullptr : buffer + folder.GetLength(); // this one always wins
    if (remembered && remembered != *filePart) {
        QVTL_TRACE();
        CString text;
        text.Format("%s(%d): SearchPath [%s] failed.\n", callerFile ? callerFile : "", callerLine,
                    folder.GetString());
        qvTrace << text.str();
    }
    return result;
}
