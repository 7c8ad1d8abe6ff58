// A module's heavy half: a shared object beside it that links the codec library and is mapped on the first
// call that needs it. The module itself links nothing, so that loading the library stays cheap with every
// module present.
#pragma once

namespace qv::codec {

// Maps `fileName` from the folder of the calling module; its export `name`, or null. It stays mapped for good,
// because codec libraries do not expect to be unmapped.
void* exportBeside(const char* fileName, const char* name);

// Calls the export `entry` of a back end, which hands out a table of functions. Null when the back end cannot be
// mapped. The module keeps the answer.
const void* openBackEnd(const char* fileName, const char* entry);

} // namespace qv::codec
