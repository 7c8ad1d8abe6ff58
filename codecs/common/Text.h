// Text of files whose encoding nobody states.
#pragma once

#include <string>
#include <string_view>

namespace qv::codec {

bool isUtf8(std::string_view text);

// UTF-8 of text in UTF-16 (known by its mark, in either byte order), UTF-8 with or without a mark, or else
// Latin-1. Nothing is lost; broken pairs of UTF-16 become U+FFFD.
std::string toUtf8(std::string_view bytes);

// At most `size` bytes of UTF-8 text, cut between characters.
std::string_view cutUtf8(std::string_view text, size_t size);

} // namespace qv::codec
