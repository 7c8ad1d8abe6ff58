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

// A picture file as a picture of 24 bits, turned by its orientation. Done, or says in one line why not. A picture that
// will be shown at `atLeast` or smaller may come reduced; {} = full size.
int loadPicture(const std::string& path, CQVDIB& picture, SIZE atLeast = {});
// Writes a picture; the extension of the path picks the format, the options are the format's. Done, or says in one line
// why not.
int savePicture(CQVDIB& picture, const std::string& path, int option1 = 0, int option2 = 0);
// Whether the extension names a format that savePicture knows; says so in one line when not.
bool canSavePicture(const std::string& path);
// Left becomes right, in a picture of 24 bits.
void mirrorPicture(CQVDIB& picture);
// Turns a loaded picture upright that has one of the mirrored orientations; the others were turned by loading. False
// when memory runs out.
bool turnMirrored(CQVDIB& picture, int orientation);

} // namespace qv::cli
