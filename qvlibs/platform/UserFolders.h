// The folders that belong to the user.
#pragma once

#include <string>

namespace qv {

// Where applications keep a user's data: $QVLIBS_HOME when it is set, else $XDG_DATA_HOME, else
// ~/.local/share. Absolute, without a trailing separator; "" when the user has no home. It need not exist.
[[nodiscard]] std::string userDataFolder();
// The folder of the settings store: $QVLIBS_HOME itself, else "qvlibs" in the user's data folder.
[[nodiscard]] std::string storeFolder();
// The usual folder for temporary pictures; "" without a data folder. It need not exist.
[[nodiscard]] std::string imageTempFolder();

// Makes the folder and every missing level above it, one level after the other, without changing the
// current directory. New levels belong to the user alone when `isPrivate`. True when the folder is there.
bool makeFolders(const std::string& path, bool isPrivate);

} // namespace qv
