// The application's own tests of edit-sequence and tape files. The library cannot read these; an application that can
// derives from CSeq and registers one object.
#pragma once

#include "qvlibs/framework/Types.h"

class QVLIBS_API CSeq {
public:
    CSeq() = default;
    CSeq(const CSeq&) = default;
    CSeq& operator=(const CSeq&) = default;

    // 1 when the file is one that the application can use, else 0. Called without further checks.
    virtual int CheckTap(const char* path) = 0;
    virtual int CheckSeq(const char* path) = 0;

    int IsSupportTap(const char* path) { return CheckTap(path); }
    int IsSupportSeq(const char* path) { return CheckSeq(path); }

protected:
    ~CSeq() = default; // the application's object is never deleted through this class
};

// Registers the first object that is given and answers it from then on; later arguments are ignored. Before that, and
// for null, an object that supports nothing.
QVLIBS_API CSeq& QVTLSeq(CSeq* seq);
