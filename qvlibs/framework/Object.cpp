#include "qvlibs/framework/Object.h"

namespace {
constinit const CRuntimeClass kObjectClass{"CObject", nullptr};
}

const CRuntimeClass* CObject::GetRuntimeClass() const { return &kObjectClass; }
void CObject::Serialize(CArchive&) {}
