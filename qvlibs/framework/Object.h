// CObject: the base of everything that is kept in object lists, created by class name or written to archives.
//
// A class that can be created by name declares QV_DECLARE_DYNAMIC(Class), defines QV_IMPLEMENT_DYNAMIC(Class,
// new Class) in its source and stands in the table of library/RuntimeClasses.cpp.
#pragma once

#include "qvlibs/framework/Types.h"

class CArchive;
class CObject;

struct QVLIBS_API CRuntimeClass {
    const char* m_lpszClassName;
    CObject* (*m_pfnCreateObject)(); // null when the class cannot be created by name

    // A new object, owned by the caller; null when the class cannot be created.
    CObject* CreateObject() const { return m_pfnCreateObject ? m_pfnCreateObject() : nullptr; }
    // The record of a class of this library by its exact name, or null.
    static const CRuntimeClass* FromName(const char* name);
};

class QVLIBS_API CObject {
public:
    virtual const CRuntimeClass* GetRuntimeClass() const;
    virtual ~CObject() = default;
    // Reads or writes the object, as the archive's direction says. May throw CArchiveException.
    virtual void Serialize(CArchive& archive);

    // 1 for an object of exactly this class: classes do not know what they derive from.
    int IsKindOf(const CRuntimeClass* type) const { return GetRuntimeClass() == type ? 1 : 0; }

protected:
    CObject() = default;
    CObject(const CObject&) = default;
    CObject& operator=(const CObject&) = default;
};

#define QV_DECLARE_DYNAMIC(Class)                                                                            \
    static const CRuntimeClass class##Class;                                                                 \
    static CObject* CreateObject();                                                                          \
    const CRuntimeClass* GetRuntimeClass() const override;

#define QV_IMPLEMENT_DYNAMIC(Class, creation)                                                                \
    constinit const CRuntimeClass Class::class##Class { #Class, &Class::CreateObject };                      \
    CObject* Class::CreateObject() { return creation; }                                                      \
    const CRuntimeClass* Class::GetRuntimeClass() const { return &class##Class; }
