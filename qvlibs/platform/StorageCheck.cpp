#include "qvlibs/platform/StorageCheck.h"

#include "qvlibs/platform/CompoundCheck.h"
#include "qvlibs/platform/CompoundShare.h"

#include <fcntl.h>

namespace qv {

HRESULT checkStorageFile(const char* path, StorageReport& report) {
    report.problems.RemoveAll();
    report.remarks.RemoveAll();
    report.elements = report.lostBytes = 0;
    if (!path) return STG_E_INVALIDPOINTER;
    std::unique_ptr<compound::Disk> disk;
    QV_STG_TRY(compound::Disk::open(path, O_RDONLY, disk));
    QV_STG_TRY(compound::lockShare(disk->descriptor(), STGM_READ | STGM_SHARE_DENY_WRITE));
    compound::File file(std::move(disk));
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
