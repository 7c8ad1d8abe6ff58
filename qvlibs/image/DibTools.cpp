#include "qvlibs/image/DibTools.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"

#include <memory>

CQVDIB* QVTLResizeDIB(CQVDIB* src, CSize size, int option) {
    QVTL_TRACE();
    return QVTLResizeDIBEx(src, size, option, DIB_TYPE_SQUARE, DIB_TYPE_AUTO, RESIZE_METHOD_DEFAULT);
}

CQVDIB* QVTLResizeDIBEx(CQVDIB* src, CSize size, int option, DIB_TYPE srcType, DIB_TYPE dstType,
                        RESIZE_METHOD method) {
    QVTL_TRACE();
    auto made = std::make_unique<CQVDIB>();
    if (!src || src->ResizeFilter(size, made.get(), option, srcType, dstType, method) != QV_OK)
        return nullptr;
    return made.release();
}

CQVDIB* QVTLRecolorDIB(CQVDIB* src, int mode) {
    QVTL_TRACE();
    auto made = std::make_unique<CQVDIB>();
    if (!src || src->RecolorFilter(mode, made.get()) != QV_OK) return nullptr;
    return made.release();
}
