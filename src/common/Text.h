#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace murvel {

// `text` without the Unicode whitespace and line breaks at either end.
std::string trimmedWhitespaceAndNewlines(std::string_view text);

// `text` in lower case by the Unicode rules, independent of the user's locale.
std::string lowercased(std::string_view text);

// `text` in upper case by the Unicode rules, independent of the user's locale.
std::string uppercased(std::string_view text);

// Plain ASCII lower-casing, for texts known to be ASCII.
std::string lowercasedASCII(std::string_view text);

// The number of user-perceived characters (extended grapheme clusters) in UTF-8 `text`.
std::size_t userPerceivedCharacterCount(std::string_view text);

// Whether `bytes` is well-formed UTF-8.
bool isValidUTF8(std::string_view bytes);

}  // namespace murvel
