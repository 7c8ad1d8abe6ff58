// Checksums of the registry file's pages: SQLite keeps none, and a flipped bit would change or hide a value
// without a word.
//
// Pages have 4096 bytes. The last eight are XXH64 of the others, low byte first, with the page's number (from 1)
// as seed. A page is checked when it is read from the file and stamped when it is written to it; the log has
// checksums of its own.
#pragma once

#include <sqlite3.h>

#include <string>

namespace qv::registry {

constexpr int kPageBytes = 4096, kPageSumBytes = 8;

// The name of the file system layer that checks and stamps, for sqlite3_open_v2. A page that does not fit its sum
// reads as SQLITE_IOERR_DATA, and so does a header of other page sizes.
[[nodiscard]] const char* checkedPages();
// Takes the layer back. No file may be open through it.
void forgetCheckedPages();

// Stamps all pages of a whole file in memory.
void stampPages(std::string& image);

} // namespace qv::registry
