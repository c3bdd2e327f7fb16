// Text encodings. Job text is Mac OS Roman, one byte per character; UTF-8 is used in the
// accounting values of the header, in PPD files and in manual booklets.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace jobshaper {

// Converts Mac OS Roman to UTF-8 with Apple's mapping: 0xDB is the euro sign, 0xF0 is U+F8FF.
// Cannot fail, since every byte maps to a character.
std::string utf8FromMacRoman(std::string_view text);
void appendUtf8FromMacRoman(std::string& utf8, std::string_view text);

// The inverse. Returns no value when the text is not valid UTF-8 or has a character that Mac OS
// Roman lacks.
std::optional<std::string> macRomanFromUtf8(std::string_view text);

// Whether the bytes are well-formed UTF-8: no overlong forms, no surrogates, nothing above
// U+10FFFF.
bool isValidUtf8(std::string_view bytes);

}  // namespace jobshaper
