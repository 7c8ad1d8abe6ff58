// The classes that can be created by name. It stands here because only this folder may include all of them.
#include "qvlibs/framework/Object.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/image/QVStreamFile.h"
#include "qvlibs/settings/CaptureRecords.h"
#include "qvlibs/timecode/QVTimecode.h"

#include <cstring>

namespace {

constexpr const CRuntimeClass* kClasses[] = {
    &CDEDUClip::classCDEDUClip,
    &CQVDIB::classCQVDIB,
    &CQVStreamFile::classCQVStreamFile,
    &CQVTimecode::classCQVTimecode,
    &CQVTimecodeSpan::classCQVTimecodeSpan,
};

} // namespace

const CRuntimeClass* CRuntimeClass::FromName(const char* name) {
    for (const CRuntimeClass* type : kClasses) {
        if (name && type && std::strcmp(type->m_lpszClassName, name) == 0) return type;
    }
    return nullptr;
}
