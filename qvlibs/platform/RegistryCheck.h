// Looking after the registry's file: what state it is in, and getting back what a damaged one still holds.
// Nothing is changed unless a function says so. Not while other threads use the registry.
#pragma once

#include "qvlibs/framework/Types.h"

#include <optional>
#include <string>
#include <vector>

namespace qv::registry {

enum class StoreState : int {
    Missing,    // there is none: every setting has its default
    Sound,      // nothing found
    Damaged,    // `problems` says what; the next use may set the file aside
    Unreadable, // it cannot be opened
    Newer,      // written by a newer version of the library
};

struct StoreCheck {
    StoreState state = StoreState::Missing;
    bool writable = false;             // the file, or its folder when there is none
    bool logged = false;               // changes go to a log first; else to a rollback journal
    int keys = 0, values = 0;          // how many could be counted
    std::vector<std::string> problems; // one line each
    std::vector<std::string> setAside; // paths of damaged stores beside it, oldest first
};

// Reads the whole file and checks every page, key and value.
[[nodiscard]] QVLIBS_API StoreCheck checkStore();

// Writes to the registry every value that `file`, a damaged store, still gives and the registry does not
// have: all of them or none. How many were written; nothing when they could not be stored, or the file cannot
// be read at all.
[[nodiscard]] QVLIBS_API std::optional<int> salvageStore(const std::string& file);
// Renames the store as damaged. Its new path, "" when that failed or there is none.
[[nodiscard]] QVLIBS_API std::string setStoreAside();

} // namespace qv::registry
