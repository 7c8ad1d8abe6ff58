// The registry's file as a file: made whole, opened, set aside.
#pragma once

#include <sqlite3.h>
#include <sys/stat.h>

#include <optional>
#include <string>

namespace qv::registry {

constexpr int kStoreVersion = 1; // the file's user_version

// An SQLite code that says damage, or a file that is no registry.
[[nodiscard]] inline bool isDamage(int code) {
    return (code & 0xFF) == SQLITE_CORRUPT || (code & 0xFF) == SQLITE_NOTADB || code == SQLITE_IOERR_DATA;
}

// Makes an empty store under this name unless one is there, with its folder. It appears whole or not at all;
// when several processes try, one file wins. Logs that a removed store left behind are removed.
[[nodiscard]] bool createStoreFile(const std::string& path);

// Opens the store and reads its header. SQLITE_OK, or the code with `*db` null; a file without our tables
// counts as SQLITE_NOTADB. `*immutable` says that it was opened as a file that nobody writes, without locks and log:
// where its folder is not writable, so that its log cannot be opened, and all of the store is in its one file.
[[nodiscard]] int openStoreFile(const std::string& path, sqlite3** db, int* version, bool* immutable);

// The bytes of a row's column.
[[nodiscard]] std::string columnText(sqlite3_stmt* row, int column);

// Renames the store and its log, when it is still the file `damaged`: the new name, "" when it cannot be
// renamed, nothing when another file has the name by now.
[[nodiscard]] std::optional<std::string> setStoreFileAside(const std::string& path,
                                                           const struct stat& damaged);

} // namespace qv::registry
