// What shells and readers of manuals get out of the table of commands: completions, a manual page, a guess at what
// a mistyped word meant.
#pragma once

#include "tools/qv/Command.h"

#include <span>
#include <string>
#include <vector>

namespace qv::cli {

// Prints what may stand for the last of the words behind "qv" (which may be empty or a beginning), one a line.
// Nothing where files are meant. The scripts in tools/qv/completion hand it to the shells.
int complete(std::span<const Command> commands, const std::vector<std::string>& words);

// Prints the manual page in the man macros of roff, from the same descriptions as --help.
int printManual(std::span<const Command> commands);

// The name of the command that `word` most likely meant; "" when none is near.
std::string nearestCommand(std::span<const Command> commands, const std::string& word);

} // namespace qv::cli
