#include "qvlibs/platform/StorageCheck.h"

#include "qvlibs/platform/CompoundCheck.h"
#include "qvlibs/platform/CompoundShare.h"

#include <cerrno>

#include <fcntl.h>

namespace qv {

HRESULT checkStorageFile(const char* path, StorageReport& report) {
    report.problems.RemoveAll();
    report.remarks.RemoveAll();
    report.elements = report.lostBytes = 0;
    if (!path) return STG_E_INVALIDPOINTER;
    const int descriptor = ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) return compound::statusOf(errno, STG_E_ACCESSDENIED);
    compound::File file(std::make_unique<compound::Disk>(descriptor));
    QV_STG_TRY(compound::lockShare(descriptor, STGM_READ | STGM_SHARE_DENY_WRITE));
    QV_STG_TRY(file.open());
    const compound::CheckResult result = compound::checkFile(file);
    for (const auto& text : result.problems) report.problems.AddTail(text.c_str());
    for (const auto& text : result.remarks) report.remarks.AddTail(text.c_str());
    if (!result.unsortedTrees.empty())
        report.remarks.AddTail("the elements of a storage are not in the order of the format");
    report.elements = result.elements;
    report.lostBytes = result.unusedSectors * file.header().sectorSize();
    return S_OK;
}

} // namespace qv
