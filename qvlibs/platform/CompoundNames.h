// Names of elements: between UTF-8 and the UTF-16 of the file, their order and their rules.
#pragma once

#include <string>
#include <string_view>

namespace qv::compound {

// False for text that is not UTF-8. Lone surrogates as three bytes are taken, so that every name that a file
// holds has a text that finds it.
[[nodiscard]] bool toUtf16(std::string_view text, std::u16string& units);
std::string toUtf8(std::u16string_view units);

// 1 to kMaxNameUnits units, no separators.
bool isValidName(std::u16string_view name);

// The capital letter of Unicode 3.0.1, by which the format's writers sort since its beginning: later pairs
// would give an order that they do not understand.
char16_t upperCase(char16_t unit);

// The order of names in a directory: shorter first, then by capital letters. Negative, 0 (the same name) or
// positive.
int compareNames(std::u16string_view a, std::u16string_view b);

} // namespace qv::compound
