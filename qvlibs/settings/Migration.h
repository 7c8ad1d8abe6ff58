// Settings of old versions, which were kept per user.
#pragma once

namespace qv {

// Copies the user's own tree to the local-machine hive and to a backup beside it, and removes it: all of it
// or nothing. Without such a tree nothing happens.
void migrateUserSettings();

} // namespace qv
