// What a file is by its first bytes, whatever its name says.
#pragma once

#include <string>

namespace qv::cli {

enum class Kind { Movie, Picture, Sound, Title, SideFile, Other };
// "movie", "picture", "sound", "title", "sidefile", "other".
const char* nameOf(Kind kind);

struct Content {
    Kind kind = Kind::Other;
    // "AVI", "JPEG", "PDF document", ...; "text", "data" and "empty" where no more can be said.
    std::string format = "data";
    const char* extensions = ""; // that its files usually have, each between blanks
    std::string nameSays;        // the format that the extension stands for, where it is another one
};

// Never fails: a file that cannot be read is "data".
Content contentOf(const std::string& path);

} // namespace qv::cli
