#include "qvlibs/platform/StatusText.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/platform/Storage.h"

#include <algorithm>
#include <iterator>

namespace qv {
namespace {

constexpr struct {
    HRESULT status;
    const char* text;
} kTexts[] = {
    {S_OK, "The operation completed successfully."},
    {QV_E_INVALIDARG, "The parameter is incorrect."},
    {QV_E_FAIL, "Unspecified error."},
    {QV_E_NOTIMPL, "Not implemented."},
    {QV_E_NOINTERFACE, "No such interface is supported."},
    {QV_E_POINTER, "Invalid pointer."},
    {QV_E_OUTOFMEMORY, "Not enough memory is available."},
    {QV_E_NOTSUPPORTED, "The request is not supported."},
    {QV_E_NOHEADER, "The image has no header."},
    {QV_E_CLASSNOTREG, "The class is not registered."},
    {STG_E_INVALIDFUNCTION, "Unable to perform the requested operation."},
    {STG_E_FILENOTFOUND, "The file or element could not be found."},
    {STG_E_PATHNOTFOUND, "The path could not be found."},
    {STG_E_TOOMANYOPENFILES, "There are too many open files."},
    {STG_E_ACCESSDENIED, "Access is denied."},
    {STG_E_INSUFFICIENTMEMORY, "There is not enough memory to complete the operation."},
    {STG_E_INVALIDPOINTER, "Invalid pointer."},
    {STG_E_WRITEFAULT, "A disk error occurred while writing."},
    {STG_E_READFAULT, "A disk error occurred while reading."},
    {STG_E_SHAREVIOLATION, "The file is in use by somebody else."},
    {STG_E_FILEALREADYEXISTS, "The file or element exists already."},
    {STG_E_INVALIDPARAMETER, "Invalid parameter."},
    {STG_E_MEDIUMFULL, "There is not enough room on the disk or in the file's format."},
    {STG_E_INVALIDHEADER, "The file is no compound file."},
    {STG_E_INVALIDNAME, "The name is not valid."},
    {STG_E_INVALIDFLAG, "The flags are not valid."},
    {STG_E_NOTCURRENT, "The storage has been changed since it was opened."},
    {STG_E_REVERTED, "The object has been reverted or removed."},
    {STG_E_OLDFORMAT, "The file is in a format that is too old."},
    {STG_E_DOCFILECORRUPT, "The compound file is damaged."},
};

} // namespace

CString statusText(HRESULT status) {
    const auto* row = std::find_if(std::begin(kTexts), std::end(kTexts),
                                   [status](const auto& candidate) { return candidate.status == status; });
    if (row != std::end(kTexts)) return row->text;
    CString text;
    text.Format("Unknown status 0x%08X.", static_cast<unsigned>(status));
    return text;
}

} // namespace qv
