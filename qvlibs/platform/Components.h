// In-process components: objects behind a table of functions, made by a module that is found by class.
#pragma once

#include "qvlibs/framework/Types.h"

namespace qv {

// Makes a component of a class. *out receives its interface with one reference, null on failure.
//
// The module is the one that the registry names for the class: the unnamed value of
// "Software\Classes\CLSID\<classId>\InprocServer32" in the local-machine hive, an absolute path. Where it
// names none, `shippedModule` serves, a file beside the library. The module's export QVCreateComponent
// (plugins/dv_component.h) makes the component; the module stays loaded for good. There is nothing to
// initialise for a thread. May be called from any thread.
//
// Result: the module's own status; negative = failure. 0x80040154 when the module is missing, is none, or
// does not have the export; 0x80004003 when `out` is null.
[[nodiscard]] LONG createComponent(const char* classId, const char* interfaceId, const char* shippedModule,
                                   void** out);

} // namespace qv
