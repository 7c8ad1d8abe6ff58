// Letters of 5 x 7 dots for labels on pictures: digits and what stands between them.
#pragma once

#include "qvlibs/image/QVDib.h"

#include <string_view>

namespace qv::cli {

constexpr int kLetterWidth = 6; // with the space behind it
constexpr int kLetterHeight = 7;

// Writes the text in white, its upper left corner at (x, y) from the top; every dot is scale x scale pixels.
// Dots outside the picture, and letters that there are not, are left out.
void drawText(CQVDIB& picture, int x, int y, int scale, std::string_view text);

} // namespace qv::cli
