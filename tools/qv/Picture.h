// Pictures and the words about them that several commands take.
#pragma once

#include "tools/qv/Command.h"

#include "qvlibs/image/QVDib.h"

namespace CLI {
class Option;
}

namespace qv::cli {

// "320x240" as a size; false when it is none, or more than 16384 on a side.
bool parseSize(const std::string& text, SIZE& size);

// Adds --fit fit|fill|stretch; `name` must live as long as the options and be one of the three words.
CLI::Option* addFit(CLI::App& app, std::string& name);
RESIZE_OPTION fitNamed(const std::string& name);

// A picture file as a picture of 24 bits. Done, or says in one line why not.
int loadPicture(const std::string& path, CQVDIB& picture);
// Writes a picture; the extension of the path picks the format. Done, or says in one line why not.
int savePicture(CQVDIB& picture, const std::string& path);
// Whether the extension names a format that savePicture knows; says so in one line when not.
bool canSavePicture(const std::string& path);

} // namespace qv::cli
