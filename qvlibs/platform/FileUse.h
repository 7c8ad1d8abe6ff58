// Whether anybody has a file open.
#pragma once

namespace qv {

// True when the file cannot be opened, or somebody else has it open in any way, as far as the system tells: an owner of
// the file (and the administrator) learns of every opener on local file systems; elsewhere only of those who hold it
// with a share mode of this library. Open descriptors of this process count as somebody's.
[[nodiscard]] bool isFileInUse(const char* path);

} // namespace qv
